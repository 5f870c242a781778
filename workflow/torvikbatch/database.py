"""Puts all records into one database and one table.

    step.py database

Writes crystals.sqlite and crystals.csv. docs/batch.md describes the tables and their columns.
"""

from __future__ import annotations

import csv
import json
import os
import sqlite3
from collections.abc import Iterator
from pathlib import Path

from torvikbatch import folder
from torvikbatch.folder import CELL, FIRST, SECOND

SCHEMA = """
CREATE TABLE crystal (
    number INTEGER PRIMARY KEY, -- from 1, in the order in which they were listed
    file TEXT NOT NULL,         -- the measurement
    verdict TEXT NOT NULL CHECK (verdict IN ('solved', 'ambiguous', 'refused', 'failed')),
    reason TEXT NOT NULL,       -- a sentence
    interrupted INTEGER,        -- 1 if the search was cut short, by the budget; NULL if it failed
    pass INTEGER NOT NULL,      -- which pass gave the answer: 1, or 2 with a cell that others have
    cluster INTEGER REFERENCES cluster (number), -- of its lattice; NULL if it is not solved
    a REAL, b REAL, c REAL,     -- reduced cell, angstroms
    alpha REAL, beta REAL, gamma REAL, -- degrees
    volume REAL,                -- cubic angstroms
    a_error REAL, b_error REAL, c_error REAL, -- standard uncertainties
    alpha_error REAL, beta_error REAL, gamma_error REAL, volume_error REAL,
    measured INTEGER,           -- reflections
    indexed INTEGER,            -- of these, by the first lattice
    part REAL,                  -- indexed / measured
    lattices INTEGER,           -- found in the crystal
    sigma REAL,                 -- error of a reflection in each component, 1/angstrom
    wrong REAL,                 -- part of the reflections that belong to no lattice
    evidence REAL,              -- natural logarithm of the odds against chance
    lead REAL,                  -- of the odds against all other lattices; NULL if there are none
    seconds REAL NOT NULL,      -- that it took, both passes together
    basis TEXT,                 -- JSON: rows a, b, c, angstroms, in the frame of the reflections
    competing TEXT,             -- JSON: the cells that cannot be told apart, if ambiguous
    remarks TEXT,               -- JSON: sentences
    solution TEXT               -- FILE.solution.json, in the folder of the batch
);
CREATE TABLE cluster (
    number INTEGER PRIMARY KEY, -- from 1, the largest first
    crystals INTEGER NOT NULL,  -- solved in the first pass
    later INTEGER NOT NULL,     -- solved in the second pass, with the cell of the cluster
    tried INTEGER NOT NULL,     -- 1 if its cell was tried in the second pass
    a REAL, b REAL, c REAL, alpha REAL, beta REAL, gamma REAL, volume REAL, -- medians
    a_spread REAL, b_spread REAL, c_spread REAL, -- of a single crystal; NULL for one or two
    alpha_spread REAL, beta_spread REAL, gamma_spread REAL,
    bravais TEXT,               -- the highest that the metric has, as oP
    conventional TEXT,          -- JSON: its cell
    relations TEXT NOT NULL     -- JSON: to other clusters: to, is (subcell, supercell), index
);
CREATE TABLE passed (
    file TEXT NOT NULL,         -- a file that was found or listed, and is no input
    reason TEXT NOT NULL
);
CREATE TABLE setting (name TEXT PRIMARY KEY, value TEXT NOT NULL);
"""

INDICES = """
CREATE INDEX crystal_verdict ON crystal (verdict);
CREATE INDEX crystal_cluster ON crystal (cluster);
"""

PLAIN = ("number", "verdict", "reason", "interrupted", "volume", "measured", "indexed", "lattices", "sigma", "wrong",
         "evidence", "lead", "seconds", "solution")
FAILEDAGAIN = "The second pass failed, and is tried again by the next call: "
ASJSON = ("basis", "competing", "remarks")


def printable(text: str) -> str:
    """Names of files are bytes; those that are no text are shown with escapes."""
    return text.encode("utf-8", "surrogateescape").decode("utf-8", "backslashreplace")


def rowof(record: dict, number: int, cluster: int | None) -> dict:
    row = {key: record.get(key) for key in PLAIN}
    row |= {key: printable(json.dumps(record[key], ensure_ascii=False)) for key in ASJSON if record.get(key)}
    if record.get("indexed") is not None:
        row["part"] = record["indexed"] / record["measured"]
    row |= dict(zip(CELL, record.get("cell", ())))
    row |= dict(zip((f"{name}_error" for name in (*CELL, "volume")), record.get("uncertainty", ())))
    row |= {"file": printable(record["file"]), "reason": printable(record["reason"]),
            "pass": number, "cluster": cluster}
    if row["solution"]:
        row["solution"] = printable(row["solution"])
    return row


