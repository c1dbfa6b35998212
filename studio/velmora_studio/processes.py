"""Processes of this computer as `/proc` shows them. Elsewhere there seem to be none."""

import contextlib
import os
import time
from collections.abc import Iterator
from dataclasses import dataclass
from pathlib import Path

PROC = Path("/proc")
STATS_AGE = 0.5  # seconds that a measurement is given again


@dataclass(frozen=True)
class Process:
    parent: int
    began: int  # tells a process from a later owner of its id
    ticks: int  # of processor time
    memory: int  # bytes that are resident


def processes() -> dict[int, Process]:
    """All there are, by id."""
    found = {}
    for name in os.listdir(PROC) if PROC.is_dir() else ():
        if name.isdigit():
            with contextlib.suppress(OSError, ValueError, IndexError):  # it has gone meanwhile
                found[int(name)] = _read(int(name))
    return found


def tree(root: int, among: dict[int, Process]) -> Iterator[int]:
    """The process and its descendants, parents first."""
    children: dict[int, list[int]] = {}
    for pid, process in among.items():
        children.setdefault(process.parent, []).append(pid)
    waiting = [root] if root in among else []
    while waiting:
        pid = waiting.pop()
        waiting += children.get(pid, [])
        yield pid


def command_line(pid: int) -> list[str]:
    """Empty where it can't be had."""
    try:
        text = (PROC / str(pid) / "cmdline").read_bytes()
    except OSError:
        return []
    return text.decode("utf-8", "replace").removesuffix("\0").split("\0") if text else []


class Usage:
    """What trees of processes use: processor time between two looks, and memory."""

    def __init__(self) -> None:
        self._before: dict[int, Process] = {}
        self._now: dict[int, Process] = {}
        self._seconds = 0.0  # between the two
        self._taken_at = float("-inf")

    def of(self, roots: dict[str, int]) -> dict[str, dict[str, float | int | None]]:
        """By the keys of `roots`; nothing for a process that isn't there."""
        self._look()
        shares = {key: self._share(pid) for key, pid in roots.items()}
        return {key: share for key, share in shares.items() if share}

    def _look(self) -> None:
        passed = time.monotonic() - self._taken_at
        if passed < STATS_AGE:
            return
        self._before, self._now = self._now, processes()
        self._seconds, self._taken_at = passed, time.monotonic()

    def _share(self, root: int) -> dict[str, float | int | None]:
        members = list(tree(root, self._now))
        if not members:
            return {}
        memory = sum(self._now[pid].memory for pid in members)
        known = root in self._before
        ticks = sum(self._ticks_since(pid) for pid in members)
        cpu = ticks / os.sysconf("SC_CLK_TCK") / self._seconds * 100 if known else None
        return {"cpu": cpu and round(cpu, 1), "memory": memory, "processes": len(members)}

    def _ticks_since(self, pid: int) -> int:
        now, before = self._now[pid], self._before.get(pid)
        if before is None or before.began != now.began:
            return now.ticks
        return now.ticks - before.ticks


def _read(pid: int) -> Process:
    text = (PROC / str(pid) / "stat").read_text(errors="replace")
    fields = text.rpartition(")")[2].split()  # a name may hold anything, brackets included
    parent, user, system, began, pages = (int(fields[index]) for index in (1, 11, 12, 19, 21))
    return Process(parent, began, user + system, pages * os.sysconf("SC_PAGE_SIZE"))
