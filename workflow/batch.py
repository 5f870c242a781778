#!/usr/bin/env python3
"""Solves many crystals: lists them, lets Snakemake do the work, and shows how far it is.

    batch.py REQUEST

torvik-tools batch calls it, with what was asked for in a file of JSON; each letter of a file's name there is
a byte of it. Needs Python alone; Snakemake and its jobs need gemmi's Python module as well.
"""

from __future__ import annotations

import ctypes
import fcntl
import hashlib
import json
import os
import shlex
import shutil
import signal
import sqlite3
import subprocess
import sys
import time
from pathlib import Path
from typing import IO

HERE = Path(__file__).resolve().parent
sys.path.insert(0, str(HERE))
sys.dont_write_bytecode = True

from torvikbatch import database, folder, inputs, overview  # noqa: E402
from torvikbatch.folder import FIRST, SECOND, VERDICTS, Damaged, Pass, Unusable  # noqa: E402
from torvikbatch.inputs import Prepared  # noqa: E402
from torvikbatch.signals import STOPPING, hear, hold  # noqa: E402

# What decides the answer for a crystal: all answers in one folder are of the same.
FIXED = ("budget", "volume", "options", "keep")

def start(asked: dict) -> IO:
    """Makes the folder of the batch, and works there from now on. Returns the lock, which is held by all
    that inherit it."""
    place = Path(asked["output"])
    try:
        if place.exists() and any(place.iterdir()) and not (place / folder.LOCK).exists():
            raise Unusable(f"{place} holds other files. Please give a new folder.")
        place.mkdir(parents=True, exist_ok=True)
        os.chdir(place)
        lock = open(folder.LOCK, "a+", encoding="utf-8")
    except OSError as why:
        raise Unusable(f"The folder {place} cannot be used: {why.strerror}.") from why
    try:
        fcntl.flock(lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
    except BlockingIOError as why:
        raise Unusable(f"Another call is at work in {place}.") from why
    return lock


def named(text: str) -> str:
    """The name of a file from its bytes."""
    return os.fsdecode(text.encode("latin-1"))


def readrequest(file: str) -> dict:
    with open(file, encoding="utf-8") as text:
        asked = json.load(text)
    for key in ("output", "shown", "tools", "torvik"):
        asked[key] = named(asked[key])
    for key in ("places", "lists"):
        asked[key] = [named(text) for text in asked[key]]
    return asked


def settle(asked: dict) -> list[str]:
    """Writes the settings; where there are answers, compares what is asked for with theirs. Returns notes."""
    new = {key: asked[key] for key in (*FIXED, "tools", "torvik")}
    notes = []
    if FIRST.recorded():
        try:
            old = folder.settings()
        except Damaged as why:
            kept = database.keptsettings()
            if kept is None:
                raise Unusable(f"{why} How the crystals in {asked['output']} were solved is not known "
                               "without it. Please give a new folder.") from why
            old = kept
            notes.append(f"{why} It is made anew from {folder.DATABASE}.")
        for key in FIXED:
            if old[key] != new[key]:
                raise Unusable(f"The crystals in {asked['output']} were solved with other settings "
                               f"({key}: {shown(old[key])}, not {shown(new[key])}). Another folder "
                               "keeps the two apart.")
    folder.writewhole(folder.SETTINGS, json.dumps(new, indent=1) + "\n")
    return notes


def heal() -> list[str]:
    """Has the database and the page made anew if they are not whole. Returns notes."""
    notes = []
    for mark, damage in ((folder.DATABASEDONE, database.damage), (folder.OVERVIEWDONE, overview.damage)):
        if mark.exists() and (what := damage()):
            mark.unlink()
            notes.append(f"{what}. It is made anew.")
    if not folder.DATABASEDONE.exists():
        folder.OVERVIEWDONE.unlink(missing_ok=True)
    return notes


def forget() -> None:
    """Removes what Snakemake keeps of an earlier call: among it numbers of jobs, which may be another's by now."""
    shutil.rmtree(".snakemake", ignore_errors=True)
    if os.path.lexists(".snakemake") and not os.path.isdir(".snakemake"):
        os.unlink(".snakemake")


def iscomplete() -> bool:
    """Whether all is made. Snakemake is content with a last mark if those before it are missing."""
    return (all(which.doneof(group).exists() for which in (FIRST, SECOND) for group in which.groups())
            and folder.CONSENSUS.exists() and folder.DATABASEDONE.exists()
            and folder.OVERVIEWDONE.exists())


def shown(value: object) -> str:
    if isinstance(value, list):
        return " ".join(value) or "none"
    return str(value)


def snakemake() -> str:
    found = shutil.which("snakemake")
    if not found:
        raise Unusable("Snakemake is missing. On Debian: apt-get install snakemake python3-gemmi.")
    return found


def jobname() -> str:
    """The same for every call with this folder, and unlike for others."""
    return "torvik-" + hashlib.sha256(os.getcwdb()).hexdigest()[:12]


def forcluster() -> list[str]:
    """Slurm is asked by scontrol, which needs no database of accounts."""
    for program in ("sbatch", "scontrol", "scancel"):
        if not shutil.which(program):
            raise Unusable(f"Slurm's {program} is missing here: --slurm works where jobs can be submitted.")

    def script(name: str) -> str:
        return f"{shlex.quote(sys.executable)} -B {shlex.quote(str(HERE / 'slurm' / name))}"

    def plain(words: str) -> str: # Snakemake replaces what is in braces
        return words.replace("{", "{{").replace("}", "}}")

    # Jobs of a call that was killed would do the work of this one.
    subprocess.run(["scancel", f"--name={jobname()}"], check=False, capture_output=True)
    return ["--cluster", plain(script("submit.py")), "--jobscript",
            str(HERE / "slurm" / "jobscript.sh"), "--cluster-status", script("status.py"),
            "--cluster-cancel", "scancel", "--max-status-checks-per-second", "5"]


def command(asked: dict) -> list[str]:
    line = [snakemake(), "--snakefile", str(HERE / "Snakefile"), "--nolock", "--keep-going",
            "--rerun-incomplete", "--retries", "2", "--rerun-triggers", "mtime", "--latency-wait",
            str(folder.LATENCY), "--scheduler", "greedy", "--nocolor"]
    if asked["slurm"]:
        return [*line, "--jobs", str(asked["jobs"]), *forcluster()]
    return [*line, "--cores", str(asked["jobs"])]


def becomechild() -> None:
    """If this program is killed, Snakemake is told to stop (Linux alone)."""
    try:
        ctypes.CDLL(None).prctl(1, signal.SIGINT)  # PR_SET_PDEATHSIG
    except (AttributeError, OSError):
        pass
    hear()


class Tally:
    """How many crystals have which verdict, as their records grow."""

    def __init__(self, which: Pass, total: int, highest: int, cells: list | None = None,
                 stale: frozenset[int] = frozenset()) -> None:
        self.which = which
        self.total = total
        self.cells = cells or []  # records that were made with others do not count
        self.stale = stale        # numbers whose records of before do not count
        self.done = 0
        self.verdicts = dict.fromkeys(VERDICTS, 0)
        self._known = bytearray(highest + 1)  # by number: 0, or the place of the verdict from 1
        self._read: dict[str, int] = {}  # bytes of each file

    def look(self) -> None:
        try:
            files = [(file.path, file.stat().st_size) for file in os.scandir(self.which.solved)
                     if file.name.endswith(".jsonl")]
        except FileNotFoundError:
            return
        for path, size in files:
            if size > self._read.get(path, 0):
                self._take(path)

    def _take(self, path: str) -> None:
        with open(path, "rb") as file:
            file.seek(self._read.get(path, 0))
            for line in file:
                if not line.endswith(b"\n"):
                    break
                self._read[path] = self._read.get(path, 0) + len(line)
                record = folder.recordin(line)
                if record is None or not self._counts(record):
                    continue
                before = self._known[record["number"]]
                if before:
                    self.verdicts[VERDICTS[before - 1]] -= 1
                else:
                    self.done += 1
                self._known[record["number"]] = 1 + VERDICTS.index(record["verdict"])
                self.verdicts[record["verdict"]] += 1

    def _counts(self, record: dict) -> bool:
        return (record["number"] < len(self._known) and record["number"] not in self.stale
                and record.get("cells", []) == self.cells)

    def words(self) -> str:
        return ", ".join(f"{count} {verdict}" for verdict, count in self.verdicts.items() if count)


class Progress:
    """A line on a terminal, overwritten as the work goes on; else a line now and then."""

    def __init__(self, prepared: Prepared) -> None:
        self.live = sys.stderr.isatty()
        self.highest = prepared.highest
        self.first = Tally(FIRST, prepared.total, prepared.highest, stale=frozenset(prepared.changed))
        self.second: Tally | None = None
        self.first.look()
        self.first.stale = frozenset()
        self.before = self.first.done
        self.start = time.monotonic()
        self.said = (0, 0)  # pass, and tenths of it

    def show(self) -> None:
        self.first.look()
        if self.first.done < self.first.total:
            self._say(self.first, self._line(self.first))
            return
        if not self.second and self._grouped():
            left = sum(len(folder.readlist(SECOND.listof(group))) for group in SECOND.groups())
            self.second = Tally(SECOND, left, self.highest, folder.consensus()["tried"])
        if not self.second or not self.live:
            line = self._line(self.first)
            self._say(self.first, f"{line}. Grouping them by lattice" if self.live else line)
        if self.second:
            self.second.look()
            self._say(self.second, self._line(self.second))

    @staticmethod
    def _grouped() -> bool:
        """Whether the crystals are grouped: what was grouped without some of them is removed."""
        return folder.CONSENSUS.exists()

    def _say(self, tally: Tally, line: str) -> None:
        if self.live:
            width = shutil.get_terminal_size().columns - 1
            print(f"\r\033[K{line[:width]}", end="", file=sys.stderr, flush=True)
            return
        now = (tally.which.number, 10 * tally.done // tally.total if tally.total else 0)
        if tally.total and now > self.said:
            self.said = now
            print(line, file=sys.stderr, flush=True)

    def _line(self, tally: Tally) -> str:
        which = "First pass" if tally is self.first else "Second pass"
        line = f"{which}: {tally.done} of {counted(tally.total)}"
        if words := tally.words():
            line += f" ({words})"
        passed = time.monotonic() - self.start
        made = tally.done - self.before
        if tally is self.first and made > 0 and passed > 0.0 and tally.done < tally.total:
            line += f", {duration((tally.total - tally.done) * passed / made)} left"
        return line

    def end(self) -> None:
        if self.live:
            print("\r\033[K", end="", file=sys.stderr, flush=True)


def counted(crystals: int) -> str:
    return f"{crystals} {'crystal' if crystals == 1 else 'crystals'}"


def duration(seconds: float) -> str:
    minutes = round(seconds / 60)
    if minutes < 1:
        return f"{max(1, round(seconds))} s"
    if minutes < 120:
        return f"{minutes} min"
    return f"{round(minutes / 60)} h"


class Stop(Exception):
    """The user, or the system, ends the work."""


def stop(_signal: int, _frame: object) -> None:
    raise Stop


def pause(child: subprocess.Popen, seconds: float) -> bool:
    """Waits. Says whether the child has ended."""
    try:
        child.wait(seconds)
    except subprocess.TimeoutExpired:
        return False
    return True


def follow(child: subprocess.Popen, progress: Progress) -> None:
    """Shows the progress until Snakemake ends. Looking takes a tenth of the time at most."""
    while True:
        began = time.monotonic()
        progress.show()
        if pause(child, max(0.5, 10 * (time.monotonic() - began))):
            return


def run(line: list[str], asked: dict, progress: Progress, lock: IO) -> int:
    """Lets Snakemake do the work. Returns its status. Its whole session hears of a Ctrl-C."""
    environment = os.environ | {
        "TORVIK_SLURM": json.dumps({"name": jobname(), "options": asked["slurmoptions"]}),
        "TORVIK_CALL": f"{time.time_ns()}",
        # Snakemake keeps things in a folder of the user's, who may have none.
        "XDG_CACHE_HOME": os.path.abspath(folder.CACHE)}
    environment.pop("SNAKEMAKE_PROFILE", None)  # options of the user's other workflows
    with open(folder.LOG, "ab") as log:
        child = None
        # A signal amid the start would leave a Snakemake that nobody knows of.
        hold()
        try:
            child = subprocess.Popen(line, stdin=subprocess.DEVNULL, stdout=log, stderr=log,
                                     env=environment, pass_fds=(lock.fileno(),),
                                     start_new_session=True, preexec_fn=becomechild)
            hear()
            follow(child, progress)
            progress.show()
        except Stop:
            os.killpg(child.pid, signal.SIGINT)
            child.wait()
            raise
        finally:
            hear()
            progress.end()
    return child.returncode


def cause(path: Path, start: int, lines: int) -> str:
    """What went wrong, from what the log has since this call began: the errors of jobs; if they said
    none, the end of it."""
    with open(path, "rb") as log:
        log.seek(start)
        said = log.read().decode("utf-8", "replace").split("\n")
    if said and not said[-1]:
        said.pop()
    errors = list(dict.fromkeys(line for line in said if line.startswith("Error: ")))
    return "\n".join("    " + line for line in (errors or said)[-lines:])


def summary(output: str) -> str:
    """What a person wants to know, in a screenful."""
    database = sqlite3.connect(folder.DATABASE)
    counts = dict(database.execute("SELECT verdict, count(*) FROM crystal GROUP BY verdict"))
    later, = database.execute("SELECT count(*) FROM crystal WHERE pass = 2").fetchone()
    clusters = database.execute(
        "SELECT number, crystals + later, a, b, c, alpha, beta, gamma, volume, bravais FROM cluster "
        "WHERE crystals + later > 1 ORDER BY number LIMIT 10").fetchall()
    alone, = database.execute("SELECT count(*) FROM cluster WHERE crystals + later = 1").fetchone()
    database.close()
    words = [f"{counts[verdict]} {verdict}" for verdict in VERDICTS if verdict in counts]
    total = sum(counts.values())
    text = f"{counted(total)}: {', '.join(words)}."
    if later:
        text += f" {later} of them {'was' if later == 1 else 'were'} solved with a cell of others."
    text += "\n\n"
    if clusters:
        text += ("  cluster  crystals        a        b        c   alpha    beta   gamma    volume  "
                 "lattice\n")
    for number, crystals, a, b, c, alpha, beta, gamma, volume, bravais in clusters:
        text += (f"  {number:7d}  {crystals:8d} {a:8.3f} {b:8.3f} {c:8.3f} {alpha:7.2f} {beta:7.2f} "
                 f"{gamma:7.2f} {volume:9.1f}  {bravais or ''}".rstrip() + "\n")
    if alone:
        text += f"  {alone} {'lattice has' if alone == 1 else 'lattices have'} one crystal each.\n"
    if clusters or alone:
        text += "\n"
    files = ", ".join(os.path.join(output, str(path))
                      for path in (folder.OVERVIEW, folder.TABLE, folder.DATABASE))
    return text + f"Written: {files}"


def checktemporary(asked: dict) -> None:
    """A run of Torvik needs a folder for temporary files."""
    place = os.environ.get("TMPDIR")
    if place and asked["keep"] == "all" and not asked["slurm"] and not os.path.isdir(place):
        raise Unusable(f"TMPDIR is {place}, which is no folder. Please set another one, or none.")


def note(sentences: list[str]) -> None:
    for sentence in sentences:
        print(f"Note: {sentence}", file=sys.stderr)


def work(asked: dict) -> int:
    checktemporary(asked)
    wanted = inputs.gathered(asked["places"], asked["lists"], Path(asked["output"]).resolve())
    lock = start(asked)
    forget()
    notes = settle(asked)
    line = command(asked)
    prepared = inputs.prepare(wanted, asked["group"], asked["jobs"])
    note(notes + prepared.notes)
    if prepared.total == 0:
        raise Unusable("There is no measurement: in a folder, files are taken that end in "
                       + ", ".join(sorted(inputs.ENDINGS)) + ".")
    note(heal())
    changed = f", {len(prepared.changed)} changed" if prepared.changed else ""
    print(f"{counted(prepared.total)}, {prepared.new} new{changed}.", file=sys.stderr)
    before = folder.LOG.stat().st_size if folder.LOG.exists() else 0
    if run(line, asked, Progress(prepared), lock) != 0 or not iscomplete():
        print(f"Error: The workflow did not come to its end. {folder.LOG} in {asked['output']} says\n"
              f"{cause(folder.LOG, before, 12)}\nThe same call goes on from here.", file=sys.stderr)
        return 1
    print(summary(asked["shown"]))
    return 0


def main(arguments: list[str]) -> int:
    for one in STOPPING:
        signal.signal(one, stop)
    try:
        # Whoever called held it back until someone would listen.
        signal.pthread_sigmask(signal.SIG_UNBLOCK, {signal.SIGINT})
        status = work(readrequest(arguments[0]))
        sys.stdout.flush()
        return status
    except Unusable as why:
        print(f"Error: {why}", file=sys.stderr)
        return 1
    except BrokenPipeError: # nobody reads
        os.dup2(os.open(os.devnull, os.O_WRONLY), sys.stdout.fileno())
        return 1
    except OSError as why:
        print(f"Error: {why.filename or 'A file of the batch'}: {why.strerror}.", file=sys.stderr)
        return 1
    except sqlite3.Error as why:
        print(f"Error: {folder.DATABASE} cannot be read: {why}.", file=sys.stderr)
        return 1
    except Stop:
        print("Stopped. The same call goes on from here.", file=sys.stderr)
        return 130


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
