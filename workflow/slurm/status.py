"""Says how a job of Slurm stands, in Snakemake's words: running, success or failed.

    status.py NUMBER

A controller that does not answer tells nothing: the job counts as running until it does. A job that the
controller knows no more has ended some time ago; whether well or not, its output tells, which Snakemake looks for
if it hears of success.
"""

from __future__ import annotations

import re
import subprocess
import sys

ENDEDBADLY = frozenset(("BOOT_FAIL", "CANCELLED", "DEADLINE", "FAILED", "NODE_FAIL", "OUT_OF_MEMORY",
                        "PREEMPTED", "REVOKED", "TIMEOUT"))


def state(number: str) -> str:
    said = subprocess.run(["scontrol", "--oneliner", "show", "job", number], capture_output=True,
                          text=True, check=False)
    if said.returncode != 0:
        return "success" if "Invalid job id" in said.stderr else "running"
    found = re.search(r"\bJobState=(\w+)", said.stdout)
    word = found.group(1) if found else ""
    if word == "COMPLETED":
        return "success"
    return "failed" if word in ENDEDBADLY else "running"


if __name__ == "__main__":
    print(state(sys.argv[1]))
