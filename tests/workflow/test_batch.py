"""torvik-tools batch, as a user calls it."""

from __future__ import annotations

import csv
import html.parser
import json
import os
import shutil
import signal
import subprocess
import sys
import time
import unittest
from pathlib import Path

from batches import (LONG, PATIENCE, TOOLS, Batch, Gate, InAFolder, batch, commandline, easycrystals,
                     killall, processesin, recorded, recordlines, simulate, table, waitfor)

EASYVOLUME = 5 * 6 * 7


class ABatch(InAFolder):
    def test_solves_all_crystals_of_a_folder_and_sums_them_up(self) -> None:
        count = 200 if LONG else 12
        easycrystals(count)
        status, output, errors = batch("data", "-o", "out")
        self.assertEqual(status, 0, errors)
        self.assertIn(f"{count} crystals: {count} solved.", output)
        self.assertIn("Written: out/overview.html, out/crystals.csv, out/crystals.sqlite", output)
        (volume, crystals, bravais), = table("out", "SELECT volume, crystals, bravais FROM cluster")
        self.assertEqual((crystals, bravais), (count, "oP"))
        self.assertAlmostEqual(volume / EASYVOLUME, 1.0, delta=0.01)
        for file, solution in table("out", "SELECT file, solution FROM crystal"):
            held = json.loads(Path("out", solution).read_text(encoding="utf-8"))
            self.assertEqual(held["input"], Path(file).name)
            self.assertEqual(held["verdict"], "solved")

    def test_gives_each_crystal_the_answer_of_solve(self) -> None:
        easycrystals(3)
        self.assertEqual(batch("data", "-o", "out")[0], 0)
        for file, *cell in table("out", "SELECT file, a, b, c, alpha, beta, gamma FROM crystal"):
            subprocess.run([TOOLS, "solve", file, "-o", "alone", "--budget", str(PATIENCE)],
                           check=True, capture_output=True)
            alone = json.loads(Path("alone.solution.json").read_text(encoding="utf-8"))["cell"]
            names = ("a", "b", "c", "alpha", "beta", "gamma")
            self.assertEqual(cell, [alone[name] for name in names])

    def test_has_one_row_for_each_crystal_in_the_database_the_table_and_the_page(self) -> None:
        easycrystals(3)
        Path("data/odd, \"name\" <b>.csv").write_text("x,y,z\n", encoding="utf-8")
        os.rename("data/s1_001.idx", os.fsdecode(b"data/bytes\xff.idx"))
        self.assertEqual(batch("data", "-o", os.fsdecode(b"o\xff"))[0], 0)
        os.rename(os.fsdecode(b"o\xff"), "out")
        rows = table("out", "SELECT * FROM crystal ORDER BY number")
        with open("out/crystals.csv", newline="", encoding="utf-8") as file:
            names, *lines = csv.reader(file)
        self.assertEqual([tuple("" if value is None else str(value) for value in row) for row in rows],
                         [tuple(line) for line in lines])
        self.assertEqual([row[names.index("verdict")] for row in rows], ["solved", "failed", *["solved"] * 2])
        at = names.index("file")
        page = CellsOf(Path("out/overview.html").read_text(encoding="utf-8")).texts
        for row in rows:
            self.assertIn(Path(row[at]).name, page)

    def test_lets_a_bad_input_fail_alone(self) -> None:
        easycrystals(3)
        Path("data/bad.csv").write_text("x,y,z\n1,2\n", encoding="utf-8")
        Path("data/empty.idx").write_text("", encoding="utf-8")
        Path("data/gone.idx").symlink_to("nowhere")
        Path("data/few.csv").write_text("x,y,z\n.1,.2,.3\n.3,.1,.2\n", encoding="utf-8")
        status, output, errors = batch("data", "-o", "out")
        self.assertEqual(status, 0, errors)
        self.assertIn("7 crystals: 3 solved, 1 refused, 3 failed.", output)
        reasons = dict(table("out", "SELECT file, reason FROM crystal WHERE verdict = 'failed'"))
        self.assertEqual({Path(file).name for file in reasons}, {"bad.csv", "empty.idx", "gone.idx"})
        self.assertIn("bad.csv", reasons[str(self.folder / "data/bad.csv")])

    def test_gives_one_reason_for_all_that_failed_by_it(self) -> None:
        for name in (b"data/a\xff.csv", b"data/b\xfe.csv", b"data/c.csv"):
            Path(os.fsdecode(name)).parent.mkdir(exist_ok=True)
            Path(os.fsdecode(name)).write_text("x,y,z\n1,2\n", encoding="utf-8")
        self.assertEqual(batch("data", "-o", "out")[0], 0)
        page = Path("out/overview.html").read_text(encoding="utf-8")
        self.assertEqual(page.count("data/c.csv"), 1)  # in the table of all
        self.assertRegex(page, r"<td>3</td><td class=\"text\"><span class=\"mark failed\">")

    def test_keeps_what_is_asked_for(self) -> None:
        easycrystals(1)
        kept = {"all": {".solution.json", ".solution.idx", ".solution_idx.res"},
                "solutions": {".solution.json"}, "none": set()}
        for keep, endings in kept.items():
            self.assertEqual(batch("data", "-o", keep, "--keep", keep)[0], 0)
            names = {path.name for path in Path(keep, "crystals").glob("*/*")}
            self.assertEqual({name[name.index(".solution"):] for name in names}, endings)

    def test_shows_how_far_it_is(self) -> None:
        easycrystals(4)
        errors = batch("data", "-o", "out")[2]
        self.assertIn("4 crystals, 4 new.", errors)
        self.assertIn("First pass: 4 of 4 crystals (4 solved)", errors)


