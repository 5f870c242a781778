"""Tests of the faults that are made from the sources, and of what is said about them."""

from __future__ import annotations

import ast
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

HERE = Path(__file__).resolve().parent
sys.path.insert(0, str(HERE))

import cppfaults
import mutate
import pyfaults
import suites
from building import Copy
from faults import EQUIVALENT, Fault, argue, entries

SOURCE = """#include <algorithm>
struct point { double x; double y; double z; };
constexpr int most = 12;
static_assert(most == 12);
double length(const point& p, double factor, double offset)
{
    double sum = 0.0;
    for (int i = 0; i < most; ++i) {
        if (i == 3 && factor < 2.5) continue;
        sum += p.x * factor;
    }
    if (!(sum > 1e-3)) return -offset;
    return std::max(sum, offset); // the larger one
}
bool positive(const point& p, double a, double b)
{
    return length(p, a, b) > 0.0;
}
"""

MODULE = '''"""A module."""

from __future__ import annotations

LIMIT: int = 3


def clipped(values: list[int], limit: int = LIMIT) -> int:
    """The sum of what is below a limit."""
    total = 0
    for value in values:
        if value < limit and not value < 0:
            total += value
    return max(total, 1)
'''


def changes(faults: list[Fault]) -> set[tuple[str, str, str]]:
    return {(fault.kind, fault.before, fault.after) for fault in faults}


@unittest.skipUnless(cppfaults.available(), "libclang's module for Python is missing")
class FaultsInCpp(unittest.TestCase):
    def setUp(self) -> None:
        self.faults = cppfaults.found_in_text("solver/sample.cpp", SOURCE)

    def test_are_made_by_each_rule(self) -> None:
        found = changes(self.faults)
        for expected in (("comparison", "i < most", "i <= most"),
                         ("comparison", "i == 3", "i != 3"),
                         ("comparison", "factor < 2.5", "factor > 2.5"),
                         ("comparison", "length(p, a, b) > 0.0", "length(p, a, b) >= 0.0"),
                         ("constant", "12", "13"), ("constant", "12", "11"),
                         ("constant", "2.5", "2.6"), ("constant", "1e-3", "2e-3"),
                         ("sign", "2.5", "-2.5"), ("sign", "-offset", "(offset)"),
                         ("arithmetic operator", "sum += p.x * factor", "sum -= p.x * factor"),
                         ("arithmetic operator", "p.x * factor", "p.x / factor"),
                         ("logical operator", "i == 3 && factor < 2.5", "i == 3 || factor < 2.5"),
                         ("index", "p.x", "p.y"),
                         ("removed statement", "continue;", ";"),
                         ("removed statement", "sum += p.x * factor;", ";"),
                         ("removed statement", "return -offset;", ";"),
                         ("negated condition", "!(sum > 1e-3)", "!(!(sum > 1e-3))"),
                         ("other function", "std::max(sum, offset)", "std::min(sum, offset)"),
                         ("swapped arguments", "length(p, a, b)", "length(p, b, a)"),
                         ("early return", "{", "{ return {};"),
                         ("early return", "{", "{ return true;"),
                         ("early return", "{", "{ return false;")):
            self.assertIn(expected, found)

    def test_leave_out_what_shows_nothing(self) -> None:
        for fault in self.faults:
            self.assertNotIn("static_assert", fault.text)
            self.assertFalse(fault.kind == "swapped arguments" and "max" in fault.before)
            self.assertFalse(fault.kind == "arithmetic operator" and "++i" in fault.before)
            self.assertFalse(fault.kind == "removed statement" and "std::max" in fault.before)

    def test_know_their_lines_and_functions(self) -> None:
        fault, = (one for one in self.faults if one.before == "sum += p.x * factor;")
        self.assertEqual((fault.line, fault.function, fault.text),
                         (10, "length", "sum += p.x * factor;"))

    def test_act_by_their_numbers_in_one_build_and_not_without(self) -> None:
        for number, fault in enumerate(self.faults, 1):
            fault.number = number
        program = """
#include <cstdio>
int main()
{
    std::printf("%g %g\\\\n", length({1, 2, 3}, 2.0, 5.0), length({0, 0, 0}, 2.0, 5.0));
}
"""
        with tempfile.TemporaryDirectory() as folder:
            main = Path(folder, "main.cpp")
            rewriter = cppfaults.Rewriter(SOURCE, [one for one in self.faults if not one.constant])
            main.write_text(rewriter.result() + program.replace("\\\\", "\\"), encoding="utf-8")
            self.assertEqual(rewriter.result().count("\n"), SOURCE.count("\n"))
            subprocess.run(["g++", "-std=c++20", "-w", "-include", str(HERE / "planted.h"), str(main),
                            str(HERE / "planted.cpp"), "-o", folder + "/main"], check=True)

            def printed(number: int) -> str:
                return subprocess.run([folder + "/main"], env={"TORVIK_FAULT": str(number)},
                                      capture_output=True, text=True, check=True).stdout
            self.assertEqual(printed(0), "22 -5\n")

            def of(before: str, after: str) -> str:
                return printed(next(one.number for one in self.faults
                                    if one.before == before and one.after == after))
            self.assertEqual(of("i < most", "i <= most"), "24 -5\n")
            self.assertEqual(of("p.x * factor", "p.x / factor"), "5.5 -5\n")
            self.assertEqual(of("continue;", ";"), "24 -5\n")
            self.assertEqual(of("-offset", "(offset)"), "22 5\n")
            self.assertEqual(of("{", "{ return {};"), "0 0\n")
            reached = Path(folder, "reached")
            reached.write_bytes(bytes(len(self.faults) + 1))
            subprocess.run([folder + "/main"], env={"TORVIK_FAULTS_REACHED": str(reached)},
                           capture_output=True, check=True)
            noted = {i for i, byte in enumerate(reached.read_bytes()) if byte}
            for fault in self.faults:
                inside = fault.function == "length" and not fault.constant
                self.assertEqual(fault.number in noted, inside, fault.described())

    def test_that_do_not_compile_are_found_and_taken_out(self) -> None:
        for number, fault in enumerate(self.faults, 1):
            fault.number = number
        with tempfile.TemporaryDirectory() as folder:
            copy = Copy(Path(folder), 1)
            copy.written["solver/sample.cpp"] = rewriter = cppfaults.Rewriter(SOURCE, self.faults)
            copy.write("solver/sample.cpp", rewriter.result().encode())
            errors = copy.errors_of("solver/sample.cpp")
            self.assertIn("most", errors)  # is no constant for the static_assert any more
            blamed = {fault.number for message, places in copy.messages(errors)
                      for fault in copy.blamed(message, places)[1]}
            self.assertEqual(blamed, {one.number for one in self.faults if one.constant == "most"})

    def test_of_numbers_keep_what_kind_of_number_it_is(self) -> None:
        self.assertEqual(cppfaults.literal("7U"), [("constant", "8U"), ("constant", "6U")])
        self.assertEqual(cppfaults.literal("0"), [("constant", "1")])
        self.assertEqual(cppfaults.literal("0x1f"), [("constant", "32"), ("constant", "30")])
        self.assertEqual(cppfaults.literal("0.5F"), [("constant", "0.6F"), ("sign", "-0.5F")])
        self.assertEqual(cppfaults.literal("4.0"), [("constant", "5.0"), ("sign", "-4.0")])
        self.assertEqual(cppfaults.literal("9.0"), [("constant", "8.0"), ("sign", "-9.0")])
        self.assertEqual(cppfaults.literal("1.25e-7"), [("constant", "1.26e-7"), ("sign", "-1.25e-7")])
        self.assertEqual(cppfaults.literal("0x1.8p-1"), [("constant", "0x1.9p-1"), ("sign", "-0x1.8p-1")])
        self.assertEqual(cppfaults.literal("true"), [("constant", "false")])

    def test_are_made_from_all_sources(self) -> None:
        for folder in ("solver", "tools", "src"):
            self.assertGreater(len(mutate.sources(folder)), 50)
        self.assertGreater(len(mutate.sources("workflow")), 8)


