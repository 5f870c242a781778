"""torvik-tools batch --slurm, on a Slurm of one node that the tests start on the loopback."""

from __future__ import annotations

import json
import os
import signal
import subprocess
import sys
import unittest
from pathlib import Path

import slurmnode
from batches import (HOSTILE, WORKFLOW, Batch, Gate, InAFolder, batch, easycrystals, recorded, recordlines,
                     replacement, table, waitfor)

CPUS = 2


@unittest.skipIf(slurmnode.missing(), f"A Slurm needs, and this system lacks: {', '.join(slurmnode.missing())}.")
class WithSlurm(InAFolder):
    GROUP = 5
    COUNT = CPUS * GROUP

    def setUp(self) -> None:
        super().setUp()
        self.slurm = slurmnode.SlurmNode(self.folder / "slurm", CPUS)
        self.slurm.__enter__()
        self.addCleanup(self.slurm.__exit__)
        easycrystals(self.COUNT)
        self.gate = Gate("out", 1)

    def call(self, *options: str) -> Batch:
        return Batch("data", "-o", "out", "--slurm", *self.gate.options, *options,
                     environment=self.slurm.environment)

    def begin(self) -> Batch:
        """A batch whose jobs are all at work and go on once the gate lets them."""
        started = self.call("--group", str(self.GROUP), "--slurm-options", "--partition=short --nice=1")
        waitfor(lambda: recordlines("out") and len(self.slurm.jobs("R")) == CPUS, "the first crystals")
        return started

    def allsolved(self, status: int, output: str, errors: str) -> None:
        log = Path("out/batch.log").read_text(encoding="utf-8")[-3000:]
        self.assertEqual(status, 0, errors + log)
        self.assertIn(f"{self.COUNT} crystals: {self.COUNT} solved.", output)
        self.assertEqual(sorted(one["number"] for one in recorded("out")),
                         list(range(1, self.COUNT + 1)))

    def test_a_batch_gives_what_it_gives_here_whatever_happens_to_the_controller(self) -> None:
        started = self.begin()
        # What it has not saved it will have forgotten, and no workflow can bring that back: its numbers are
        # given to other jobs.
        self.slurm.savejobs()
        self.slurm.killcontroller()
        before = len(recordlines("out"))
        self.assertLess(before + CPUS, self.COUNT)
        self.gate.openfor(before + 1)
        waitfor(lambda: len(recordlines("out")) > before, "a crystal without a controller")
        self.assertIsNone(started.process.poll())
        self.slurm.startcontroller()
        self.gate.open()
        self.allsolved(*started.end())
        self.assertTrue(list(Path("out/jobs/slurm").glob("*.log")))
        self.assertEqual(batch("data", "-o", "local")[0], 0)
        columns = "SELECT file, verdict, a, b, c, alpha, beta, gamma, evidence, cluster FROM crystal"
        self.assertEqual(table("out", columns), table("local", columns))

    def test_a_job_that_is_killed_is_done_again_without_its_finished_crystals(self) -> None:
        started = self.begin()
        killed = self.slurm.jobs("R")

        def areended() -> bool:
            self.slurm.said("scancel", "--signal=KILL", *killed)
            self.slurm.said("scancel", *killed)
            return not set(killed) & set(self.slurm.jobs("R,CG"))

        waitfor(areended, "the end of the jobs")
        before = recordlines("out")
        self.gate.open()
        self.allsolved(*started.end())
        after = recordlines("out")
        for line in before:
            self.assertIn(line, after)
        self.assertIn("Trying to restart job", Path("out/batch.log").read_text(encoding="utf-8"))

    def test_ctrl_c_takes_the_jobs_out_of_the_queue_and_the_same_call_goes_on(self) -> None:
        started = self.begin()
        started.send(signal.SIGINT)
        self.assertEqual(started.end()[0], 130)
        waitfor(lambda: not self.slurm.jobs("R,PD"), "an empty queue")
        before = recordlines("out")
        self.assertLess(len(before), self.COUNT)
        self.gate.open()
        self.allsolved(*self.call().end())
        self.assertEqual([line for line in before if line not in recordlines("out")], [])

    def test_a_name_of_the_folder_is_no_command(self) -> None:
        self.gate.open()
        output = f"out{HOSTILE}\n"
        status, said, errors = Batch("data", "-o", output, "--slurm", environment=self.slurm.environment).end()
        log = Path(output, "batch.log").read_text(encoding="utf-8", errors="replace")[-3000:]
        self.assertEqual(status, 0, errors + log)
        self.assertIn(f"{self.COUNT} crystals: {self.COUNT} solved.", said)
        self.assertEqual(list(self.folder.parent.rglob("X")), [])

    def test_jobs_that_get_no_environment_try_again_what_failed(self) -> None:
        self.gate.open()
        bare = ("--slurm-options", "--export=NONE")
        for tools, verdict in ((replacement("exit 9"), "failed"), ((), "solved")):
            status, said, errors = Batch("data", "-o", "out", "--slurm", *bare, *tools,
                                         environment=self.slurm.environment).end()
            self.assertEqual(status, 0, errors)
            self.assertIn(f"{self.COUNT} crystals: {self.COUNT} {verdict}.", said)


class TheStatus(InAFolder):
    """Of a job, as Snakemake is told it."""

    def said(self, answer: str, status: int = 0) -> str:
        Path("scontrol").write_text(f"#!/bin/sh\necho '{answer}'\necho '{answer}' >&2\nexit {status}\n",
                                    encoding="utf-8")
        Path("scontrol").chmod(0o755)
        asked = {"TORVIK_SLURM": json.dumps({"name": "torvik-1"}), "PATH": f".:{os.environ['PATH']}"}
        return subprocess.run([sys.executable, "-B", WORKFLOW / "slurm/status.py", "7"], check=True, text=True,
                              capture_output=True, env=os.environ | asked).stdout.strip()

    def test_is_that_of_the_job(self) -> None:
        for state, word in (("RUNNING", "running"), ("PENDING", "running"), ("COMPLETED", "success"),
                            ("TIMEOUT", "failed"), ("NODE_FAIL", "failed")):
            self.assertEqual(self.said(f"JobId=7 JobName=torvik-1 UserId=me JobState={state} Reason=x"), word)
        self.assertEqual(self.said("Unable to contact slurm controller", 1), "running")
        self.assertEqual(self.said("Invalid job id specified", 1), "success")

    def test_is_not_that_of_a_job_of_others_that_has_its_number(self) -> None:
        self.assertEqual(self.said("JobId=7 JobName=mine UserId=me JobState=RUNNING Reason=x"), "failed")

    def test_is_success_once_its_files_are_there(self) -> None:
        Path("jobs/slurm").mkdir(parents=True)
        description = Path("jobs/slurm/7.json")
        running = "JobId=7 JobName=torvik-1 UserId=me JobState=RUNNING Reason=x"
        for content in ("", "{", "[]", "{}", '["a"]'):
            description.write_text(content, encoding="utf-8")
            self.assertEqual(self.said(running), "running", content)
        Path("a").touch()
        self.assertEqual(self.said(running), "success")


if __name__ == "__main__":
    unittest.main()
