"""Hands a job of Snakemake to Slurm, and prints its number.

    submit.py JOBSCRIPT

Beside the log of the job, NUMBER.log, it writes which files the job will make, NUMBER.json.

TORVIK_SLURM holds, as JSON, the name of the batch's jobs and further options for sbatch. A controller that does
not answer is waited for: it may be restarted, and the work that is done is not lost by that.
"""

from __future__ import annotations

import json
import os
import subprocess
import sys
import time
from pathlib import Path

FOLDER = "jobs/slurm"
PATIENCE = 3600.0  # seconds
PAUSE = 15.0
# No controller; or as many jobs as a user may have.
PASSING = ("Unable to contact", "Socket timed out", "SubmitJob", "temporarily")


def properties(script: str) -> dict:
    """What Snakemake says of the job, in the head of its script."""
    with open(script, encoding="utf-8") as file:
        for line in file:
            if line.startswith("# properties = "):
                return json.loads(line.removeprefix("# properties = "))
    raise SystemExit(f"{script} is no script of Snakemake.")


def command(script: str) -> list[str]:
    asked = json.loads(os.environ["TORVIK_SLURM"])
    job = properties(script)
    resources = job.get("resources", {})
    return ["sbatch", "--parsable", f"--job-name={asked['name']}", f"--output={FOLDER}/%j.log",
            "--no-requeue", f"--cpus-per-task={job.get('threads', 1)}",
            f"--mem={resources['mem_mb']}M", f"--time={resources['runtime']}", *asked["options"],
            script]


def main(script: str) -> int:
    os.makedirs(FOLDER, exist_ok=True)
    line = command(script)
    end = time.monotonic() + PATIENCE
    while True:
        said = subprocess.run(line, capture_output=True, text=True, check=False)
        if said.returncode == 0:
            number = said.stdout.strip().split(";")[0]  # NUMBER;CLUSTER
            Path(FOLDER, f"{number}.json").write_text(json.dumps(properties(script)["output"]),
                                                      encoding="utf-8")
            print(number)
            return 0
        print(said.stderr, end="", file=sys.stderr)
        if not any(words in said.stderr for words in PASSING) or time.monotonic() > end:
            return 1
        time.sleep(PAUSE)


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