class FaultsInPython(unittest.TestCase):
    def setUp(self) -> None:
        self.faults = pyfaults.walked("workflow/sample.py", MODULE, {})[0]

    def test_are_made_by_each_rule(self) -> None:
        found = changes(self.faults)
        for expected in (("constant", "3", "4"), ("constant", "0", "1"),
                         ("comparison", "value < limit", "value <= limit"),
                         ("logical operator", "value < limit and (not value < 0)",
                          "value < limit or not value < 0"),
                         ("negated condition", "not value < 0", "value < 0"),
                         ("removed statement", "total += value", "pass"),
                         ("other function", "max(total, 1)", "min(total, 1)"),
                         ("early return", "def clipped:", "return None")):
            self.assertIn(expected, found)

    def test_act_by_their_numbers_and_not_without(self) -> None:
        for number, fault in enumerate(self.faults, 1):
            fault.number = number
        text = pyfaults.rewritten("workflow/sample.py", MODULE, self.faults)
        ast.parse(text)
        self.assertTrue(text.startswith('"""A module."""'))

        def total(number: int) -> int:
            values: dict = {}
            exec(compile(text, "sample.py", "exec"), values)
            values["torvik_acting"] = number
            return values["clipped"]([1, 2, 3, 4, -1])

        def of(before: str, after: str) -> int:
            return total(next(one.number for one in self.faults
                              if one.before == before and one.after == after))
        self.assertEqual(total(0), 3)
        self.assertEqual(of("value < limit", "value <= limit"), 6)
        self.assertEqual(of("total += value", "pass"), 1)
        self.assertEqual(of("max(total, 1)", "min(total, 1)"), 1)
        self.assertIsNone(of("def clipped:", "return None"))


