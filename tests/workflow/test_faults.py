"""Faults that are put in the way of torvik-tools batch: what happens to its answers, and what it says."""

from __future__ import annotations

import base64
import csv
import hashlib
import html.parser
import json
import os
import re
import shutil
import signal
import subprocess
import time
import unittest
from collections.abc import Iterator
from contextlib import contextmanager
from pathlib import Path

from batches import (HOSTILE, TOOLS, Batch, Gate, InAFolder, batch, easycrystals, killall, recorded,
                     recordlines, replacement, simulate, table, waitfor)
from torvikbatch import solving

@contextmanager
def disk(name: str, size: str) -> Iterator[None]:
    """A small disk at a folder. Raises SkipTest if the user may not have one."""
    Path(name).mkdir()
    mounted = subprocess.run(["mount", "-t", "tmpfs", "-o", f"size={size}", "tmpfs", name],
                             capture_output=True, check=False)
    if mounted.returncode != 0:
        raise unittest.SkipTest("Only root may mount a small disk.")
    try:
        yield
    finally:
        subprocess.run(["umount", "-l", name], check=False)


class AnError(InAFolder):
    """Is no verdict: the crystal has failed, and the next call tries it again."""

    def setUp(self) -> None:
        super().setUp()
        easycrystals(2)

    def fails(self, *arguments: str, reason: str, environment: dict | None = None) -> None:
        status, output, errors = batch("data", "-o", "out", *arguments, environment=environment)
        self.assertEqual(status, 0, errors)
        self.assertIn("2 crystals: 2 failed.", output)
        for verdict, said in table("out", "SELECT verdict, reason FROM crystal"):
            self.assertEqual(verdict, "failed")
            self.assertRegex(said, reason)

    def issolvedby(self, *arguments: str) -> None:
        """The same call, once the fault is gone."""
        status, output, errors = batch("data", "-o", "out", *arguments)
        self.assertEqual(status, 0, errors)
        self.assertIn("2 crystals: 2 solved.", output)

    def test_that_kills_the_solver_is_no_verdict(self) -> None:
        self.fails(*replacement("kill -9 $$"), reason="^The command was ended by signal 9.$")
        self.issolvedby()

    def test_by_which_the_solver_does_nothing_is_no_verdict(self) -> None:
        for status in (0, 1, 3):
            self.fails(*replacement(f"exit {status}"),
                       reason=f"^The command ended with status {status} and no solution.$")
        self.issolvedby()

    def test_after_the_solution_was_written_is_no_verdict(self) -> None:
        for end in ("exit 3", "exit 1", "kill -9 $$"):
            self.fails(*replacement(f'"$tools" "$@" || exit; {end}'), reason="^The command ")
        self.issolvedby()

    def test_by_which_a_solution_is_cut_or_none_is_no_verdict(self) -> None:
        for content in ("", "{", "[]", '{"verdict": "solved"}'):
            self.fails(*replacement(f"printf %s {content!r} >\"$4.solution.json\""),
                       reason="^The command ended with status 0 and no solution.$")
        spoil = r'''"$tools" "$@"; sed -i 's/"volume": /"volume": -/' "$4.solution.json"'''
        self.fails(*replacement(spoil), reason="^The command wrote a solution that is none.$")
        self.issolvedby()

    def test_of_memory_that_is_short_is_no_verdict(self) -> None:
        words = set()
        for kilobytes in (6000, 8000, 12000, 40000):
            batch("data", "-o", f"out{kilobytes}", "--group", "2",
                  *replacement(f'ulimit -v {kilobytes}; exec "$tools" "$@"'))
            words |= {row[0] for row in table(f"out{kilobytes}", "SELECT verdict FROM crystal")}
        self.assertEqual(words, {"failed", "solved"})

    def test_of_a_folder_for_temporary_files_that_is_full_is_no_verdict(self) -> None:
        keep = ("--keep", "all")
        full = '''if [ -e full ]; then export TMPDIR="$(cat full)"; fi; exec "$tools" "$@"'''
        with disk("small", "4k"):
            Path("small/file").write_bytes(b"x" * 4096)
            Path("full").write_text(str(Path("small").absolute()), encoding="utf-8")
            script = full.replace("full", str(Path("full").absolute()))
            self.fails(*keep, *replacement(script), reason=".")
        Path("full").unlink()
        self.issolvedby(*keep, *replacement(script))

    def test_of_a_missing_folder_for_temporary_files_is_told_where_one_is_needed(self) -> None:
        missing = os.environ | {"TMPDIR": "/nonexistent/tmp"}
        status, output, errors = batch("data", "-o", "out", "--keep", "all", environment=missing)
        self.assertEqual((status, output), (1, ""))
        self.assertEqual(errors, "Error: TMPDIR is /nonexistent/tmp, which is no folder. Please set another "
                                 "one, or none.\n")
        self.assertFalse(Path("out").exists())
        status, output, errors = batch("data", "-o", "out", environment=missing)
        self.assertIn("2 crystals: 2 solved.", output, errors)

    def test_of_the_second_pass_is_told_beside_the_verdict_of_the_first(self) -> None:
        easycrystals(2, seed=5)
        Path("data/few.csv").write_text("x,y,z\n.1,.2,.3\n.3,.1,.2\n", encoding="utf-8")
        bad = replacement('case "$*" in *--cell*) exit 9;; esac; exec "$tools" "$@"')
        self.assertEqual(batch("data", "-o", "out", *bad)[0], 0)
        (verdict, which, remarks), = table("out", "SELECT verdict, pass, remarks FROM crystal "
                                                  "WHERE file LIKE '%few%'")
        self.assertEqual((verdict, which), ("refused", 1))
        self.assertIn("The second pass failed, and is tried again by the next call: The command ended with "
                      "status 9", json.loads(remarks)[-1])
        self.assertEqual(batch("data", "-o", "out")[0], 0)
        (remarks,), = table("out", "SELECT remarks FROM crystal WHERE file LIKE '%few%'")
        self.assertNotIn("second pass failed", remarks or "")