def rows(tried: list) -> Iterator[dict]:
    """A row for each crystal. The answer of the second pass holds where it is sure: it knew more. Where that pass
    failed, a remark says so: the verdict is that of the first pass alone."""
    clusterof = folder.members()
    for group in FIRST.groups():
        again = folder.answers(SECOND, group) if SECOND.listof(group).exists() else {}
        for number, record in sorted(folder.allanswers(group).items()):
            late = again.get(number)
            if late and (late.get("cells") != tried or folder.stateof(late) != folder.stateof(record)):
                late = None
            row = rowof(record, 1, clusterof.get(number))
            if late and late["verdict"] == "solved" and late.get("known") is not None:
                row = rowof(late, 2, late["known"] + 1)
            elif late and late["verdict"] == "failed":
                row = rowof(record | {"remarks": [*record["remarks"], FAILEDAGAIN + late["reason"]]}, 1, None)
            if late:
                row["seconds"] = record["seconds"] + late["seconds"]
            yield row


def insert(database: sqlite3.Connection, table: str, row: dict) -> None:
    names = ", ".join(row)
    marks = ", ".join(f":{name}" for name in row)
    database.execute(f"INSERT INTO {table} ({names}) VALUES ({marks})", row)


def clusterrow(entry: dict, tried: int) -> dict:
    row = {"number": entry["cluster"], "crystals": entry["crystals"], "later": 0,
           "tried": int(entry["cluster"] <= tried), "volume": entry["volume"],
           "bravais": entry["bravais"], "relations": json.dumps(entry["relations"]),
           "conventional": entry["conventional"] and json.dumps(entry["conventional"])}
    row |= dict(zip(CELL, entry["cell"]))
    row |= dict(zip((f"{name}_spread" for name in CELL), entry["spread"] or ()))
    return row


def fill(database: sqlite3.Connection, consensus: dict, settings: dict) -> None:
    database.executescript(SCHEMA)
    for name, value in settings.items():
        insert(database, "setting", {"name": name, "value": json.dumps(value)})
    for entry in consensus["clusters"]:
        insert(database, "cluster", clusterrow(entry, len(consensus["tried"])))
    for file, reason in folder.readjson(folder.PASSED).items():
        insert(database, "passed", {"file": printable(file), "reason": reason})
    for row in rows(consensus["tried"]):
        insert(database, "crystal", row)
    database.executescript(INDICES)
    database.execute("UPDATE cluster SET later = (SELECT count(*) FROM crystal "
                     "WHERE crystal.cluster = cluster.number AND crystal.pass = 2)")


def writetable(database: sqlite3.Connection, path: Path) -> None:
    part = path.with_name(path.name + ".part")
    with open(part, "w", newline="", encoding="utf-8") as file:
        writer = csv.writer(file)
        found = database.execute("SELECT * FROM crystal ORDER BY number")
        writer.writerow([column[0] for column in found.description])
        writer.writerows(found)
        file.flush()
        os.fsync(file.fileno())
    part.replace(path)


def main(_arguments: list[str]) -> int:
    consensus = folder.consensus()
    part = folder.DATABASE.with_name(folder.DATABASE.name + ".part")
    for ending in ("", "-journal"): # of a call that was killed
        part.with_name(part.name + ending).unlink(missing_ok=True)
    database = sqlite3.connect(part)
    try:
        with database:
            fill(database, consensus, folder.settings())
        writetable(database, folder.TABLE)
    finally:
        database.close()
    part.replace(folder.DATABASE)
    folder.writewhole(folder.DATABASEDONE, "")
    return 0


def damage() -> str:
    """What is wrong with the table or the database, for all that can be seen; empty if nothing is."""
    return tabledamage() or databasedamage()


def tabledamage() -> str:
    start, end = b"number,file,", b"\r\n"
    try:
        with open(folder.TABLE, "rb") as file:
            whole = file.read(len(start)) == start
            file.seek(-len(end), os.SEEK_END)
            whole = whole and file.read() == end
    except FileNotFoundError:
        return f"{folder.TABLE} is missing"
    except OSError:
        whole = False
    return "" if whole else f"{folder.TABLE} is damaged"


def databasedamage() -> str:
    if not folder.DATABASE.exists():
        return f"{folder.DATABASE} is missing"
    database = sqlite3.connect(f"file:{folder.DATABASE}?mode=ro", uri=True)
    try:
        whole = database.execute("PRAGMA quick_check(1)").fetchone() == ("ok",)
        for query in ("number, part, interrupted, cluster FROM crystal", "number, relations FROM cluster",
                      "file FROM passed"):
            database.execute(f"SELECT {query} LIMIT 1").fetchall()
    except sqlite3.Error:
        whole = False
    finally:
        database.close()
    return "" if whole else f"{folder.DATABASE} is damaged"


def keptsettings() -> dict | None:
    """The settings that the database has; none if it cannot be read."""
    if databasedamage():
        return None
    database = sqlite3.connect(folder.DATABASE)
    try:
        found = {name: json.loads(value) for name, value in database.execute("SELECT * FROM setting")}
        return folder.checkedsettings(found)
    except (sqlite3.Error, ValueError, folder.Damaged):
        return None
    finally:
        database.close()
