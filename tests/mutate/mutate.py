#!/usr/bin/env python3
"""Plants small faults in the program, one at a time, and says which test catches each.

    tests/mutate/mutate.py                  all faults of faults.txt; an hour or two on one core
    tests/mutate/mutate.py --only REGEX     those whose file, line, kind or text matches
    tests/mutate/mutate.py --list           the faults, numbered
    tests/mutate/mutate.py --check          only that the list fits the sources, in a moment

A fault that no test catches shows a gap in the tests. The exit status is zero if every fault was
caught, but for those that faults.txt argues to be equivalent: no input can show them.

The checkout is not touched. The sources and tests are copied to a folder of their own (--folder,
kept for the next time), and built there as the normal tests are, but for three things that save
time: -O1, one shared library for all test executables, and no warnings. A fault then costs the
compilation of what includes the faulty file, one link of the library, and the tests up to the first
that fails: those that have caught faults of the file before, the unit tests of the file's folder, its
fast procedures against the plain ones, the unit tests of the other folders, their fast procedures,
the properties, whole runs under real faults, and whole runs with kept results. A fault may make a
test run for ever, so every test executable has a time limit; to run into it counts as caught, since
the normal run has one as well.
"""

import argparse
import concurrent.futures
import os
import pathlib
import queue
import re
import resource
import shutil
import signal
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parents[2]
FAULTS = pathlib.Path(__file__).with_name("faults.txt")
COPIED = ["src", "tests", "tools", "docs", "examples", "README.md", "CONTRIBUTING.md", "CHANGELOG.md"]

FLAGS = ["-std=c++20", "-O1", "-DNDEBUG", "-ffp-contract=off", "-fPIC", "-w"]

# Test executables behind the unit tests, with their tests: those of the real faults that take no
# time, and the kept runs without the programs of other compilers, which hold no fault, and without
# the long runs of the examples.
LATER = {"equivalence/text": "*",
         "equivalence/search": "*",
         "equivalence/volumes": "*",
         "property": "*",
         "faults": "*ClosedStreams*:*ATerminal*:*Shows*:*Announced*",
         "golden": "*-*ABuild*:*AnExample*:*ADocument*:TheDifficultExample*:TheGenerator*"}

# The tests that hold fast procedures against plain ones, by the folder of the procedures.
EQUIVALENCE = {"text": ["fields_test.cpp"],
               "search": ["search_test.cpp"],
               "volumes": ["periodograms_test.cpp", "ranking_test.cpp"]}


class Fault:
    """One entry of the list."""

    def __init__(self, file, kind, number):
        self.file = file
        self.kind = kind
        self.number = number
        self.original = []
        self.faulty = []
        self.equivalent = []
        self.line = 0

    def text(self):
        return f"{self.file}:{self.line}: {self.kind}"

    def full(self):
        return "\n".join([self.text()] + ["- " + s for s in self.original]
                         + ["+ " + s for s in self.faulty])


def readfaults():
    """Gives the faults of the list, and what is wrong with the list."""
    faults, wrong = [], []
    file, fault = None, None
    for number, line in enumerate(FAULTS.read_text().splitlines(), 1):
        where = f"{FAULTS.name}:{number}: "
        if line.startswith("#") or not line.strip():
            continue
        if line.startswith("file "):
            file, fault = line.split()[1], None
        elif line[:2] in ("- ", "+ ", "= ") or line in ("-", "+"):
            if fault is None:
                wrong.append(where + "text without a fault")
                continue
            part = {"-": fault.original, "+": fault.faulty, "=": fault.equivalent}[line[0]]
            part.append(line[2:])
        elif file is None:
            wrong.append(where + "a fault without a file")
        else:
            fault = Fault(file, line.strip(), number)
            faults.append(fault)
    for fault in faults:
        where = f"{FAULTS.name}:{fault.number}: "
        source = ROOT / fault.file
        if not source.is_file():
            wrong.append(where + f"{fault.file} does not exist")
            continue
        content = source.read_text()
        original = "\n".join(fault.original)
        count = content.count(original) if original else 0
        if count != 1:
            wrong.append(where + f"the original text is found {count} times in {fault.file}")
        elif original == "\n".join(fault.faulty):
            wrong.append(where + "the faulty text is the original one")
        else:
            fault.line = content[:content.index(original)].count("\n") + 1
    covered = {fault.file for fault in faults}
    for source in sorted((ROOT / "src").glob("*/*.cpp")):
        name = str(source.relative_to(ROOT))
        if name not in covered:
            wrong.append(f"{FAULTS.name}: no fault for {name}")
    return faults, wrong


