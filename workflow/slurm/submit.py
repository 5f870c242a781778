"""Hands a job of Snakemake to Slurm, and prints its number.

    submit.py JOBSCRIPT

Of Snakemake's script it takes the description of the job alone, and has the job do its step: Snakemake would go to
the folder of the batch by a name that a shell reads.

Beside the log of the job, NUMBER.log, it writes which files the job will make, NUMBER.json.

TORVIK_SLURM holds, as JSON, the name of the batch's jobs and further options for sbatch; TORVIK_CALL tells one call
of the batch from another. A controller that does
not answer is waited for: it may be restarted, and the work that is done is not lost by that.
"""

from __future__ import annotations

import json
import os
import re
import shlex
import subprocess
import sys
import time
from pathlib import Path

FOLDER = "jobs/slurm"
PASSES = {"solve": "1", "again": "2"}
PATIENCE = 3600.0  # seconds
PAUSE = 15.0
# No controller; or as many jobs as a user may have.
PASSING = ("Unable to contact", "Socket timed out", "SubmitJob", "temporarily")


def properties(script: str) -> dict:
    """What Snakemake says of the job, in the head of its script."""
    with open(script, encoding="utf-8", newline="\n") as file:
        for line in file:
            if line.startswith("# properties = "):
                return json.loads(line.removeprefix("# properties = "))
    raise SystemExit(f"{script} is no script of Snakemake.")


def step(job: dict) -> str:
    """The script of the job for Slurm."""
    program = str(Path(__file__).resolve().parents[1] / "step.py")
    line = [sys.executable, "-B", program, "solving", PASSES[job["rule"]], job["wildcards"]["group"],
            os.environ["TORVIK_CALL"]]
    log = "" if namedlog() else f'exec >{FOLDER}/"$SLURM_JOB_ID".log 2>&1\n'
    return f"#!/bin/sh\n{log}exec {shlex.join(line)}\n"


def namedlog() -> bool:
    """Whether Slurm can be given the name of the log: it replaces what is behind % or a backslash, also in the name
    of the folder of the batch. If not, the job opens its log itself."""
    return not any(letter in os.getcwd() for letter in "%\\")


def command(job: dict) -> list[str]:
    asked = json.loads(os.environ["TORVIK_SLURM"])
    resources = job.get("resources", {})
    log = f"{FOLDER}/%j.log" if namedlog() else "/dev/null"
    return ["sbatch", "--parsable", f"--job-name={asked['name']}", f"--output={log}", "--no-requeue", f"--cpus-per-task={job.get('threads', 1)}",
            f"--mem={resources['mem_mb']}M", f"--time={resources['runtime']}", *asked["options"]]


def main(script: str) -> int:
    os.makedirs(FOLDER, exist_ok=True)
    job = properties(script)
    line = command(job)
    end = time.monotonic() + PATIENCE
    while True:
        said = subprocess.run(line, input=step(job), capture_output=True, text=True, check=False)
        number = said.stdout.strip().split(";")[0]  # NUMBER;CLUSTER
        # Snakemake hands the number to a shell.
        if said.returncode == 0 and re.fullmatch("[0-9]+", number):
            Path(FOLDER, f"{number}.json").write_text(json.dumps(job["output"]), encoding="utf-8")
            print(number)
            return 0
        print(said.stderr, end="", file=sys.stderr)
        if not any(words in said.stderr for words in PASSING) or time.monotonic() > end:
            return 1
        time.sleep(PAUSE)


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
