"""Says how a job of Slurm stands, in Snakemake's words: running, success or failed.

    status.py NUMBER

A job whose files are there is done, whatever Slurm says: one that ended while the controller was away can count
as running for minutes. A controller that does not answer tells nothing: the job counts as running until it
does. A job of another name has got the number after the controller lost its memory: ours has ended. A job that the controller knows no more has ended some time ago; whether well or not, its output tells, which
Snakemake looks for if it hears of success.
"""

from __future__ import annotations

import json
import os
import re
import subprocess
import sys
from pathlib import Path

ENDEDBADLY = frozenset(("BOOT_FAIL", "CANCELLED", "DEADLINE", "FAILED", "NODE_FAIL", "OUT_OF_MEMORY",
                        "PREEMPTED", "REVOKED", "TIMEOUT"))


def done(number: str) -> bool:
    try:
        files = json.loads(Path(f"jobs/slurm/{number}.json").read_text(encoding="utf-8"))
    except (OSError, ValueError):
        return False
    return isinstance(files, list) and bool(files) and all(Path(str(file)).exists() for file in files)


def state(number: str) -> str:
    if done(number):
        return "success"
    said = subprocess.run(["scontrol", "--oneliner", "show", "job", number], capture_output=True,
                          text=True, check=False)
    if said.returncode != 0:
        return "success" if "Invalid job id" in said.stderr else "running"
    ours = json.loads(os.environ["TORVIK_SLURM"])["name"]
    if f" JobName={ours} " not in said.stdout:
        return "failed"
    found = re.search(r"\bJobState=(\w+)", said.stdout)
    word = found.group(1) if found else ""
    if word == "COMPLETED":
        return "success"
    return "failed" if word in ENDEDBADLY else "running"


if __name__ == "__main__":
    print(state(sys.argv[1]))