class TheSecondPass(InAFolder):
    def test_solves_what_was_refused_with_the_cell_of_the_others(self) -> None:
        cell = ("--cell", "7.1 8.3 9.9 82 95 101", "--volume-factor", 0)
        simulate("data/good.idx", *cell, "-n", 24, "--noise", 0.005, "--crystals", 4, "--seed", 10)
        simulate("data/poor.idx", *cell, "-n", 22, "--noise", 0.02, "--wrong", 15, "--pool", 4,
                 "--crystals", 4, "--seed", 20)
        status, output, errors = batch("data", "-o", "out", "--volume", "400", "800")
        self.assertEqual(status, 0, errors)
        poor = table("out", "SELECT verdict, pass, cluster, volume FROM crystal "
                            "WHERE file LIKE '%poor%'")
        (good, *counts), = table("out", "SELECT volume, later, tried FROM cluster WHERE number = 1")
        self.assertEqual(counts, [4, 1], output)
        self.assertEqual([row[:3] for row in poor], 4 * [("solved", 2, 1)])
        for *_, volume in poor:
            self.assertAlmostEqual(volume / good, 1.0, delta=0.05)
        self.assertIn("4 of them were solved with a cell of others", output)
        self.assertIn("Second pass", errors)

    def test_has_nothing_to_try_if_no_three_crystals_agree(self) -> None:
        easycrystals(2)
        Path("data/few.csv").write_text("x,y,z\n.1,.2,.3\n.3,.1,.2\n", encoding="utf-8")
        self.assertEqual(batch("data", "-o", "out")[0], 0)
        self.assertEqual(json.loads(Path("out/consensus.json").read_text(encoding="utf-8"))["tried"], [])
        self.assertEqual(recorded("out", "jobs/again/solved"), [])


