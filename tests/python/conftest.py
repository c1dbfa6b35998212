"""Runs scripts against the built module, each in an interpreter of its own.

The environment variable UTILITY_MANAGER_BUILD names the folder of the module under test,
UTILITY_MANAGER_PRELOAD the libraries that an interpreter needs before it, such as a sanitizer's.
"""

import os
import subprocess
import textwrap
from collections.abc import Callable
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

import pytest

HERE = Path(__file__).resolve().parent
BUILD = Path(os.environ.get("UTILITY_MANAGER_BUILD", HERE.parents[1] / "build/dev/python"))
VARIANT = BUILD.name.partition("-")[2] or "native"
PORTABLE = BUILD.parent.name == "portable"
# What is left out there, where only the library can look at processes: docs/promises.md.
UNSEEN = {
    "test_killed_client_loses_no_child": "nobody reads command lines",
    "test_a_client_that_runs_meets_what_the_gone_have_started": "nobody reads command lines",
}
UNKNOWN = {  # without the library, too
    "test_strangers_are_neither_adopted_nor_signalled": "a process is its id",
    "test_a_utility_that_the_client_runs_in_keeps_its_files": "the client's own line can't be read",
    "test_child_adopted_after_an_exec_is_collected": "a process is its id, ended or not",
}
HEADER = """
import json, os, signal, subprocess, sys, threading, time
os.environ.pop("LD_PRELOAD", None)  # for this client alone
signal.signal(signal.SIGINT, signal.default_int_handler)  # which a job in the background ignores
import fake_client
from fake_client import Plugin, daemon, fails_with, plugins, services, utility
"""

Run = Callable[..., str]


def pytest_collection_modifyitems(items: list[pytest.Function]) -> None:
    left_out = UNSEEN | (UNKNOWN if VARIANT != "psutil" else {}) if PORTABLE else {}
    for item in items:
        if item.originalname in left_out:
            item.add_marker(pytest.mark.skip(reason=left_out[item.originalname]))


def command(script: str, *arguments: object) -> list[str]:
    return ["/usr/bin/python3", "-c", HEADER + textwrap.dedent(script), *map(str, arguments)]


def environment(data: Path) -> dict[str, str]:
    own = {"FAKE_CLIENT_DATA": str(data), "PYTHONPATH": f"{BUILD}:{HERE}"}
    preload = os.environ.get("UTILITY_MANAGER_PRELOAD")
    return os.environ | own | ({"LD_PRELOAD": preload} if preload else {})


@pytest.fixture
def run_client(tmp_path: Path) -> Run:
    """Runs a script as a client with the fake services. It must end with `code` and leave nothing
    on standard error but a text that ends in `error`. Gives its output."""

    def run(
        script: str, *arguments: object, code: int = 0, error: str = "", data: Path = tmp_path
    ) -> str:
        done = subprocess.run(
            command(script, *arguments),
            env=environment(data),
            capture_output=True,
            text=True,
            timeout=60,
            stdin=subprocess.DEVNULL,
        )
        assert done.returncode == code, done.stderr
        assert done.stderr.strip().endswith(error) if error else done.stderr == ""
        return done.stdout

    return run


@pytest.fixture
def run_many(run_client: Run, tmp_path: Path) -> Callable[..., None]:
    """Runs a client once for each of the lists of arguments, all at once."""

    def run(script: str, trials: list[tuple[object, ...]], **expected: object) -> None:
        def attempt(number: int) -> None:
            run_client(script, *trials[number], data=tmp_path / str(number), **expected)

        with ThreadPoolExecutor(len(trials)) as pool:
            list(pool.map(attempt, range(len(trials))))

    return run
