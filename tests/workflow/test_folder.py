"""Lists of inputs, groups and records: what a batch knows of its crystals."""

from __future__ import annotations

import json
import os
import signal
import time
import unittest
from pathlib import Path

from batches import InAFolder
from torvikbatch import folder, inputs, solving
from torvikbatch.folder import FIRST, Input, Unusable


def touch(*names: str) -> None:
    for name in names:
        Path(name).parent.mkdir(parents=True, exist_ok=True)
        Path(name).write_text("x", encoding="utf-8")


class GatheredInputs(InAFolder):
    def gathered(self, *places: str, lists: tuple = ()) -> list[str]:
        found = inputs.gathered(places, lists, self.folder / "out")
        return [os.path.relpath(names[0]) for names in found]

    def test_are_all_measurements_in_a_folder_and_below_by_name(self) -> None:
        touch("data/b.csv", "data/a.p4p", "data/sub/c.XDS", "data/XDS.INP", "data/picture.png",
              "data/imported.expt", "data/strong.refl")
        self.assertEqual(self.gathered("data"), ["data/a.p4p", "data/b.csv", "data/strong.refl",
                                                 "data/sub/c.XDS"])

    def test_leave_out_what_solve_and_the_batch_have_written(self) -> None:
        touch("data/a.idx", "data/a.solution.idx", "data/.hidden/b.idx", "out/crystals/0/c.idx")
        self.assertEqual(self.gathered("."), ["data/a.idx"])

    def test_take_a_file_that_is_named_whatever_its_name(self) -> None:
        touch("spots.dat")
        self.assertEqual(self.gathered("spots.dat"), ["spots.dat"])

    def test_hold_each_file_once(self) -> None:
        touch("data/a.idx")
        self.assertEqual(self.gathered("data", "data/a.idx", "./data/../data"), ["data/a.idx"])

    def test_come_from_lists_too_with_further_files_behind_tabs(self) -> None:
        touch("data/a.refl", "data/a.expt", "data/b.idx")
        Path("data/list.txt").write_text("# two\n\na.refl\ta.expt\nb.idx\n", encoding="utf-8")
        found = inputs.gathered([], ["data/list.txt"], self.folder / "out")
        self.assertEqual([tuple(map(os.path.relpath, names)) for names in found],
                         [("data/a.refl", "data/a.expt"), ("data/b.idx",)])

    def test_are_found_once_where_links_make_a_circle(self) -> None:
        touch("data/sub/a.idx")
        Path("data/sub/circle").symlink_to("..")
        Path("data/twin").symlink_to("sub")
        self.assertEqual(self.gathered("data"), ["data/sub/a.idx"])

    def test_leave_out_hidden_files_and_other_batches(self) -> None:
        touch("data/a.idx", "data/._a.idx", "data/old/batch.lock", "data/old/crystals.csv",
              "data/old/jobs/lists/0.tsv")
        self.assertEqual(self.gathered("data"), ["data/a.idx"])

    def test_have_their_further_files_wherever_these_are_named(self) -> None:
        touch("data/a.refl", "data/a.expt")
        Path("list.txt").write_text("\ufeffdata/a.refl\tdata/a.expt\n  # remark\n", encoding="utf-8")
        self.assertEqual([len(names) for names in inputs.gathered(["data"], ["list.txt"], self.folder)],
                         [2])

    def test_must_be_there(self) -> None:
        with self.assertRaisesRegex(Unusable, "There is no file or folder nowhere."):
            self.gathered("nowhere")

    def test_have_no_tabs_in_their_names(self) -> None:
        touch("a\tb.idx")
        with self.assertRaisesRegex(Unusable, "has a tab or the end of a line in it"):
            self.gathered(".")