class TheSameCall(InAFolder):
    def test_again_does_nothing_again(self) -> None:
        easycrystals(4)
        first = batch("data", "-o", "out")[1]
        before = recordlines("out")
        status, output, errors = batch("data", "-o", "out")
        self.assertEqual((status, output), (0, first))
        self.assertEqual(recordlines("out"), before)
        self.assertIn("4 crystals, 0 new.", errors)

    def test_with_new_inputs_solves_these_alone(self) -> None:
        easycrystals(4)
        self.assertEqual(batch("data", "-o", "out")[0], 0)
        before = recordlines("out")
        easycrystals(2, seed=50)
        status, output, _ = batch("data", "-o", "out")
        self.assertEqual(status, 0)
        self.assertIn("6 crystals: 6 solved.", output)
        self.assertEqual(recordlines("out")[:4], before)
        self.assertEqual(len(recordlines("out")), 6)

    def test_solves_an_input_that_has_changed_and_its_neighbours_not(self) -> None:
        easycrystals(3)
        self.assertEqual(batch("data", "-o", "out", "--group", "3")[0], 0)
        simulate("other.idx", "--cell", "9 10 11 90 90 90", "-n", 12, "--noise", 0.005)
        shutil.copy("other.idx", "data/s1_002.idx")
        self.assertEqual(batch("data", "-o", "out")[0], 0)
        self.assertEqual([one["number"] for one in recorded("out")], [1, 2, 3, 2])
        (volume,), = table("out", "SELECT volume FROM crystal WHERE number = 2")
        self.assertAlmostEqual(volume / 990, 1.0, delta=0.02)

    def test_tries_again_what_failed(self) -> None:
        easycrystals(2)
        shutil.copy(Path(TOOLS).with_name("Torvik"), "mine")
        os.chmod("mine", 0o644)
        given = ("--keep", "all", "--torvik", "mine")
        output = batch("data", "-o", "out", *given)[1]
        self.assertIn("2 crystals: 2 failed.", output)
        os.chmod("mine", 0o755)
        output = batch("data", "-o", "out", *given)[1]
        self.assertIn("2 crystals: 2 solved.", output)

    def test_after_a_mistake_with_no_answers_may_have_other_settings(self) -> None:
        Path("data").mkdir()
        self.assertEqual(batch("data", "-o", "out", "--budget", "5")[0], 1)
        easycrystals(1)
        self.assertEqual(batch("data", "-o", "out", "--budget", "6")[0], 0)

    def test_with_other_settings_is_refused(self) -> None:
        easycrystals(1)
        self.assertEqual(batch("data", "-o", "out")[0], 0)
        before = recordlines("out")
        status, _, errors = batch("data", "-o", "out", "--budget", "7")
        self.assertEqual(status, 1)
        self.assertIn(f"were solved with other settings (budget: {PATIENCE}, not 7.0)", errors)
        self.assertEqual(recordlines("out"), before)


class AnInterruption(InAFolder):
    COUNT = 60 if LONG else 16

    def setUp(self) -> None:
        super().setUp()
        easycrystals(self.COUNT)

    def begin(self, solved: int = 3) -> Batch:
        """A batch that has solved some crystals, and goes on with the others once its gate lets it."""
        self.gate = Gate("out", solved)
        started = Batch("data", "-o", "out", "--group", "8", "--jobs", "1", *self.gate.options)
        waitfor(lambda: len(recordlines("out")) >= solved, "the last crystal before the gate")
        return started

    def resume(self, before: list[str]) -> None:
        self.assertLess(len(before), self.COUNT)
        self.gate.open()
        status, output, errors = batch("data", "-o", "out", *self.gate.options)
        self.assertEqual(status, 0, errors)
        self.assertIn(f"{self.COUNT} crystals: {self.COUNT} solved.", output)
        after = recordlines("out")
        whole = [line for line in before if line in after]
        self.assertEqual(len(whole), len(before))
        self.assertEqual(sorted(one["number"] for one in recorded("out")),
                         list(range(1, self.COUNT + 1)))

    def test_by_ctrl_c_ends_in_order_and_loses_nothing(self) -> None:
        started = self.begin()
        started.send(signal.SIGINT)
        status, _, errors = started.end()
        self.assertEqual(status, 130)
        self.assertIn("Stopped. The same call goes on from here.", errors)
        self.resume(recordlines("out"))

    def test_by_a_power_failure_loses_nothing(self) -> None:
        started = self.begin()
        killall(self.folder / "out")
        started.send(signal.SIGKILL)
        started.end()
        self.resume(recordlines("out"))

    def test_of_the_command_alone_stops_snakemake_too(self) -> None:
        started = self.begin()
        started.send(signal.SIGKILL)
        started.end()
        self.gate.open()
        # The group at work goes on to its end; the call that follows waits for it.
        waitfor(lambda: "Another call is at work" not in batch("data", "-o", "out",
                                                               *self.gate.options)[2],
                "the end of Snakemake")
        self.assertEqual(sorted(one["number"] for one in recorded("out")),
                         list(range(1, self.COUNT + 1)))

    def test_of_one_worker_costs_no_crystal(self) -> None:
        started = self.begin()
        found: list[int] = []

        def alone() -> bool:
            # A process that the worker has just forked bears its command line until it starts a program.
            found[:] = [number for number in processesin(self.folder / "out")
                        if b"step.py\0solving\0" in commandline(number)]
            return len(found) == 1

        waitfor(alone, "the worker at its gate")
        worker, = found
        os.kill(worker, signal.SIGKILL)
        self.gate.open()
        status, output, errors = started.end()
        self.assertEqual(status, 0, errors)
        self.assertIn(f"{self.COUNT} crystals: {self.COUNT} solved.", output)

    def test_leaves_a_database_of_before_whole(self) -> None:
        self.assertEqual(batch("data", "-o", "out")[0], 0)
        easycrystals(6, seed=80)
        started = self.begin(self.COUNT + 1)
        killall(self.folder / "out")
        started.end()
        self.assertEqual(len(table("out", "SELECT * FROM crystal")), self.COUNT)


