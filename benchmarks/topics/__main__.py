"""Runs one topic and writes its rows as JSON.

Usage: python3 -m topics NAME RESULT
"""

import dataclasses
import importlib
import json
import sys
from pathlib import Path


def main() -> None:
    name, result = sys.argv[1:]
    rows = importlib.import_module(f"topics.{name}").measure()
    Path(result).write_text(json.dumps([dataclasses.asdict(row) for row in rows]))


if __name__ == "__main__":
    main()