class Arguments(unittest.TestCase):
    FAULT = Fault("a.cpp", 7, "f", "constant", "x = 1;", "1", "2")
    LIST = """# A remark.
file a.cpp
function f
kind constant
line x = 1;
because It is set again
because before it is used.
"""

    def fault(self, **others: object) -> Fault:
        return Fault(**{**vars(self.FAULT), **others})

    def test_fit_whatever_the_number_of_the_line(self) -> None:
        for line in (7, 8):
            fault = self.fault(line=line)
            self.assertEqual(argue([fault], entries(self.LIST)), [])
            self.assertEqual(fault.argument, "It is set again before it is used.")

    def test_fit_no_other_fault(self) -> None:
        for other in ({"function": "g"}, {"kind": "sign"}, {"text": "x = 2;"}, {"file": "b.cpp"}):
            fault = self.fault(**other)
            stale = argue([fault], entries(self.LIST))
            self.assertEqual(fault.argument, "")
            self.assertEqual(len(stale), 0 if "file" in other else 1)

    def test_of_the_project_can_be_read(self) -> None:
        for entry in entries(EQUIVALENT.read_text(encoding="utf-8")):
            self.assertGreater(len(entry.because), 20, entry)

    def test_with_an_unknown_word_are_refused(self) -> None:
        with self.assertRaises(SystemExit):
            entries("file a.cpp\nwhy not\n")


class Suite(suites.Suite):
    """Tests that fail with the faults that are given."""

    def __init__(self, name: str, folder: str, cases: list[suites.Case], failing: dict) -> None:
        super().__init__(name, folder, cases)
        self.failing = failing
        self.asked: list[str] = []

    def caught(self, fault: int, cases: list[suites.Case]) -> str:
        self.asked += [case.name for case in cases]
        return next((case.name for case in cases if case.name in self.failing.get(fault, ())), "")


class Runs(unittest.TestCase):
    def test_take_only_the_tests_that_reach_a_fault_the_near_and_quick_ones_first(self) -> None:
        near = Suite("near", "here", [suites.Case("slow", 9.0, {1}), suites.Case("quick", 0.1, {1}),
                                      suites.Case("other", 0.1, {2})], {1: ["slow"]})
        far = Suite("far", "there", [suites.Case("distant", 0.1, {1})], {})
        self.assertEqual(suites.catcher([far, near], "here", 1), (True, "near: slow"))
        self.assertEqual((near.asked, far.asked), (["quick", "slow"], ["distant"]))

    def test_tell_survivors_from_what_no_test_reaches(self) -> None:
        near = Suite("near", "here", [suites.Case("one", 0.1, {1})], {})
        self.assertEqual(suites.catcher([near], "here", 1), (True, ""))
        self.assertEqual(suites.catcher([near], "here", 2), (False, ""))

    def test_that_hang_or_crash_catch_a_fault(self) -> None:
        script = "import os, sys, time\n" \
                 "if '--gtest_filter=*' in sys.argv: sys.exit(0)\n" \
                 "print('[ RUN      ] A.Test', flush=True)\n" \
                 "fault = os.environ['TORVIK_FAULT']\n" \
                 "time.sleep(60 if fault == '1' else 0)\n" \
                 "os.abort() if fault == '2' else sys.exit(0)\n"
        with tempfile.TemporaryDirectory() as folder:
            program = Path(folder, "program")
            program.write_text(f"#!{sys.executable}\n{script}", encoding="utf-8")
            program.chmod(0o755)
            suite = suites.GTestSuite("a", "a", program=str(program))
            case = [suites.Case("A.Test", -0.4, set())]  # a patience of one second
            self.assertEqual(suite.caught(1, case), "A.Test: out of time")
            self.assertEqual(suite.caught(2, case), "A.Test: ended by SIGABRT")
            self.assertEqual(suite.caught(3, case), "")


class Rates(unittest.TestCase):
    def test_have_limits(self) -> None:
        # By the formula of E. B. Wilson, J. Am. Stat. Assoc. 22 (1927) 209.
        for caught, tried, low, high in ((9, 10, 59.6, 98.2), (10, 10, 72.2, 100.0)):
            found = mutate.limits(caught, tried)
            self.assertAlmostEqual(found[0], low, delta=0.05)
            self.assertAlmostEqual(found[1], high, delta=0.05)

    def test_count_what_is_not_reached_and_not_what_is_argued(self) -> None:
        report = mutate.Report(1)
        for verdict, argument in (("caught by x", ""), ("survived", ""), ("not reached", ""),
                                  ("survived", "equivalent"), ("caught by x", "equivalent")):
            fault = Fault("solver/a.cpp", 1, "f", "constant", "1", "1", "2", argument=argument)
            report.results.append(("solver", fault, verdict))
        line, good = report.line("solver", 100, 6, 1)
        self.assertIn("2 of 4 caught: 50.0 % (15.0 to 85.0); 1 survived, 1 not reached", line)
        self.assertIn("1 refused by the compiler, 1 argued", line)
        self.assertFalse(good)
        self.assertEqual(len(report.doubtful()), 1)
        self.assertEqual(report.survivors().count("solver/a.cpp"), 2)


if __name__ == "__main__":
    unittest.main()