class ASystem(InAFolder):
    """What is odd about the machine, not about the crystals."""

    def test_without_a_home_folder_does(self) -> None:
        easycrystals(1)
        bare = os.environ | {"HOME": "/nonexistent"}
        bare.pop("XDG_CACHE_HOME", None)
        self.assertEqual(batch("data", "-o", "out", environment=bare)[0], 0)
        self.assertTrue(Path("out/jobs/cache").is_dir())

    def test_takes_some_thousand_names(self) -> None:
        easycrystals(1)
        Path("many").mkdir()
        names = [f"many/{'x' * 50}{number}.idx" for number in range(4000)]
        for name in names:
            os.link("data/s1.idx", name)
        started = Batch(*names, "-o", "out")
        waitfor(lambda: recordlines("out"), "the first crystal")
        started.send(signal.SIGINT)
        self.assertIn("4000 crystals, 4000 new.", started.end()[2])

    def test_that_interrupts_at_any_moment_hears_a_sentence(self) -> None:
        easycrystals(1)
        gate = Gate("out", 0) # which no batch gets through, so that none ends before it is interrupted
        for moment in range(1, 12):
            started = Batch("data", "-o", f"out{moment}", *gate.options)
            time.sleep(0.04 * moment)
            self.interrupt(started, (130, -signal.SIGINT))
        for name in ("batch.lock", "batch.log", "jobs/solved/000000.lock"):
            output = Path(f"until_{Path(name).name}")
            started = Batch("data", "-o", str(output), *gate.options)
            waitfor((output / name).exists, name)
            self.interrupt(started, (130,))

    def interrupt(self, started: Batch, admitted: tuple) -> None:
        started.send(signal.SIGINT)
        status, _, errors = started.end()
        self.assertNotIn("Traceback", errors)
        self.assertIn(status, admitted)

    def test_with_a_full_disk_says_so_and_goes_on_later(self) -> None:
        easycrystals(2)
        Path("disk").mkdir()
        mounted = subprocess.run(["mount", "-t", "tmpfs", "-o", "size=64k", "tmpfs", "disk"],
                                 capture_output=True, check=False)
        if mounted.returncode != 0:
            self.skipTest("only root may mount a small disk")
        try:
            status, _, errors = batch("data", "-o", "disk/out")
            self.assertEqual(status, 1)
            self.assertNotIn("Traceback", errors)
            self.assertIn("No space left on device", errors)
            subprocess.run(["mount", "-o", "remount,size=64m", "disk"], check=True)
            status, output, errors = batch("data", "-o", "disk/out")
            self.assertIn("2 crystals: 2 solved.", output, errors)
        finally:
            subprocess.run(["umount", "-l", "disk"], check=False)

    def test_whose_reader_has_gone_ends_quietly(self) -> None:
        easycrystals(1)
        said = subprocess.run(f"'{TOOLS}' batch data -o out 2>errors | true", shell=True, check=False)
        self.assertEqual(said.returncode, 0)
        self.assertNotIn("Traceback", Path("errors").read_text(encoding="utf-8"))