class ABudget(InAFolder):
    def test_holds_for_a_program_that_hangs_and_for_all_that_it_started(self) -> None:
        easycrystals(2)
        hanging = replacement(f'echo $$ >>"{self.folder}/hung"; sleep 1000 & sleep 1000')
        start = time.monotonic()
        status, output, errors = batch("data", "-o", "out", "--budget", "1", "--jobs", "2", *hanging)
        passed = time.monotonic() - start
        self.assertEqual(status, 0, errors)
        self.assertIn("2 crystals: 2 failed.", output)
        for seconds, reason in table("out", "SELECT seconds, reason FROM crystal"):
            self.assertEqual(reason, "The command did not end within 15 seconds after its budget.")
            self.assertGreater(seconds, 1 + solving.MARGIN - 0.1)
            self.assertLess(seconds, 1 + solving.MARGIN + 15) # of a busy machine
        self.assertLess(passed, 120)
        for number in Path("hung").read_text(encoding="ascii").split():
            self.assertFalse(Path("/proc", number).exists())

    def test_is_not_begun_anew_when_the_program_is_killed_at_its_end(self) -> None:
        given = solving.Input.of(1, str(self.folder / "none"))
        settings = {"tools": replacement("sleep 2; kill -9 $$")[1], "budget": 3.0 - solving.MARGIN,
                    "options": [], "keep": "none", "volume": [], "torvik": ""}
        record = solving.solved(given, Path("out"), settings, [], "1")
        self.assertEqual(record["verdict"], "failed")
        self.assertLess(record["seconds"], 3.9)

    def test_that_cut_the_search_short_is_told(self) -> None:
        simulate("data/hard.idx", "--cell", "40 50 60 85 95 100", "-n", 60, "--noise", 0.02, "--wrong", 25)
        self.assertEqual(batch("data", "-o", "out", "--budget", "0.001")[0], 0)
        (verdict, cut), = table("out", "SELECT verdict, interrupted FROM crystal")
        self.assertNotEqual(verdict, "solved")
        self.assertEqual(cut, 1)
        page = Path("out/overview.html").read_text(encoding="utf-8")
        self.assertIn("cut short</small>", page)
        self.assertIn("The search for 1 was cut short by the budget.", page)


