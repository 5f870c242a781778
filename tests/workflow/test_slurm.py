"""torvik-tools batch --slurm, on a Slurm of one node that the tests start on the loopback."""

from __future__ import annotations

import signal
import unittest
from pathlib import Path

import slurmnode
from batches import Batch, Gate, InAFolder, batch, easycrystals, recorded, recordlines, table, waitfor

CPUS = 2


@unittest.skipIf(slurmnode.missing(), f"missing: {', '.join(slurmnode.missing())}")
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


if __name__ == "__main__":
    unittest.main()
