"""Lists of inputs, groups and records: what a batch knows of its crystals."""

from __future__ import annotations

import json
import os
import signal
import socket
import time
import unittest
from pathlib import Path

from batches import InAFolder
from torvikbatch import folder, inputs, solving
from torvikbatch.folder import FIRST, Damaged, Input, Unusable


def touch(*names: str) -> None:
    for name in names:
        Path(name).parent.mkdir(parents=True, exist_ok=True)
        Path(name).write_text("x", encoding="utf-8")


def failure(given: Input, **more: object) -> dict:
    """A record of an input that failed: the shortest one."""
    return {"number": given.number, "file": given.file, "size": given.size, "changed": given.changed,
            "others": list(given.others), "seconds": 0.1, "verdict": "failed", "reason": "It failed.",
            "call": "1"} | more


def refusal(given: Input, **more: object) -> dict:
    return failure(given) | {"verdict": "refused", "measured": 3, "interrupted": False, "remarks": []} | more


class GatheredInputs(InAFolder):
    def gathered(self, *places: str, lists: tuple = ()) -> list[str]:
        found = inputs.gathered(places, lists, self.folder / "out")
        return [os.path.relpath(name) for name in found.wanted]

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
        self.assertEqual([tuple(map(os.path.relpath, names)) for names in found.wanted.values()],
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
        found = inputs.gathered(["data"], ["list.txt"], self.folder)
        self.assertEqual([len(names) for names in found.wanted.values()], [2])

    def test_must_be_there(self) -> None:
        with self.assertRaisesRegex(Unusable, "There is no file or folder nowhere."):
            self.gathered("nowhere")

    def test_with_ends_of_lines_in_their_names_are_passed_over_with_a_sentence(self) -> None:
        touch("data/a\tb.idx", "data/a\nb.idx", "data/a\rb.idx", "data/good.idx")
        found = inputs.gathered(["data"], [], self.folder / "out")
        self.assertEqual([os.path.relpath(name) for name in found.wanted], ["data/good.idx"])
        sentence, = found.notes()
        self.assertIn("3 files passed over (a tab or the end of a line in its name): ", sentence)
        self.assertIn("a\\x09b.idx", sentence)
        self.assertNotIn("\n", sentence)

    def test_are_regular_files(self) -> None:
        touch("data/a.idx")
        os.mkfifo("data/pipe.csv")
        plug = socket.socket(socket.AF_UNIX)
        self.addCleanup(plug.close)
        plug.bind("data/socket.csv")
        Path("data/link.csv").symlink_to("pipe.csv")
        found = inputs.gathered(["data"], [], self.folder / "out")
        self.assertEqual([os.path.relpath(name) for name in found.wanted], ["data/a.idx"])
        self.assertEqual(set(found.passed.values()), {"no regular file"})
        self.assertEqual(len(found.passed), 3)
        with self.assertRaisesRegex(Unusable, "pipe.csv cannot be an input: no regular file."):
            self.gathered("data/pipe.csv")

    def test_in_a_list_may_end_in_what_looks_like_a_blank(self) -> None:
        names = ["a\u2028b.idx", "end\u00a0", "c\x0cd.idx", "e\x85"]
        touch(*names)
        Path("list").write_text("".join(f"{name}  \r\n" for name in names), encoding="utf-8", newline="")
        self.assertEqual(self.gathered(lists=("list",)), names)

    def test_do_not_include_the_lists(self) -> None:
        touch("data/a.idx")
        Path("data/list.txt").write_text("a.idx\n", encoding="utf-8")
        self.assertEqual(self.gathered("data", lists=("data/list.txt",)), ["data/a.idx"])

    def test_have_the_geometry_beside_them(self) -> None:
        touch("xds/SPOT.XDS", "xds/XDS.INP", "dials/strong.refl", "dials/imported.expt", "dials/b.refl",
              "dials/b.expt", "dials/alone.refl")
        found = inputs.gathered(["."], [], self.folder / "out")
        self.assertEqual({tuple(map(os.path.relpath, names)) for names in found.wanted.values()},
                         {("xds/SPOT.XDS", "xds/XDS.INP"), ("dials/strong.refl", "dials/imported.expt"),
                          ("dials/b.refl", "dials/b.expt"), ("dials/alone.refl",)})


class AGeneralFile(InAFolder):
    """Files that end in .txt, .csv or .tsv: what of them may hold reflections."""

    def isheld(self, text: str | bytes) -> bool:
        Path("file").write_bytes(text if isinstance(text, bytes) else text.encode())
        return inputs.mayhold("file")

    def test_that_is_prose_is_no_measurement(self) -> None:
        for text in ("Measured on 2024-11-22 by three people.\n\n1. Mount it.\n2. Turn it by 5 degrees.\n",
                     "name,date,remark\nquartz,2024-11-22,good\n", "time\ttemperature\n1.0\t293\n2.0\t294\n"):
            self.assertFalse(self.isheld(text), text)

    def test_with_a_row_of_numbers_or_names_of_columns_may_be_one(self) -> None:
        for text in ("# remark\n\n0.1 0.2 0.3\n", ".1,.2,.3\n", "1;2;-3e-2", "0,1 0,2 0,3\r\n",
                     "h,k,l\r-1,2,0.5D+1\r", "x,y,z\n1,2\n", "# x y z\n", "spot1 0.1 0.2 0.3 12.5\n",
                     '"phi (deg)","chi[deg]"\n'):
            self.assertTrue(self.isheld(text), text)

    def test_that_is_damaged_is_not_passed_over(self) -> None:
        for content in (b"", b"\0" * 100, "0.1 0.2 0.3\n".encode("utf-16")):
            self.assertTrue(self.isheld(content), content)
        self.assertTrue(inputs.mayhold("nowhere"))


class Groups(InAFolder):
    def prepared(self, names: list[str], size: int | None = 2) -> inputs.Prepared:
        """A name may have further ones behind tabs."""
        asked = inputs.Gathered()
        for name in names:
            asked.take(tuple(str(self.folder / part) for part in name.split("\t")))
        return inputs.prepare(asked, size, 1)

    def prepare(self, names: list[str], size: int | None = 2) -> tuple:
        """How many inputs there are, are new, and have changed."""
        found = self.prepared(names, size)
        return found.total, found.new, len(found.changed)

    def end(self, group: str, *failed: int) -> None:
        """Marks a group as done, some of its crystals having failed; by a clock that is an hour ahead."""
        FIRST.solved.mkdir(parents=True, exist_ok=True)
        for one in folder.readlist(FIRST.listof(group)):
            solving.addrecord(FIRST.recordsof(group), (failure if one.number in failed else refusal)(one))
        folder.writewhole(FIRST.doneof(group), "")
        os.utime(FIRST.doneof(group), 2 * (time.time() + 3600,))

    def open(self) -> list[str]:
        """Groups that are to be gone through."""
        return [group for group in FIRST.groups() if not FIRST.doneof(group).exists()]

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
        self.end("000000", 1)
        self.end("000001")
        self.prepare([])
        self.assertEqual(self.open(), ["000000"])

    def test_whose_records_are_lost_or_damaged_are_gone_through_again(self) -> None:
        touch("a", "b", "c", "d", "e", "f")
        self.prepare(["a", "b", "c", "d", "e", "f"], 1)
        for group in FIRST.groups():
            self.end(group)
        FIRST.recordsof("000001").unlink()
        FIRST.recordsof("000002").write_bytes(b'{"number":"x"}\n')
        whole = FIRST.recordsof("000003").read_bytes()
        FIRST.recordsof("000003").write_bytes(whole[:-9])
        FIRST.recordsof("000004").write_bytes(b"\xff\x00[[[\n" + whole.replace(b'"number": 4', b'"number": 5'))
        self.prepare([])
        self.assertEqual(self.open(), ["000001", "000002", "000003", "000004"])

    def test_that_are_gone_through_again_are_grouped_anew(self) -> None:
        touch("a")
        self.prepare(["a"])
        for path in (folder.CONSENSUS, folder.DATABASEDONE):
            folder.writewhole(path, "")
        self.prepare([])
        self.assertFalse(folder.CONSENSUS.exists())
        self.assertFalse(folder.DATABASEDONE.exists())

    def test_are_made_anew_from_records_if_their_list_is_damaged(self) -> None:
        touch("a", "b", "geometry", "c")
        self.prepare(["a", "b\tgeometry", "c"])
        self.end("000000")
        path = FIRST.listof("000000")
        whole = path.read_bytes()
        first = whole.split(b"\n")[0] + b"\n"
        for damaged in (whole[:-5], b"garbage\n", b"\0\xff" * 99, b"1\t2\n", b"", first + first, None):
            if damaged is None:
                path.unlink()
            else:
                path.write_bytes(damaged)
            found = self.prepared(["a", "b\tgeometry", "c"])
            self.assertEqual((found.total, len(folder.readlist(path)), found.changed), (3, 2, set()), damaged)
            self.assertIn("jobs/lists/000000.tsv is ", found.notes[0])
            self.assertIn("000000", self.open())
        self.assertEqual([(one.number, Path(one.file).name) for one in folder.readlist(path)],
                         [(1, "a"), (2, "b")])

    def test_of_other_names_are_none(self) -> None:
        touch("a", "jobs/lists/$(touch X).tsv", "jobs/lists/1.tsv", "jobs/lists/000000 .tsv",
              "jobs/solved/`x`.jsonl")
        self.assertEqual(self.prepare(["a"]), (1, 1, 0))
        self.assertEqual(FIRST.groups(), ["000000"])
        self.assertEqual(self.open(), ["000000"])

    def test_get_numbers_that_no_other_has_where_a_list_was_lost(self) -> None:
        touch("a", "b", "c", "d")
        self.prepare(["a", "b", "c"], 1)
        self.end("000000")
        self.end("000002")
        FIRST.listof("000001").unlink()
        self.assertEqual(self.prepare(["a", "b", "c", "d"], 1), (4, 2, 0))
        found = [one for group in FIRST.groups() for one in folder.readlist(FIRST.listof(group))]
        self.assertEqual([(one.number, Path(one.file).name) for one in found],
                         [(1, "a"), (3, "c"), (4, "b"), (5, "d")])

    def test_of_inputs_whose_geometry_was_replaced_by_an_older_one_are_gone_through_again(self) -> None:
        touch("a", "geometry")
        os.utime("geometry", (1000, 1000))
        self.prepare(["a\tgeometry"])
        os.utime("geometry", (500, 500))
        self.assertEqual(self.prepare(["a\tgeometry"]), (1, 0, 1))

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

    @staticmethod
    def record(number: int, **more: object) -> dict:
        return refusal(Input(number, 1, 1, os.fsdecode(b"/\xff")), **more)

    def test_are_read_as_they_were_added(self) -> None:
        for number in (1, 2, 1):
            solving.addrecord(self.PATH, self.record(number))
        self.assertEqual(list(folder.records(self.PATH)), [self.record(number) for number in (1, 2, 1)])
        self.assertEqual(list(folder.latest(self.PATH)), [1, 2])

    def test_that_were_cut_are_passed_over_and_cost_no_other(self) -> None:
        solving.addrecord(self.PATH, self.record(1))
        whole = self.PATH.read_bytes()
        for cut in range(1, len(whole)):
            self.PATH.write_bytes(whole + json.dumps(self.record(2)).encode()[:cut])
            self.assertEqual(list(folder.latest(self.PATH)), [1])
            solving.addrecord(self.PATH, self.record(3))
            self.assertEqual(list(folder.latest(self.PATH))[-1], 3)
            self.assertIn(1, folder.latest(self.PATH))

    def test_are_none_if_they_merely_parse(self) -> None:
        lattice = {"cell": [5.0, 6.0, 7.0, 90.0, 90.0, 90.0], "volume": 210.0, "uncertainty": 7 * [0.1],
                   "basis": 3 * [[1.0, 0.0, 0.0]], "sigma": 0.001, "wrong": 0.0, "evidence": 50.0,
                   "lattices": 1, "indexed": 3, "verdict": "solved"}
        self.assertTrue(folder.isrecord(self.record(1, **lattice)))
        for wrong in ({"number": "x"}, {"number": 0}, {"number": True}, {"number": 2**70}, {"size": None},
                      {"verdict": "sure"}, {"verdict": ["solved"]}, {"seconds": float("nan")}, {"reason": 1},
                      {"remarks": [1]}, {"interrupted": None}, {"cell": [5, 6, 7, 90, 90]}, {"others": [1]},
                      {"cell": [5, 6, 7, 90, 90, 190]}, {"cell": [5, 6, 7, 30, 30, 90]}, {"basis": []},
                      {"cell": [5, 6, float("inf"), 90, 90, 90]}, {"volume": -1.0}, {"indexed": 4}):
            line = json.dumps(self.record(1, **lattice) | wrong).encode()
            self.assertIsNone(folder.recordin(line), line)
        for line in (b"[]", b"1", b"null", b"{}", b"", b"[" * 100_000, b'"\xff"'):
            self.assertIsNone(folder.recordin(line))

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


class FilesOfABatch(InAFolder):
    def test_that_are_damaged_are_named(self) -> None:
        for text in (None, "", "{", "[]", "1", "[" * 100_000, "\udcff", "{}"):
            for path, read in ((folder.CONSENSUS, folder.consensus), (folder.SETTINGS, folder.settings)):
                path.unlink(missing_ok=True)
                if text is not None:
                    path.write_text(text, encoding="utf-8", errors="surrogateescape")
                with self.assertRaisesRegex(Damaged, f"^{path} is damaged: "):
                    read()


class Errors(unittest.TestCase):
    def test_are_what_the_command_said(self) -> None:
        self.assertEqual(solving.errorin("Note: x\nError: There is no file a.\n", 1),
                         "There is no file a.")

    def test_are_whole_where_other_scripts_end_a_line(self) -> None:
        self.assertEqual(solving.errorin("Error: There is no file a\u2028b\x85c\x0cd\x1ce.\nNote: x\n", 1),
                         "There is no file a\u2028b\x85c\x0cd\x1ce.")

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