class TheTable(InAFolder):
    def test_and_the_page_have_the_remarks_and_the_part_that_is_indexed(self) -> None:
        cell = ("--cell", "7.1 8.3 9.9 82 95 101", "--volume-factor", 0)
        simulate("data/poor.idx", *cell, "-n", 40, "--noise", 0.005, "--wrong", 12, "--seed", 3)
        self.assertEqual(batch("data", "-o", "out")[0], 0)
        with open("out/crystals.csv", newline="", encoding="utf-8") as file:
            row, = csv.DictReader(file)
        solution = json.loads(Path("out", row["solution"]).read_text(encoding="utf-8"))
        self.assertEqual(row["interrupted"], "0")
        self.assertEqual(float(row["part"]), solution["lattices"][0]["indexed"] / len(solution["reflections"]))
        self.assertLess(float(row["part"]), 0.9)
        self.assertEqual(json.loads(row["remarks"] or "[]"), solution["remarks"])

    def test_has_remarks_as_the_solver_made_them(self) -> None:
        easycrystals(1)
        remark = "One \\u2028 remark <script>alert(1)</script>."
        add = f'''"$tools" "$@" && sed -i 's|"remarks": .*|"remarks": ["{remark}", "Another."],|' "$4.solution.json"'''
        self.assertEqual(batch("data", "-o", "out", *replacement(add.replace("\\u", "\\\\u")))[0], 0)
        (remarks,), = table("out", "SELECT remarks FROM crystal")
        self.assertEqual(json.loads(remarks), ["One \u2028 remark <script>alert(1)</script>.", "Another."])
        page = Path("out/overview.html").read_text(encoding="utf-8")
        self.assertIn("remark &lt;script&gt;alert(1)&lt;/script&gt;.<br>Another.</td>", page)


class AFolderOfAllKinds(InAFolder):
    def test_has_its_measurements_solved_and_the_rest_passed_over(self) -> None:
        easycrystals(2)
        os.mkfifo("data/pipe.csv")
        Path("data/README.txt").write_text("Measured in 2024 by us.\nSee the notes.\n", encoding="utf-8")
        Path("data/line\nend.idx").write_text("x", encoding="utf-8")
        start = time.monotonic()
        status, output, errors = batch("data", "-o", "out")
        self.assertLess(time.monotonic() - start, 120)
        self.assertEqual(status, 0, errors)
        self.assertIn("2 crystals: 2 solved.", output)
        self.assertIn("Note: 1 file passed over (no measurement: it has no row of three numbers): "
                      f"{self.folder}/data/README.txt.\n", errors)
        self.assertIn(f"1 file passed over (no regular file): {self.folder}/data/pipe.csv.\n", errors)
        self.assertIn("1 file passed over (a tab or the end of a line in its name): ", errors)
        self.assertEqual(len(table("out", "SELECT file FROM passed")), 3)
        self.assertIn("README.txt</td>", Path("out/overview.html").read_text(encoding="utf-8"))
        # What is named is taken.
        output = batch("data", "data/README.txt", "-o", "out")[1]
        self.assertIn("3 crystals: 2 solved, 1 failed.", output)
        self.assertEqual(len(table("out", "SELECT file FROM passed")), 2)

    def test_that_has_no_measurement_says_what_it_has(self) -> None:
        Path("data").mkdir()
        Path("data/README.txt").write_text("prose\n", encoding="utf-8")
        status, output, errors = batch("data", "-o", "out")
        self.assertEqual((status, output), (1, ""))
        self.assertIn("1 file passed over (no measurement", errors)
        self.assertIn("There is no measurement: ", errors)

    def test_in_which_a_file_becomes_a_pipe_goes_on(self) -> None:
        easycrystals(2)
        gate = Gate("out", 0)
        started = Batch("data", "-o", "out", "--budget", "2", "--jobs", "1", *gate.options)
        waitfor(Path("out/jobs/solved/000000.lock").exists, "the work")
        os.unlink("data/s1_002.idx")
        os.mkfifo("data/s1_002.idx")
        gate.open()
        self.assertIn("2 crystals: 1 solved, 1 failed.", started.end()[1])


