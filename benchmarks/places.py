"""Where things lie; the driver tells its topics through the environment."""

import os
from pathlib import Path

SOURCES = Path(__file__).resolve().parents[1]
BUILD = Path(os.environ.get("BENCHMARK_BUILD", SOURCES / "build" / "release"))

# For what a topic writes; removed when the topic has ended.
DIRECTORY = Path(os.environ.get("BENCHMARK_DIRECTORY", "/nonexistent"))


def program(name: str) -> str:
    return str(BUILD / "benchmarks" / name)
