"""Makes one page about all crystals, to be opened in a browser.

    step.py overview

Reads crystals.sqlite, writes overview.html, which needs no network and no script. A policy in its head has the
browser refuse both, and any style but its own: names and reasons come from files of other people.
"""

from __future__ import annotations

import base64
import hashlib
import json
import math
import os
import sqlite3
from pathlib import Path

from torvikbatch import folder
from torvikbatch.folder import VERDICTS

MOSTCLUSTERS = 50
MOSTCRYSTALS = 1000  # listed one by one; all are in the table
BARS = 40
START = b"<!DOCTYPE html>\n"
END = b"</html>\n"


def histogram(volumes: list[float]) -> dict:
    """Counts of volumes, in steps that are even in the logarithm, and marks for the axis."""
    if not volumes:
        return {"bars": [], "marks": [], "most": 0}
    # Half a decade at least, or crystals of one lattice would have no marks beside them.
    middle = math.log10(min(volumes) * max(volumes)) / 2
    half = max(0.25, math.log10(max(volumes) / min(volumes)) / 2 + 0.05)
    low, high = middle - half, middle + half
    counts = [0] * BARS
    for volume in volumes:
        counts[min(BARS - 1, int(BARS * (math.log10(volume) - low) / (high - low)))] += 1
    marks = [step * 10**power for power in range(math.floor(low), math.ceil(high) + 1)
             for step in (1, 2, 3, 5, 7)]
    edges = [10 ** (low + (high - low) * i / BARS) for i in range(BARS + 1)]
    return {"bars": [{"at": i / BARS, "part": count / max(counts), "count": count,
                      "low": edges[i], "high": edges[i + 1]} for i, count in enumerate(counts)],
            "marks": [{"at": (math.log10(mark) - low) / (high - low), "value": mark} for mark in marks
                      if low <= math.log10(mark) <= high],
            "most": max(counts)}


def relation(one: dict) -> str:
    multiple = str(one["index"]) if one["is"] == "supercell" else f"1/{one['index']}"
    return f"{multiple} × {one['to']}"


def clusters(database: sqlite3.Connection) -> list[dict]:
    found = database.execute("SELECT * FROM cluster ORDER BY number LIMIT ?", (MOSTCLUSTERS,))
    entries = [dict(row) for row in found]
    for entry in entries:
        entry["relations"] = ", ".join(relation(one) for one in json.loads(entry["relations"]))
        entry["conventional"] = json.loads(entry["conventional"] or "null")
    return entries


def reasons(database: sqlite3.Connection) -> list[dict]:
    """Why crystals are not solved. What differs from crystal to crystal, as names and numbers, is left to
    the example."""
    found = database.execute("SELECT verdict, reason, file FROM crystal WHERE verdict <> 'solved' "
                             "ORDER BY number")
    kinds: dict[tuple[str, str], dict] = {}
    for verdict, reason, file in found:
        kind = "".join("#" if letter.isdigit() else letter for letter in reason.replace(file, "FILE"))
        while "##" in kind:
            kind = kind.replace("##", "#")
        entry = kinds.setdefault((verdict, kind), {"verdict": verdict, "reason": reason, "file": file,
                                                   "count": 0})
        entry["count"] += 1
    return sorted(kinds.values(), key=lambda entry: -entry["count"])


def content(database: sqlite3.Connection) -> dict:
    database.row_factory = sqlite3.Row
    counts = {row[0]: row[1] for row in
              database.execute("SELECT verdict, count(*) FROM crystal GROUP BY verdict")}
    total = sum(counts.values())
    sums = database.execute("SELECT sum(seconds), sum(pass = 2), count(DISTINCT cluster) "
                            "FROM crystal").fetchone()
    volumes = [row[0] for row in
               database.execute("SELECT volume FROM crystal WHERE verdict = 'solved'")]
    shown = database.execute("SELECT * FROM crystal ORDER BY verdict = 'solved', number LIMIT ?",
                             (MOSTCRYSTALS,))
    crystals = [dict(row) for row in shown]
    within = os.path.commonpath([os.path.dirname(one["file"]) for one in crystals] or ["/"])
    for one in crystals:
        one["name"] = os.path.relpath(one["file"], within)
        one["remarks"] = json.loads(one["remarks"] or "[]")
    cut, = database.execute("SELECT count(*) FROM crystal WHERE interrupted").fetchone()
    passed = database.execute("SELECT file, reason FROM passed ORDER BY file LIMIT ?", (MOSTCRYSTALS,))
    return {"passed": [dict(row) for row in passed],
            "passedover": database.execute("SELECT count(*) FROM passed").fetchone()[0],
            "cut": cut, "total": total, "within": within, "seconds": sums[0],
            "later": sums[1], "lattices": sums[2],
            "verdicts": [(verdict, counts.get(verdict, 0)) for verdict in VERDICTS],
            "clusters": clusters(database), "reasons": reasons(database),
            "histogram": histogram(volumes), "crystals": crystals,
            "settings": {row[0]: json.loads(row[1]) for row in
                         database.execute("SELECT name, value FROM setting")}}


def policy(style: str) -> str:
    """What a browser may do with the page: show it, with this style."""
    checksum = base64.b64encode(hashlib.sha256(style.encode()).digest()).decode()
    return f"default-src 'none'; style-src 'sha256-{checksum}'; base-uri 'none'; form-action 'none'"


def page(values: dict) -> str:
    import jinja2 # here: the command that looks for damage does without

    templates = jinja2.Environment(loader=jinja2.FileSystemLoader(Path(__file__).parent),
                                   autoescape=True, trim_blocks=True, lstrip_blocks=True,
                                   keep_trailing_newline=True,
                                   undefined=jinja2.StrictUndefined)
    style = templates.get_template("overview.css.j2").render(values)
    return templates.get_template("overview.html.j2").render(values, style=style, policy=policy(style))


def damage() -> str:
    """What is wrong with the page, for all that can be seen; empty if nothing is."""
    try:
        with open(folder.OVERVIEW, "rb") as file:
            start = file.read(len(START))
            file.seek(-len(END), os.SEEK_END)
            whole = start == START and file.read() == END
    except FileNotFoundError:
        return f"{folder.OVERVIEW} is missing"
    except OSError:
        whole = False
    return "" if whole else f"{folder.OVERVIEW} is damaged"


def main(_arguments: list[str]) -> int:
    database = sqlite3.connect(folder.DATABASE)
    try:
        values = content(database)
    finally:
        database.close()
    folder.writewhole(folder.OVERVIEW, page(values))
    folder.writewhole(folder.OVERVIEWDONE, "")
    return 0