class AHostileName(InAFolder):
    def test_reaches_no_shell(self) -> None:
        names = (HOSTILE, HOSTILE + "\u2028b", os.fsdecode(b"x\xff") + HOSTILE)
        for at, name in enumerate(names):
            easycrystals(1, where=f"data/{name}", seed=at + 1)
            os.rename(f"data/{name}/s{at + 1}.idx", f"data/{name}/{name}.idx")
        output = f"out{HOSTILE}\n"
        tools = Path(f"tools{HOSTILE}\n")
        tools.mkdir()
        for one in ("torvik-tools", "Torvik"):
            shutil.copy(Path(TOOLS).resolve().with_name(one), tools)
        status, said, errors = batch("data", "-o", output, "--tools", str(tools / "torvik-tools"))
        self.assertEqual(status, 0, errors)
        self.assertIn("3 crystals: 3 solved.", said)
        self.assertEqual(list(self.folder.parent.rglob("X")), [])

    def test_of_a_list_of_a_group_is_no_command(self) -> None:
        easycrystals(2)
        Path("out/jobs/lists").mkdir(parents=True)
        Path("out/batch.lock").touch()
        for name in ("$(touch X)", "`touch X`", "000000;touch X", "a\nb"):
            Path(f"out/jobs/lists/{name}.tsv").write_text(f"1\t1\t1\t{self.folder}/data/s1_001.idx\n", encoding="utf-8")
        status, said, errors = batch("data", "-o", "out")
        self.assertIn("2 crystals: 2 solved.", said, errors)
        self.assertEqual(list(self.folder.rglob("X")), [])

    def test_of_a_module_is_not_taken_from_the_folder_of_the_batch(self) -> None:
        easycrystals(1)
        self.assertEqual(batch("data", "-o", "out")[0], 0)
        for name in ("json", "torvikbatch", "csv"):
            Path(f"out/{name}.py").write_text("open('X', 'w')\nraise SystemExit(1)\n", encoding="utf-8")
        easycrystals(1, seed=9)
        self.assertIn("2 crystals: 2 solved.", batch("data", "-o", "out")[1])
        self.assertFalse(Path("out/X").exists())


