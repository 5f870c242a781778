#!/usr/bin/env python3
"""The index of files in architecture.md, made from the first lines of the headers.

    docs/fileindex.py           writes the index into the document
    docs/fileindex.py --check   says what differs, and ends with status 1 if anything does
"""
import difflib
import pathlib
import sys

project = pathlib.Path(__file__).resolve().parent.parent
document = project / "docs" / "architecture.md"
begin, end = "<!-- file index -->\n", "<!-- end of the file index -->\n"
# In the order of the way of the data.
folders = {"src": ["driver", "geometry", "volumes", "search", "superlattices", "store", "report",
                   "numeric", "text"],
           "solver": ["include", "candidates", "evidence", "verdict", "lattice", "numeric"]}


def sentence(header):
    """Says what a header is, in the words of its first line."""
    return header.read_text().partition("\n")[0].removeprefix("// ")


def index():
    lines = []
    for room, named in folders.items():
        found = sorted(path.name for path in (project / room).iterdir() if path.is_dir())
        if found != sorted(named):
            sys.exit(f"The folders of {room} have changed: {' '.join(found)}. Name them in {__file__}.")
        for folder in (f"{room}/{name}" for name in named):
            lines += [f"\n### {folder}\n\n", "| Header | What it is |\n", "|---|---|\n"]
            for header in sorted((project / folder).rglob("*.h")):
                lines.append(f"| [{header.stem}](../{header.relative_to(project)}) | {sentence(header)} |\n")
    return "".join(lines) + "\n"


def main(arguments):
    text = document.read_text()
    before, opening, rest = text.partition(begin)
    _, closing, after = rest.partition(end)
    if not (opening and closing):
        sys.exit(f"{document} lacks the lines between which the index stands.")
    current = before + begin + index() + end + after
    if arguments == ["--check"]:
        differences = list(difflib.unified_diff(text.splitlines(), current.splitlines(), "docs/architecture.md",
                                                "the headers", lineterm="", n=0))
        print("\n".join(differences), end="\n" if differences else "")
        sys.exit(1 if differences else 0)
    if arguments:
        sys.exit(__doc__)
    document.write_text(current)


main(sys.argv[1:])
