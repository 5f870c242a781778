"""What a planted fault is, and which faults are argued to be equivalent."""

from __future__ import annotations

import re
from dataclasses import dataclass, field
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
EQUIVALENT = Path(__file__).with_name("equivalent.txt")


@dataclass
class Fault:
    """A small change of one place in a source."""

    file: str  # relative to the project
    line: int
    function: str  # empty outside of functions
    kind: str
    text: str  # the line, without the blanks around it
    before: str
    after: str
    start: int = 0  # offsets in the file of what is changed
    end: int = 0
    form: str = "value"  # value: an expression; statement: one that is left out; insert: one more
    guard: str = "torvik_planted"
    edits: list[tuple[int, int, str]] = field(default_factory=list)  # what has to change with it
    constant: str = ""  # the name of the constant that it is in
    number: int = 0  # by which it is called up in a build
    argument: str = ""  # why no input can show it

    def where(self) -> str:
        inside = f" in {self.function}" if self.function else ""
        return f"{self.file}:{self.line}{inside}"

    def described(self) -> str:
        lines = [f"{self.where()}: {self.kind}", f"    - {shortened(self.before)}",
                 f"    + {shortened(self.after)}"]
        if self.text not in self.before:
            lines.append(f"      in: {shortened(self.text)}")
        return "\n".join(lines)


def shortened(text: str) -> str:
    text = " ".join(text.split())
    return text if len(text) <= 160 else text[:157] + "..."


@dataclass
class Entry:
    """A fault that is argued to be equivalent. An empty kind or result fits any."""

    file: str
    function: str
    kind: str
    text: str
    after: str
    because: str
    number: int  # of its first line

    def fits(self, fault: Fault) -> bool:
        return (self.file == fault.file and self.function == fault.function
                and self.text == fault.text and self.kind in ("", fault.kind)
                and self.after in ("", shortened(fault.after)))


def entries(content: str) -> list[Entry]:
    """Reads the list: blocks of lines `word rest`, parted by empty lines; a block without a file or
    function has those of the block before."""
    found = []
    file = function = ""
    number = 1
    for block in re.split(r"\n[ \t]*\n", content):
        values: dict[str, str] = {}
        for line in block.splitlines():
            if line.startswith("#"):
                continue
            word, _, rest = line.strip().partition(" ")
            if word not in ("file", "function", "kind", "line", "after", "because"):
                raise SystemExit(f"{EQUIVALENT.name}:{number}: what is '{word}'?")
            values[word] = f"{values[word]} {rest}" if word in values else rest
        if "file" in values:
            file, function = values["file"], ""
        function = values.get("function", function)
        if "line" in values:
            if not file or not values.get("because"):
                raise SystemExit(f"{EQUIVALENT.name}:{number}: a file or a reason is missing.")
            found.append(Entry(file, function, values.get("kind", ""), values["line"],
                               values.get("after", ""), values["because"], number))
        number += block.count("\n") + 2
    return found


def argue(faults: list[Fault], arguments: list[Entry]) -> list[Entry]:
    """Gives the faults their arguments. Returns the entries of these files that fit no fault."""
    files = {fault.file for fault in faults}
    stale = []
    for entry in arguments:
        if entry.file not in files:
            continue
        fitting = [fault for fault in faults if entry.fits(fault)]
        for fault in fitting:
            fault.argument = entry.because
        if not fitting:
            stale.append(entry)
    return stale
