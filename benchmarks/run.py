#!/usr/bin/python3
"""Measures the system beside plain equivalents, and writes a table and a picture.

Usage: run.py [--only TOPIC ...] [--build DIR]
"""

import argparse
import datetime
import json
import os
import platform
import subprocess
import sys
import tempfile
from pathlib import Path

import picture
from rows import Row, table

HERE = Path(__file__).resolve().parent
TOPICS = ("relay", "listings", "stop", "core", "ports", "idle", "studio", "build")


def run_topic(name: str, build: Path) -> list[Row]:
    """In a process of its own, whose standard output takes what children write."""
    with tempfile.TemporaryDirectory(prefix=f"benchmark-{name}-") as directory:
        result = Path(directory) / "rows.json"
        environment = os.environ | {
            "BENCHMARK_BUILD": str(build),
            "BENCHMARK_DIRECTORY": directory,
            "PYTHONPATH": f"{build / 'python'}:{build / 'benchmarks'}:{HERE}",
        }
        environment.pop("PYTHONUNBUFFERED", None)  # it would slow the plain relay down
        subprocess.run([sys.executable, "-m", "topics", name, result], env=environment, check=True,
                       stdout=subprocess.DEVNULL)
        return [Row(**row) for row in json.loads(result.read_text())]


def machine() -> str:
    system = platform.freedesktop_os_release()["PRETTY_NAME"]
    return f"{os.cpu_count()} cores, {system}, load {os.getloadavg()[0]:.1f}"


def write_results(rows: list[Row], directory: Path) -> None:
    title = f"{datetime.date.today()}, {machine()}"
    directory.mkdir(parents=True, exist_ok=True)
    (directory / "results.md").write_text(f"{title}\n\n{table(rows)}", encoding="utf-8")
    (directory / "results.svg").write_text(picture.svg(rows, f"Benchmarks: {title}"),
                                           encoding="utf-8")


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--only", nargs="+", choices=TOPICS, default=TOPICS, metavar="TOPIC",
                        help=f"of {', '.join(TOPICS)}")
    parser.add_argument("--build", type=Path, default=HERE.parent / "build" / "release",
                        help="the build directory to measure")
    given = parser.parse_args()
    rows = []
    for name in given.only:
        print(f"measuring: {name}", file=sys.stderr, flush=True)
        rows += run_topic(name, given.build.resolve())
    results = HERE.parent / "build" / "benchmarks"
    write_results(rows, results)
    print(table(rows))
    missed = [f"{row.what}: {row.figure_text()}, {row.bar_text()}" for row in rows if not row.met]
    print("\n".join(["bars missed:", *missed] if missed else ["every bar is met"]))
    print(f"in {results}: results.md, results.svg")


if __name__ == "__main__":
    main()
