"""A copy of the project with faults in it, and its build."""

from __future__ import annotations

import hashlib
import json
import os
import re
import shutil
import subprocess
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

import cppfaults
import pyfaults
from faults import ROOT, Fault

HERE = Path(__file__).resolve().parent
LEFT_OUT = {"build", ".git", "node_modules", "__pycache__"}
# -Wno-narrowing: a constant between two braces is none any more.
FLAGS = "-O1 -DNDEBUG -D_GLIBCXX_ASSERTIONS -w -Wno-narrowing -fmax-errors=0"


class Copy:
    """The sources and tests in a folder of their own; it is kept, so that the next build is short."""

    def __init__(self, folder: Path, jobs: int) -> None:
        self.folder = folder
        self.tree = folder / "Torvik"
        self.build = folder / "build"
        self.jobs = jobs
        self.refused: list[tuple[Fault, str]] = []
        self.written: dict[str, cppfaults.Rewriter] = {}

    def write(self, name: str, content: bytes) -> None:
        """Leaves the time of a file as it is if nothing changes."""
        target = self.tree / name
        if not target.exists() or target.read_bytes() != content:
            target.parent.mkdir(parents=True, exist_ok=True)
            target.write_bytes(content)

    def refresh(self, faults: list[Fault]) -> None:
        """Copies the project, with the faults in their places."""
        faulty: dict[str, list[Fault]] = {}
        for fault in faults:
            faulty.setdefault(fault.file, []).append(fault)
        names = set()
        for where, folders, files in os.walk(ROOT):
            folders[:] = [one for one in folders if one not in LEFT_OUT]
            for file in files:
                path = Path(where, file)
                name = str(path.relative_to(ROOT))
                names.add(name)
                if name not in faulty and path.is_file() and name != "tests/CMakeLists.txt":
                    self.write(name, path.read_bytes())
                    shutil.copymode(path, self.tree / name)
        for path in [one for one in self.tree.rglob("*") if one.is_file()]:
            name = str(path.relative_to(self.tree))
            if name not in names and "__pycache__" not in name:
                path.unlink()
        self.write_tests()
        for name, those in faulty.items():
            self.plant(name, those)
        shared = self.folder / "shared"
        if (ROOT.parent / "shared").exists() and not shared.exists():
            shared.symlink_to(ROOT.parent / "shared")

    def write_tests(self) -> None:
        """The tests have a main function that notes what they reach."""
        text = (ROOT / "tests/CMakeLists.txt").read_text(encoding="utf-8")
        anchor = "include(GoogleTest)\n"
        if anchor not in text or "GTest::gtest_main" not in text:
            raise SystemExit("tests/CMakeLists.txt is not as tests/mutate/building.py expects it.")
        text = text.replace("GTest::gtest_main", "torvik_planted_main")
        # Without the builds by other compilers, which would not know the faults.
        text = text.replace("add_tests(golden golden builds torvik-tools)", "add_tests(golden golden)")
        text = text.replace(anchor, anchor + "add_library(torvik_planted_main STATIC "
                            "mutate/planted_main.cpp)\n"
                            "target_link_libraries(torvik_planted_main PUBLIC GTest::gtest)\n")
        self.write("tests/CMakeLists.txt", text.encode())

    def plant(self, name: str, faults: list[Fault]) -> None:
        if name.endswith(".py"):
            text = (ROOT / name).read_text(encoding="utf-8")
            self.write(name, pyfaults.rewritten(name, text, faults).encode())
            shutil.copymode(ROOT / name, self.tree / name)
            return
        text = (ROOT / name).read_bytes().decode("latin-1")
        self.written[name] = cppfaults.Rewriter(text, faults)
        self.write(name, self.written[name].result().encode("latin-1"))

    def take_tools(self, program: Path) -> None:
        """Puts a torvik-tools and its Torvik beside the workflow of the copy, where they look for it."""
        self.build.mkdir(parents=True, exist_ok=True)
        for name in ("torvik-tools", "Torvik"):
            shutil.copy2(program.parent / name, self.build / name)
        workflow = self.build / "workflow"
        if not workflow.is_symlink():
            workflow.symlink_to(self.tree / "workflow")

    def configure(self) -> None:
        self.folder.mkdir(parents=True, exist_ok=True)
        planted = self.folder / "planted.o"
        subprocess.run(["g++", "-std=c++20", "-O1", "-c", str(HERE / "planted.cpp"), "-o",
                        str(planted)], check=True)
        flags = f"{FLAGS} -include {HERE / 'planted.h'}"
        subprocess.run(["cmake", "-S", str(self.tree), "-B", str(self.build),
                        "-DCMAKE_BUILD_TYPE=Planted", f"-DCMAKE_CXX_FLAGS_PLANTED={flags}",
                        f"-DCMAKE_CXX_STANDARD_LIBRARIES={planted}", "-DTORVIK_TESTS=ON",
                        "-Dtorvik_npm=OFF"], check=True, capture_output=True)

    def make(self, targets: list[str], faults: list[Fault]) -> list[Fault]:
        """Builds; faults that the compiler refuses are taken out. Returns the others."""
        left = self.compiled_alone(faults)
        for _ in range(12):
            line = ["cmake", "--build", str(self.build), "-j", str(self.jobs), "--target", *targets,
                    "--", "-k"]
            done = subprocess.run(line, capture_output=True, text=True, errors="replace")
            (self.folder / "build.log").write_text(done.stdout + done.stderr)
            if done.returncode == 0:
                return left
            left = self.without_refused(left, done.stderr)
        raise SystemExit(f"The copy cannot be built: see {self.folder}/build.log.")

    def without_known(self, faults: list[Fault]) -> list[Fault]:
        """Takes out what was refused in a run before, so that a header is not compiled for it again."""
        known = self.known()
        refused = [fault for fault in faults if self.key(fault) in known]
        self.refused += [(fault, known[self.key(fault)]) for fault in refused]
        return [fault for fault in faults if self.key(fault) not in known]

    def known(self) -> dict[str, str]:
        path = self.folder / "refused.json"
        return json.loads(path.read_text(encoding="utf-8")) if path.exists() else {}

    @staticmethod
    def key(fault: Fault) -> str:
        text = (ROOT / fault.file).read_bytes() if (ROOT / fault.file).exists() else b""
        place = f"{fault.file} {fault.start} {fault.form} {fault.after}"
        return hashlib.sha256(text + place.encode()).hexdigest()

    def compiled_alone(self, faults: list[Fault]) -> list[Fault]:
        """Tries the headers by themselves, since all that includes them waits for them."""
        left = faults
        for _ in range(12):
            headers = sorted({one.file for one in left if one.file.endswith(".h")})
            with ThreadPoolExecutor(self.jobs) as pool:
                errors = "".join(pool.map(self.errors_of, headers))
            if not errors:
                return left
            left = self.without_refused(left, errors)
        return left

    def errors_of(self, name: str) -> str:
        done = self.compile(name, ["-fsyntax-only"])
        return done.stderr if done.returncode else ""

    def compile(self, name: str, options: list[str]) -> subprocess.CompletedProcess:
        """Compiles a file with faults by itself. What the copy lacks is taken from the project."""
        own = [one.replace(str(ROOT), str(self.tree)) for one in cppfaults.FLAGS]
        line = ["g++", *FLAGS.split(), *own, *cppfaults.FLAGS, "-ffp-contract=off", "-include",
                str(HERE / "planted.h"), *options, str(self.tree / name)]
        return subprocess.run(line, capture_output=True, text=True, errors="replace")

    def without_refused(self, faults: list[Fault], errors: str) -> list[Fault]:
        blame: dict[str, list[tuple[bool, str, list[Fault]]]] = {}  # by file
        for message, places in self.messages(errors):
            certain, blamed = self.blamed(message, places)
            if blamed:
                blame.setdefault(blamed[0].file, []).append((certain, message, blamed))
        reasons: dict[int, str] = {}
        for those in blame.values():
            # A constant that is none any more leads to errors in other places.
            for certain, message, blamed in those:
                if certain or not any(one[0] for one in those):
                    for fault in blamed:
                        reasons.setdefault(fault.number, message)
        if not reasons:
            (self.folder / "build.log").write_text(errors)
            raise SystemExit(f"The copy cannot be built: see {self.folder}/build.log.")
        for fault in faults:
            if fault.number in reasons:
                self.refused.append((fault, reasons[fault.number]))
        known = self.known() | {self.key(one): reasons[one.number] for one in faults
                                if one.number in reasons}
        (self.folder / "refused.json").write_text(json.dumps(known), encoding="utf-8")
        left = [one for one in faults if one.number not in reasons]
        for name in {one.file for one in faults if one.number in reasons}:
            self.plant(name, [one for one in left if one.file == name])
        return left

    def messages(self, errors: str):
        """Each error, with the places in files with faults that it names, the nearest first."""
        lines = errors.split("\n")
        place = re.compile(rf"{re.escape(str(self.tree))}/(\S+?):(\d+):(\d+):")
        for i, line in enumerate(lines):
            if ": error: " not in line:
                continue
            first = next((j for j in range(i - 1, -1, -1) if ": error: " in lines[j]), -1)
            last = next((j for j in range(i + 1, len(lines)) if ": error: " in lines[j]), len(lines))
            around = [lines[i], *lines[i + 1:last], *reversed(lines[first + 1:i])]
            places = [(m[1], int(m[2]), int(m[3])) for m in map(place.match, around) if m]
            yield line.split(": error: ", 1)[1], [one for one in places if one[0] in self.written]

    def blamed(self, message: str, places: list[tuple[str, int, int]]) -> tuple[bool, list[Fault]]:
        """The faults that an error comes from, and whether it names their constant."""
        names = re.findall(r"[‘'](?:\w+::)*(\w+)[’']", message)
        if re.search("constant expression|captured|not usable|non-constant", message):
            for one in self.written.values():
                found = one.of_constant(iter(names))
                if found:
                    return True, found
        for file, line, column in places:
            found = self.written[file].at(line, column)
            if found:
                return False, found
        return False, []