class Groups(InAFolder):
    def prepare(self, names: list[str], size: int | None = 2) -> tuple:
        """How many inputs there are, are new, and have changed. A name may have further ones behind tabs."""
        wanted = [tuple(str(self.folder / part) for part in name.split("\t")) for name in names]
        total, new, changed = inputs.prepare(wanted, size, 1)
        return total, new, len(changed)

    def end(self, group: str, failed: str = "") -> None:
        """Marks a group as done, some time after it was listed and some time ago: the clock of a file system
        can stand still for longer than a test takes."""
        folder.writewhole(FIRST.doneof(group), failed)
        for path, ago in ((FIRST.listof(group), 20), (FIRST.doneof(group), 10)):
            os.utime(path, 2 * (time.time() - ago,))

    def open(self) -> list[str]:
        """Groups whose lists are newer than what was made of them: what Snakemake goes by."""
        return [group for group in FIRST.groups()
                if FIRST.listof(group).stat().st_mtime_ns > FIRST.doneof(group).stat().st_mtime_ns]

    def test_hold_the_inputs_in_order(self) -> None:
        touch("a", "b", "c")
        self.assertEqual(self.prepare(["a", "b", "c"]), (3, 3, 0))
        self.assertEqual([[Path(one.file).name for one in folder.readlist(FIRST.listof(group))]
                          for group in FIRST.groups()], [["a", "b"], ["c"]])

    def test_do_not_change_when_inputs_are_added(self) -> None:
        touch("a", "b", "c", "d")
        self.prepare(["b", "d"])
        before = FIRST.listof("000000").read_bytes()
        self.assertEqual(self.prepare(["a", "b", "c", "d"]), (4, 2, 0))
        self.assertEqual(FIRST.listof("000000").read_bytes(), before)
        self.assertEqual([one.number for one in folder.readlist(FIRST.listof("000001"))], [3, 4])

    def test_of_inputs_that_changed_are_gone_through_again(self) -> None:
        touch("a", "b", "c")
        self.prepare(["a", "b", "c"])
        for group in FIRST.groups():
            self.end(group)
        Path("a").write_text("longer", encoding="utf-8")
        self.assertEqual(self.prepare(["a", "b", "c"]), (3, 0, 1))
        self.assertEqual(self.open(), ["000000"])

    def test_of_further_files_that_changed_or_are_newly_named_are_gone_through_again(self) -> None:
        touch("a", "geometry", "b")
        self.prepare(["a\tgeometry", "b"])
        Path("geometry").write_text("longer", encoding="utf-8")
        self.assertEqual(self.prepare(["a\tgeometry", "b"]), (2, 0, 1))
        self.assertEqual(self.prepare(["a", "b"]), (2, 0, 0))
        self.assertEqual(self.prepare(["a", "b\tgeometry"]), (2, 0, 1))

    def test_with_failed_crystals_are_gone_through_again(self) -> None:
        touch("a", "b", "c")
        self.prepare(["a", "b", "c"])
        self.end("000000", "1\n")
        self.end("000001", "0\n")
        self.prepare([])
        self.assertEqual(self.open(), ["000000"])

    def test_bear_names_with_the_ends_of_lines_of_other_scripts(self) -> None:
        names = ["one\u2028two", "three\u0085four", "five\x0csix"]
        touch(*names)
        self.prepare(names)
        self.prepare(names)
        self.assertEqual([Path(one.file).name for group in FIRST.groups()
                          for one in folder.readlist(FIRST.listof(group))], names)

    def test_name_files_that_a_file_system_bears(self) -> None:
        name = "ü" * 120 + ".idx"
        touch(name)
        self.prepare([name])
        one, = folder.readlist(FIRST.listof("000000"))
        self.assertEqual(one.name, "00000001_" + "ü" * 75)
        Path(one.name + ".known.solution_idx.res").write_text("", encoding="utf-8")

    def test_keep_an_input_that_is_gone(self) -> None:
        touch("a")
        self.prepare(["a"])
        self.end("000000")
        Path("a").unlink()
        self.assertEqual(self.prepare([]), (1, 0, 0))
        self.assertEqual(self.open(), [])

    def test_are_small_enough_for_all_jobs_to_end_together_and_never_huge(self) -> None:
        self.assertEqual(inputs.groupsize(200, 2), 13)
        self.assertEqual(inputs.groupsize(1, 64), 1)
        self.assertEqual(inputs.groupsize(10_000_000, 100), inputs.LARGESTGROUP)

    def test_keep_names_that_are_no_text(self) -> None:
        name = os.fsdecode(b"odd\xff.idx")
        touch(name)
        self.prepare([name])
        one, = folder.readlist(FIRST.listof("000000"))
        self.assertEqual(Path(one.file).name, name)
        self.assertEqual(one, Input.of(1, str(self.folder / name)))


class Records(InAFolder):
    PATH = Path("records.jsonl")

    def test_are_read_as_they_were_added(self) -> None:
        for number in (1, 2, 1):
            solving.addrecord(self.PATH, {"number": number, "file": os.fsdecode(b"\xff")})
        self.assertEqual([one["number"] for one in folder.records(self.PATH)], [1, 2, 1])
        self.assertEqual(list(folder.latest(self.PATH)), [1, 2])

    def test_that_were_cut_are_passed_over_and_cost_no_other(self) -> None:
        solving.addrecord(self.PATH, {"number": 1})
        whole = self.PATH.read_bytes()
        for cut in range(1, len(whole)):
            self.PATH.write_bytes(whole + json.dumps({"number": 2}).encode()[:cut])
            self.assertEqual(list(folder.latest(self.PATH)), [1])
            solving.addrecord(self.PATH, {"number": 3})
            self.assertEqual(list(folder.latest(self.PATH))[-1], 3)
            self.assertIn(1, folder.latest(self.PATH))

    def test_of_no_file_are_none(self) -> None:
        self.assertEqual(list(folder.records(Path("nowhere"))), [])

    def test_are_of_one_state_of_the_input(self) -> None:
        touch("a")
        given = Input.of(1, "a")
        record = {"size": given.size, "changed": given.changed}
        self.assertTrue(folder.isof(record, given))
        Path("a").write_text("longer", encoding="utf-8")
        self.assertFalse(folder.isof(record, Input.of(1, "a")))

    def test_a_whole_file_is_written_or_none(self) -> None:
        folder.writewhole(Path("a"), "first")
        with self.assertRaises(UnicodeEncodeError):
            folder.writewhole(Path("a"), "\ud800")
        self.assertEqual(Path("a").read_text(encoding="utf-8"), "first")
        self.assertEqual(os.listdir(), ["a"])


class Errors(unittest.TestCase):
    def test_are_what_the_command_said(self) -> None:
        self.assertEqual(solving.errorin("Note: x\nError: There is no file a.\n", 1),
                         "There is no file a.")

    def test_name_the_signal_or_the_status_if_it_said_nothing(self) -> None:
        self.assertEqual(solving.errorin("", -9), "The command was ended by signal 9.")
        self.assertEqual(solving.errorin("", 3), "The command ended with status 3 and no solution.")


class AStop(InAFolder):
    def test_amid_the_start_of_a_command_leaves_none_at_work(self) -> None:
        self.addCleanup(signal.signal, signal.SIGINT, signal.signal(signal.SIGINT, solving.stop))
        for _ in range(20):
            with self.assertRaises(solving.Stopped):
                solving.ended(["sh", "-c", "echo $$ >child; kill -INT $PPID; exec sleep 60"], 60.0)
            child = Path("child").read_text(encoding="ascii").strip()
            self.assertFalse(Path("/proc", child).exists())


if __name__ == "__main__":
    unittest.main()