class Failed(Exception):
    """A compiler or linker refused."""


class Copy:
    """A copy of the tree with its build, in which one fault at a time is planted."""

    def __init__(self, folder):
        self.folder = folder
        self.tree = folder / "Torvik"
        self.objects = folder / "objects"
        self.planted = folder / "planted"
        self.library = folder / "libtorvik_core.so"
        self.program = folder / "program" / "Torvik"
        self.plain = folder / "program" / "torvik_plain"
        self.linkedfrom = {}
        self.faulty = {}  # objects of the fault that is planted, by source
        self.overlay = None
        self.cost = {}
        self.catching = {}  # tests that have caught faults of a file, by file and suite
        self.refresh()
        self.core = [s for s in self.sources("src/*/*.cpp") if s.name != "main.cpp"]
        self.main = self.sources("src/driver/main.cpp")
        self.support = self.sources("tests/support/*.cpp")
        self.procedures = self.sources("tests/plain/*.cpp")
        self.plaindriver = self.sources("tests/plain/program/*.cpp")
        self.suites = {}
        for unit in sorted((self.tree / "tests/unit").iterdir()):
            self.suites["unit/" + unit.name] = self.sources(f"tests/unit/{unit.name}/*.cpp")
        for name in LATER:
            self.suites[name] = self.sources(f"tests/{name}/*.cpp")
        # By folder, with the plain procedures, and without whole runs at random.
        for folder, names in EQUIVALENCE.items():
            self.suites["equivalence/" + folder] = self.procedures + [
                self.tree / "tests/equivalence" / name for name in names]

    def sources(self, pattern):
        return sorted(self.tree.glob(pattern))

    def refresh(self):
        """Brings the copy up to date and leaves the times of unchanged files as they are."""
        wanted = set()
        for name in COPIED:
            origin = ROOT / name
            files = [origin] if origin.is_file() else [f for f in origin.rglob("*") if f.is_file()]
            for file in files:
                target = self.tree / file.relative_to(ROOT)
                wanted.add(target)
                if target.exists() and target.read_bytes() == file.read_bytes():
                    continue
                target.parent.mkdir(parents=True, exist_ok=True)
                shutil.copyfile(file, target)
                shutil.copymode(file, target)
        for target in [f for f in self.tree.rglob("*") if f.is_file()]:
            if target not in wanted:
                target.unlink()

    def defines(self):
        values = {"PROGRAM": self.program, "CORE_LIBRARY": self.library, "SOURCE_DIR": self.tree,
                  "BINARY_DIR": self.folder, "SHARED_GOLDEN": self.folder / "none",
                  "PLAIN": self.plain, "TOOLS": self.folder / "none"}
        return [f'-DTORVIK_{name}="{value}"' for name, value in values.items()]

    def compile(self, source, target, extra=()):
        target.parent.mkdir(parents=True, exist_ok=True)
        command = ["g++", *FLAGS, *extra, f"-I{self.tree}/src", f"-I{self.tree}/tests",
                   f"-I{self.tree}/tools", *self.defines(), "-MMD", "-c", str(source), "-o", str(target)]
        result = subprocess.run(command, capture_output=True, text=True)
        if result.returncode != 0:
            errors = [line for line in result.stderr.splitlines() if "error" in line]
            raise Failed(errors[0] if errors else result.stderr[-200:])

    def plainobject(self, source):
        return self.objects / source.relative_to(self.tree).with_suffix(".o")

    def includes(self, source):
        """Gives the files of the tree that the object of a source was made from."""
        listing = self.plainobject(source).with_suffix(".d").read_text()
        names = listing.replace("\\\n", " ").split(":", 1)[1].split()
        return {pathlib.Path(n) for n in names if n.startswith(str(self.tree))}

    def outdated(self, source):
        target = self.plainobject(source)
        if not target.exists() or not target.with_suffix(".d").exists():
            return True
        made = target.stat().st_mtime_ns
        try:
            return any(f.stat().st_mtime_ns >= made for f in self.includes(source))
        except FileNotFoundError:
            return True

    def objectof(self, source):
        """Gives the object of a source with the fault, or the plain one if it does not see it."""
        if self.overlay is None:
            return self.plainobject(source)
        name, path = self.overlay
        if self.tree / name not in self.includes(source):
            return self.plainobject(source)
        if source not in self.faulty:
            target = self.planted / "objects" / source.relative_to(self.tree).with_suffix(".o")
            origin = path if source == self.tree / name else source
            self.compile(origin, target, [f"-I{self.planted}/src"])
            self.faulty[source] = target
        return self.faulty[source]

    def link(self, target, sources, extra):
        objects = [self.objectof(s) for s in sources]
        state = [(o, o.stat().st_mtime_ns) for o in objects]
        if self.linkedfrom.get(target) == state and target.exists():
            return
        target.parent.mkdir(parents=True, exist_ok=True)
        target.unlink(missing_ok=True)
        self.linkedfrom.pop(target, None)
        command = ["g++", *map(str, objects), *extra, "-o", str(target)]
        result = subprocess.run(command, capture_output=True, text=True)
        if result.returncode != 0:
            raise Failed(result.stderr[-200:])
        self.linkedfrom[target] = state

    def linkprogram(self):
        # Functions bind to the library itself, so that a faulty inline function is not replaced by
        # a test executable's good one; the data groups stay common.
        self.link(self.library, self.core, ["-shared", "-Wl,-Bsymbolic-functions"])
        self.link(self.program, self.main, self.uselibrary())

    def uselibrary(self):
        return [f"-L{self.folder}", "-ltorvik_core", f"-Wl,-rpath,{self.folder}"]

    def linksuite(self, name):
        if name == "equivalence/volumes":  # it runs the plain program too
            self.link(self.plain, self.plaindriver + self.main + self.procedures, self.uselibrary())
        target = self.folder / "suites" / name.replace("/", "_")
        libraries = ["-lgtest", "-lgtest_main", "-pthread"]
        self.link(target, self.suites[name] + self.support, self.uselibrary() + libraries)
        return target

    def build(self, jobs):
        everything = set(self.core + self.main + self.support + self.procedures + self.plaindriver)
        for sources in self.suites.values():
            everything.update(sources)
        with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
            list(pool.map(lambda s: self.compile(s, self.plainobject(s)),
                          [s for s in sorted(everything) if self.outdated(s)]))
        self.linkprogram()
        for name in self.suites:
            self.linksuite(name)

    def run(self, name, executable, tests=None):
        """Runs a suite, or some tests of it, up to the first failure. Gives None, or what failed."""
        seconds = int(20 + 4 * self.cost.get(name, 100.0))

        def limit():
            for ignored in (signal.SIGINT, signal.SIGHUP, signal.SIGTERM):
                signal.signal(ignored, signal.SIG_DFL)  # ignored in the background, by nohup, ...
            resource.setrlimit(resource.RLIMIT_CPU, (seconds, seconds))
            resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
            resource.setrlimit(resource.RLIMIT_FSIZE, (1 << 30, 1 << 30))

        scratch = self.folder / "scratch"
        shutil.rmtree(scratch, ignore_errors=True)
        scratch.mkdir()
        environment = dict(os.environ, TMPDIR=str(scratch), GTEST_FAIL_FAST="1")
        chosen = tests or LATER.get(name, "*")
        command = [str(executable), "--gtest_color=no", "--gtest_filter=" + chosen]
        with (self.folder / "log").open("w") as log:
            process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=log,
                                       stderr=subprocess.STDOUT, cwd=scratch, env=environment,
                                       preexec_fn=limit, start_new_session=True)
            try:
                status = process.wait(timeout=5 * seconds)
            except subprocess.TimeoutExpired:
                os.killpg(process.pid, 9)
                process.wait()
                status = -9
        if status == 0:
            return None
        text = (self.folder / "log").read_text(errors="replace")
        failed = re.findall(r"^\[  FAILED  \] (\S+?)[,\s]", text, re.M)
        begun = re.findall(r"^\[ RUN      \] (\S+)", text, re.M)
        if failed:
            return failed[0]
        return (begun[-1] if begun else "?") + (" (time limit)" if status in (-9, -24) else
                                                f" (ended with {status})")

    def baseline(self):
        """Runs all suites without a fault and takes their times."""
        for name in self.suites:
            before = resource.getrusage(resource.RUSAGE_CHILDREN)
            failed = self.run(name, self.linksuite(name))
            after = resource.getrusage(resource.RUSAGE_CHILDREN)
            if failed:
                sys.exit(f"Without any fault, {name} fails: {failed}; see {self.folder}/log.")
            self.cost[name] = after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime

    def order(self, fault):
        """Gives suites and tests, those that will most likely catch the fault first."""
        known = [(n, ":".join(tests)) for n, tests in self.catching.get(fault.file, {}).items()]
        folder = fault.file.split("/")[1]
        own = [n for n in ("unit/" + folder, "equivalence/" + folder) if n in self.suites]
        units = sorted((n for n in self.suites if n.startswith("unit/") and n not in own),
                       key=self.cost.get)
        suites = own + units + [n for n in LATER if n not in own]
        return known + [(n, None) for n in suites]

    def plant(self, fault):
        """Tries one fault. Gives what caught it, or None."""
        shutil.rmtree(self.planted, ignore_errors=True)
        path = self.planted / fault.file
        path.parent.mkdir(parents=True)
        content = (self.tree / fault.file).read_text()
        path.write_text(content.replace("\n".join(fault.original), "\n".join(fault.faulty)))
        self.faulty = {}
        self.overlay = (fault.file, path)
        try:
            self.linkprogram()
            for name, tests in self.order(fault):
                failed = self.run(name, self.linksuite(name), tests)
                if failed:
                    if tests is None and re.fullmatch(r"[\w/]+\.[\w/]+", failed):
                        catching = self.catching.setdefault(fault.file, {})
                        catching.setdefault(name, []).append(failed)
                    return f"{name}: {failed}"
            return None
        except Failed as error:
            return "compiler: " + str(error).split("error: ")[-1]
        finally:
            self.overlay = None