class ThePage(InAFolder):
    def setUp(self) -> None:
        super().setUp()
        easycrystals(2)
        Path("data/bad.csv").write_text("x,y,z\n1,2\n", encoding="utf-8")
        self.assertEqual(batch("data", "-o", "out")[0], 0)
        self.text = Path("out/overview.html").read_text(encoding="utf-8")

    def test_has_a_policy_that_admits_its_own_style_and_nothing_else(self) -> None:
        page = Elements(self.text)
        policy, = (attributes["content"] for tag, attributes in page.found
                   if tag == "meta" and attributes.get("http-equiv") == "Content-Security-Policy")
        checksum = base64.b64encode(hashlib.sha256(page.style.encode()).digest()).decode()
        self.assertEqual(policy, f"default-src 'none'; style-src 'sha256-{checksum}'; base-uri 'none'; "
                                 "form-action 'none'")
        for tag, attributes in page.found:
            self.assertNotIn(tag, ("script", "iframe", "object", "img", "link"))
            self.assertFalse([name for name in attributes if name == "style" or name.startswith("on")
                              or name == "src"])
        self.assertLess(self.text.index("Content-Security-Policy"), self.text.index("<style>"))

    def test_is_shown_by_a_browser_that_runs_no_script_in_it(self) -> None:
        chromium = shutil.which("chromium") or shutil.which("chromium-browser")
        if not chromium:
            self.skipTest("Chromium is not installed.")
        planted = ('<img src="http://127.0.0.1:9/x.png"><script>document.title = "run"</script>'
                   '<p style="color: red">x</p></body>')
        Path("planted.html").write_text(self.text.replace("</body>", planted), encoding="utf-8")
        self.assertEqual(self.complaints(chromium, "out/overview.html"), [])
        complaints = "\n".join(self.complaints(chromium, "planted.html"))
        for what in ("inline script", "the image", "inline style"):
            self.assertRegex(complaints, f"{what}.* violates the following Content Security Policy")

    def complaints(self, chromium: str, page: str) -> list[str]:
        said = subprocess.run([chromium, "--headless", "--no-sandbox", "--disable-gpu", "--enable-logging=stderr",
                               f"--user-data-dir={self.folder}/profile", "--dump-dom",
                               Path(page).absolute().as_uri()], capture_output=True, text=True, timeout=300,
                              check=True)
        self.assertIn("<title>3 crystals</title>", said.stdout)
        return [line for line in said.stderr.split("\n") if "CONSOLE" in line]


class Elements(html.parser.HTMLParser):
    """The elements of a page with their attributes, and its style."""

    def __init__(self, text: str) -> None:
        super().__init__()
        self.found: list[tuple[str, dict]] = []
        self.style = ""
        self.feed(text)
        self.close()

    def handle_starttag(self, tag: str, attrs: list) -> None:
        self.found.append((tag, dict(attrs)))

    def handle_data(self, data: str) -> None:
        if self.found and self.found[-1][0] == "style" and not self.style:
            self.style = data


