#!/usr/bin/env python3
"""Does one step of the workflow, in the folder of a batch.

    step.py MODULE [ARGUMENT...]

MODULE is one of torvikbatch. It is looked for beside this file alone: a module of the same name in the folder of
the batch, or in one of the user's, is not taken.
"""

from __future__ import annotations

import importlib
import sqlite3
import subprocess
import sys

from torvikbatch.folder import Unusable

MODULES = ("solving", "consensus", "database", "overview")


def main(module: str, arguments: list[str]) -> int:
    """Errors are sentences that begin with the word: the command shows them to the user."""
    if module not in MODULES:
        raise SystemExit(f"There is no step {module}.")
    try:
        return importlib.import_module(f"torvikbatch.{module}").main(arguments)
    except Unusable as why:
        print(f"Error: {why}", file=sys.stderr)
    except OSError as why:
        print(f"Error: {why.filename or 'A file of the batch'}: {why.strerror}.", file=sys.stderr)
    except sqlite3.Error as why:
        print(f"Error: crystals.sqlite cannot be written: {why}.", file=sys.stderr)
    except subprocess.SubprocessError as why:
        print(f"Error: {why}", file=sys.stderr)
    except MemoryError:
        print("Error: There is not enough memory.", file=sys.stderr)
    return 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1], sys.argv[2:]))
