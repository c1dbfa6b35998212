"""Instances of utilities for a manager: own ones, and ones to adopt."""

import contextlib
import json
import subprocess
import time
import uuid
from collections.abc import Iterator
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path
from typing import Any

import client

FIRST_PORT = 8890
SLEEP = ["sleep", "3600"]
SCRIPT = "idle_utility.py"
IDLE_UTILITY = "import signal, sys\nprint('ready', file=sys.stderr)\nsignal.pause()\n"


@contextlib.contextmanager
def sleeping_processes(count: int) -> Iterator[list[subprocess.Popen]]:
    processes = [subprocess.Popen(SLEEP) for _ in range(count)]
    try:
        yield processes
    finally:
        for process in processes:
            process.kill()
        for process in processes:
            process.wait()


def record(number: int, pid: int) -> dict[str, Any]:
    """What a state file says about the instance of a utility."""
    return {
        "server_id": str(uuid.uuid4()),
        "utility_name": client.utility_name(number),
        "port": FIRST_PORT + number,
        "pid": pid,
        "config": {"sampling_rate": 48000, "channels": ["left", "right"], "title": "测量"},
        "create_time": int(time.time()),
        "lang": "en",
        "require_group_name": False,
        "studio_url": "http://127.0.0.1:6886",
    }


def write_state_files(directory: Path, records: list[dict[str, Any]]) -> None:
    directory.mkdir(parents=True, exist_ok=True)
    for state in records:
        path = directory / f"{state['server_id']}.json"
        path.write_text(json.dumps(state, ensure_ascii=False), encoding="utf-8")


@contextlib.contextmanager
def own_instances(manager: Any, starts: ThreadPoolExecutor, count: int) -> Iterator[list[str]]:
    """Starts idle utilities, as many at once as `starts` has threads; gives their identifiers."""
    path = client.directory / SCRIPT
    path.write_text(IDLE_UTILITY)

    def start(number: int) -> str:
        name = client.utility_name(number)
        return manager.start_utility_server("", name, {}, str(path))["server_id"]

    try:
        yield list(starts.map(start, range(count)))
    finally:
        manager.stop_all_utility_servers()