class AMistake(InAFolder):
    def refused(self, *arguments: str, status: int = 1) -> str:
        code, output, errors = batch(*arguments)
        self.assertEqual((code, output), (status, ""), errors)
        return errors

    def test_without_inputs_is_told(self) -> None:
        self.assertIn("a measurement, a folder or a list is needed", self.refused(status=2))

    def test_in_a_name_is_told_and_leaves_nothing(self) -> None:
        self.assertIn("Error: There is no file or folder nowhere.",
                      self.refused("nowhere", "-o", "out"))
        self.assertFalse(Path("out").exists())

    def test_in_the_limits_of_the_volume_is_told_before_anything_is_solved(self) -> None:
        easycrystals(1)
        self.assertIn("The limits of the volume must be positive, the smaller first.",
                      self.refused("data", "-o", "out", "--volume", "1000", "100"))
        self.assertFalse(Path("out").exists())

    def test_of_an_empty_folder_is_told(self) -> None:
        Path("data").mkdir()
        self.assertIn("There is no measurement: in a folder, files are taken that end in",
                      self.refused("data", "-o", "out"))

    def test_of_a_folder_that_holds_other_files_changes_nothing_there(self) -> None:
        easycrystals(1)
        before = os.listdir("data")
        self.assertIn("holds other files. Please give a new folder.",
                      self.refused("data", "-o", "data"))
        self.assertEqual(os.listdir("data"), before)

    def test_of_two_calls_at_once_is_told_to_the_second(self) -> None:
        easycrystals(1)
        gate = Gate("out", 0)
        started = Batch("data", "-o", "out", *gate.options)
        waitfor(Path("out/jobs").exists, "the work")
        self.assertIn("Another call is at work in", self.refused("data", "-o", "out"))
        gate.open()
        self.assertEqual(started.end()[0], 0)

    def test_of_slurm_where_there_is_none_is_told(self) -> None:
        easycrystals(1)
        bare = self.folder / "bin"
        bare.mkdir()
        (bare / "python3").symlink_to(sys.executable)
        (bare / "snakemake").symlink_to(shutil.which("snakemake"))
        status, _, errors = batch("data", "-o", "out", "--slurm",
                                  environment=os.environ | {"PATH": str(bare)})
        self.assertEqual(status, 1)
        self.assertIn("Slurm's sbatch is missing here", errors)

    def test_of_a_missing_snakemake_is_told(self) -> None:
        easycrystals(1)
        bare = self.folder / "bin"
        bare.mkdir()
        (bare / "python3").symlink_to(sys.executable)
        status, _, errors = batch("data", "-o", "out", environment=os.environ | {"PATH": str(bare)})
        self.assertEqual(status, 1)
        self.assertIn("Snakemake is missing. On Debian: apt-get install snakemake python3-gemmi.",
                      errors)


class CellsOf(html.parser.HTMLParser):
    """The texts in the cells of a page's tables. Every element that is opened has to be closed."""

    EMPTY = frozenset(("meta", "br", "link"))

    def __init__(self, text: str) -> None:
        super().__init__()
        self.texts: set[str] = set()
        self._open: list[str] = []
        self._text = ""
        self.feed(text)
        self.close()
        if self._open:
            raise AssertionError(f"{self._open} are not closed")

    def handle_starttag(self, tag: str, attrs: list) -> None:
        if tag in ("td", "th"):
            self._text = ""
        if tag not in self.EMPTY:
            self._open.append(tag)

    def handle_endtag(self, tag: str) -> None:
        if not self._open or self._open.pop() != tag:
            raise AssertionError(f"{tag} is closed and not open")
        if tag in ("td", "th"):
            self.texts.add(self._text)

    def handle_data(self, data: str) -> None:
        self._text += data


if __name__ == "__main__":
    unittest.main()