class ADamagedFile(InAFolder):
    COUNT = 5

    def setUp(self) -> None:
        super().setUp()
        easycrystals(self.COUNT)
        Path("data/few.csv").write_text("x,y,z\n.1,.2,.3\n.3,.1,.2\n", encoding="utf-8")
        self.call()
        self.before = self.answers()

    def call(self) -> str:
        status, output, errors = batch("data", "-o", "out", "--group", "2")
        self.assertEqual(status, 0, errors)
        self.assertIn(f"{self.COUNT + 1} crystals: {self.COUNT} solved, 1 refused.", output)
        self.assertNotIn("Traceback", errors)
        return errors

    def answers(self) -> list[tuple]:
        columns = table("out", "SELECT file, verdict, reason, a, b, c, cluster, evidence FROM crystal")
        self.assertEqual(Path("out/crystals.csv").read_text(encoding="utf-8").count("\n"), self.COUNT + 2)
        self.assertTrue(Path("out/overview.html").read_text(encoding="utf-8").endswith("</html>\n"))
        return sorted(columns)

    def test_that_can_be_derived_is_made_anew(self) -> None:
        # Each call heals what was damaged before it; settings are kept in the database, and are damaged without it.
        damages = (lambda whole: b"garbage" * 100, lambda whole: whole[:len(whole) // 2], lambda whole: b"")
        for damage, names in zip(3 * damages, 3 * (("crystals.sqlite", "overview.html"),) +
                                 3 * (("settings.json", "crystals.csv", "consensus.json"),) +
                                 3 * (("jobs/members.tsv", "overview.html"),)):
            for name in names:
                path = Path("out", name)
                path.write_bytes(damage(path.read_bytes()))
            derived = "consensus.json" in names or "jobs/members.tsv" in names
            errors = self.call()
            for name in names if not derived else names[:1]:
                self.assertIn(f"Note: {name} is damaged", errors)
            self.assertEqual(self.answers(), self.before, names)
        self.assertNotIn("Note", self.call())

    def test_that_is_missing_is_made_anew(self) -> None:
        for name in ("crystals.sqlite", "crystals.csv", "overview.html", "consensus.json", "jobs/members.tsv",
                     "settings.json", "jobs/passed.json"):
            Path("out", name).unlink()
            self.assertNotIn("Traceback", self.call())
            self.assertEqual(self.answers(), self.before, name)

    def test_of_pages_inside_the_database_is_seen(self) -> None:
        path = Path("out/crystals.sqlite")
        content = bytearray(path.read_bytes())
        content[4096:8192] = os.urandom(4096)
        path.write_bytes(content)
        self.assertIn("Note: crystals.sqlite is damaged. It is made anew.", self.call())
        self.assertEqual(self.answers(), self.before)

    def test_with_the_settings_and_no_database_is_named(self) -> None:
        Path("out/settings.json").write_text('{"budget"', encoding="utf-8")
        Path("out/crystals.sqlite").unlink()
        status, output, errors = batch("data", "-o", "out", "--group", "2")
        self.assertEqual((status, output), (1, ""))
        self.assertIn("Error: settings.json is damaged: it is no whole file of JSON. How the crystals in ", errors)

    def test_of_records_has_its_crystals_solved_again(self) -> None:
        path = Path("out/jobs/solved/000000.jsonl")
        first, second = path.read_bytes().split(b"\n")[:2]
        for content in (b'{"number":"x"}\n', b"", first + b"\n" + second[:50], first + b"\n\x00\xff\n",
                        first.replace(b'"solved"', b'"sure"') + b"\n" + second + b"\n"):
            path.write_bytes(content)
            self.assertIn("0 new.", self.call())
            self.assertEqual(self.answers(), self.before, content)

    def test_of_a_list_is_made_anew(self) -> None:
        path = Path("out/jobs/lists/000001.tsv")
        whole = path.read_bytes()
        for content in (whole[:-7], b"\xff\x00", b"x\ty\n", None):
            if content is None:
                path.unlink()
            else:
                path.write_bytes(content)
            self.assertIn("Note: jobs/lists/000001.tsv is ", self.call())
            self.assertEqual(self.answers(), self.before, content)

    def test_that_was_made_in_part_by_snakemake_does_not_matter(self) -> None:
        shutil.rmtree("out/.snakemake")
        Path("out/.snakemake").write_text("no folder", encoding="utf-8")
        easycrystals(1, seed=70)
        self.COUNT += 1
        self.call()


class AClock(InAFolder):
    """That was changed between two calls."""

    def shift(self, seconds: float) -> None:
        """All that the batch has written was written then."""
        for path in Path("out").rglob("*"):
            if path.is_file() and not path.is_symlink():
                then = path.stat().st_mtime + seconds
                os.utime(path, (then, then))

    def test_hides_no_new_changed_or_failed_input(self) -> None:
        for seconds in (86400, -86400):
            shutil.rmtree("out", ignore_errors=True)
            shutil.rmtree("data", ignore_errors=True)
            easycrystals(2)
            batch("data", "-o", "out", *replacement('case "$2" in *002*) exit 9;; esac; exec "$tools" "$@"'))
            self.shift(seconds)
            simulate("other.idx", "--cell", "9 10 11 90 90 90", "-n", 12, "--noise", 0.005)
            os.replace("other.idx", "data/s1_001.idx")
            easycrystals(1, seed=30)
            status, output, errors = batch("data", "-o", "out")
            self.assertIn("3 crystals: 3 solved.", output, errors)
            (volume,), = table("out", "SELECT volume FROM crystal WHERE file LIKE '%001.idx'")
            self.assertAlmostEqual(volume / 990, 1.0, delta=0.02)


class ADisk(InAFolder):
    def test_that_gets_full_in_mid_run_costs_no_crystal(self) -> None:
        easycrystals(8)
        gate = Gate("disk/out", 3)
        with disk("disk", "2m"):
            started = Batch("data", "-o", "disk/out", "--jobs", "1", "--group", "4", *gate.options)
            waitfor(lambda: len(recordlines("disk/out")) >= 3, "some crystals")
            try:
                with open("disk/filling", "wb") as filling:
                    while True:
                        filling.write(b"x" * 4096)
                        filling.flush()
            except OSError:
                pass
            gate.open()
            status, output, errors = started.end()
            self.assertNotIn("Traceback", errors)
            if status != 0:
                self.assertIn("No space left on device", errors)
            before = [one for one in recorded("disk/out") if one["verdict"] == "solved"]
            self.assertTrue(all(one["verdict"] in ("solved", "failed") for one in recorded("disk/out")))
            os.unlink("disk/filling")
            status, output, errors = batch("data", "-o", "disk/out")
            self.assertIn("8 crystals: 8 solved.", output, errors)
            after = recorded("disk/out")
            self.assertEqual([one for one in before if one not in after], [])

    def test_that_is_mounted_for_reading_is_told(self) -> None:
        easycrystals(1)
        with disk("disk", "8m"):
            self.assertEqual(batch("data", "-o", "disk/out")[0], 0)
            before = table("disk/out", "SELECT * FROM crystal")
            subprocess.run(["mount", "-o", "remount,ro", "disk"], check=True)
            easycrystals(1, seed=20)
            for output in ("disk/out", "disk/new"):
                status, said, errors = batch("data", "-o", output)
                self.assertEqual((status, said), (1, ""))
                self.assertRegex(errors, "^Error: .*Read-only file system")
            self.assertEqual(table("disk/out", "SELECT * FROM crystal"), before)


class AnEnd(InAFolder):
    """Before all is done."""

    def test_of_the_step_that_writes_the_database_leaves_the_one_of_before(self) -> None:
        easycrystals(2)
        self.assertEqual(batch("data", "-o", "out")[0], 0)
        before = table("out", "SELECT * FROM crystal")
        Path("out/crystals.sqlite.part").mkdir() # cannot be opened
        easycrystals(1, seed=40)
        status, _, errors = batch("data", "-o", "out")
        self.assertEqual(status, 1)
        self.assertNotIn("Traceback", errors)
        self.assertEqual(table("out", "SELECT * FROM crystal"), before)
        self.assertTrue(Path("out/crystals.csv").exists())
        Path("out/crystals.sqlite.part").rmdir()
        self.assertIn("3 crystals: 3 solved.", batch("data", "-o", "out")[1])

    def test_by_sigkill_at_any_moment_costs_no_answer(self) -> None:
        easycrystals(4)
        moment = 0.0
        for _ in range(40):
            moment += 0.35
            started = Batch("data", "-o", "out", "--jobs", "2", "--group", "2")
            try:
                started.process.wait(moment)
            except subprocess.TimeoutExpired:
                killall(self.folder / "out")
                started.send(signal.SIGKILL)
            status, output, errors = started.end()
            self.assertNotIn("Traceback", errors)
            if status == 0:
                break
        self.assertIn("4 crystals: 4 solved.", output)
        self.assertEqual(sorted(one["number"] for one in recorded("out")), [1, 2, 3, 4])
        self.assertEqual(len(table("out", "SELECT * FROM crystal WHERE cluster = 1")), 4)


class TwoCalls(InAFolder):
    def test_at_once_on_one_folder_leave_one_at_work(self) -> None:
        easycrystals(6)
        calls = [Batch("data", "-o", "out", "--jobs", "1") for _ in range(3)]
        ended = [one.end() for one in calls]
        self.assertEqual(sorted(status for status, _, _ in ended), [0, 1, 1], ended)
        for status, _, errors in ended:
            if status == 1:
                self.assertRegex(errors, "^Error: (Another call is at work in|.* holds other files)")
        self.assertEqual(sorted(one["number"] for one in recorded("out")), list(range(1, 7)))


if __name__ == "__main__":
    unittest.main()