def work(copies, fault):
    copy = copies.get()
    try:
        begin = time.time()
        caught = copy.plant(fault)
        return fault, caught, time.time() - begin
    finally:
        copies.put(copy)


def report(results):
    """Prints the summary. Gives the exit status."""
    caught = [f for f, by in results if by is not None and not f.equivalent]
    survived = [f for f, by in results if by is None and not f.equivalent]
    argued = [f for f, by in results if by is None and f.equivalent]
    doubtful = [f for f, by in results if by is not None and f.equivalent]
    real = len(caught) + len(survived)
    print()
    if real:
        print(f"{len(caught)} of {real} faults caught: {100.0 * len(caught) / real:.1f} %")
    bycompiler = sum(1 for f, by in results if by and by.startswith("compiler") and f in caught)
    if bycompiler:
        print(f"    {bycompiler} of them by the compiler (static_assert)")
    if argued:
        print(f"{len(argued)} more survived as argued in {FAULTS.name}")
    for fault in survived:
        print("\nSURVIVED  " + fault.full())
    for fault in doubtful:
        print("\nCAUGHT, though argued to be equivalent: " + fault.full())
    return 1 if survived or doubtful else 0


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--only", metavar="REGEX", default="")
    parser.add_argument("--jobs", type=int, default=1, metavar="N", help="copies at work at once")
    parser.add_argument("--list", action="store_true", help="print the faults")
    parser.add_argument("--check", action="store_true", help="only check the list")
    parser.add_argument("--folder", default=tempfile.gettempdir() + f"/torvik_mutate_{os.getuid()}",
                        help="where the copies stand (default: %(default)s)")
    options = parser.parse_args()

    faults, wrong = readfaults()
    if wrong:
        print("\n".join(wrong), file=sys.stderr)
        return 1
    if options.check:
        print(f"{len(faults)} faults fit the sources.")
        return 0
    faults = [f for f in faults if re.search(options.only, f.full())]
    if options.list:
        for fault in faults:
            print(fault.full() + ("\n= equivalent" if fault.equivalent else "") + "\n")
        return 0

    folder = pathlib.Path(options.folder).resolve()
    if folder == ROOT or ROOT in folder.parents:
        sys.exit("Please give a folder outside the checkout.")
    copies = queue.Queue()
    first = None
    for number in range(1, max(1, min(options.jobs, len(faults))) + 1):
        print(f"Building the tests in {folder}/{number} ...", flush=True)
        copy = Copy(folder / str(number))
        copy.build(options.jobs)
        if first is None:
            first = copy
            print("Running them without a fault ...", flush=True)
            copy.baseline()
        copy.cost = first.cost
        copies.put(copy)

    results = []
    with concurrent.futures.ThreadPoolExecutor(options.jobs) as pool:
        tasks = [pool.submit(work, copies, fault) for fault in faults]
        for count, task in enumerate(tasks, 1):
            fault, caught, seconds = task.result()
            results.append((fault, caught))
            verdict = "survived" if caught is None else "caught by " + caught
            print(f"{count:4d}/{len(tasks)} {seconds:5.0f} s  {fault.text()}: {verdict}",
                  flush=True)
    return report(results)


if __name__ == "__main__":
    sys.exit(main())
