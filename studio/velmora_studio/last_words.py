"""What instances last wrote to standard error, kept from the moment they end.

The manager forgets an instance when a listing or its monitor finds it dead. Its process and its
output are held here from the moment that it's watched, so that they can be asked all the same.
Whoever lists looks here first, and where the system tells of a process's end, that is used too.
"""

import asyncio
import os
import threading
import time
from collections.abc import Callable, Sequence
from concurrent.futures import ThreadPoolExecutor
from dataclasses import dataclass, field
from typing import Any

from velmora_studio.exits import exit_from_code, exit_of
from velmora_studio.instances import Instance

LONGEST_TEXT = 60_000  # characters
MOST_KEPT = 100  # instances
READER_SECONDS = 1.0  # for the manager's reader to come to the end of the output
READER_STEP = 0.01
LONGEST_SILENCE = 1.5  # seconds between an end and the news of it


@dataclass(frozen=True)
class End:
    """An instance that ended without being asked to."""

    instance: Instance
    text: str
    exit: dict[str, str | int]  # `exit_code` or `signal`; empty where it isn't known
    time: float = field(default_factory=time.time)


@dataclass(frozen=True)
class Watched:
    """An instance, with what the manager holds of it where it is its own child."""

    instance: Instance
    process: Any = None
    lines: Sequence[str] = ()  # live

    def text(self) -> str:
        """The end of the output, once all of it has come."""
        # The reader closes the stream at its end; until then lines may be on their way.
        deadline = time.monotonic() + READER_SECONDS
        while self.process and self.process.stderr and not self.process.stderr.closed:
            if time.monotonic() > deadline:  # a descendant holds it open
                break
            time.sleep(READER_STEP)
        return end_of_lines(self.lines, LONGEST_TEXT)


def end_of_lines(lines: Sequence[str], size: int) -> str:
    """The last characters of an output, of which no more is read."""
    kept: list[str] = []
    missing = size
    for line in reversed(lines):
        kept.append(line)
        missing -= len(line)
        if missing < 0:
            break
    return "\n".join(reversed(kept)).strip()[-size:]


class LastWords:
    """Watches instances. `on_end` is called in the event loop's thread for each end; a second time
    where the text had to wait."""

    def __init__(self, manager: Any, on_end: Callable[[End], None]) -> None:
        self._manager = manager
        self._on_end = on_end
        self._collector = ThreadPoolExecutor(1)
        self._collecting = threading.Lock()  # held until the text is safe
        self._watched: dict[str, Watched] = {}
        self._expected: set[str] = set()  # ends that will be no news
        self._exits: dict[str, dict[str, str | int]] = {}  # until the end is kept
        self._ends: dict[str, End] = {}

    def watch(self, instance: Instance) -> None:
        """In the event loop's thread."""
        server_id = instance.server_id
        if not any(server_id in known for known in (self._watched, self._expected, self._ends)):
            info = self._manager.servers.get(server_id, {})
            process, lines = info.get("process"), info.get("stderr_buffer", ())
            self._watched[server_id] = Watched(instance, process, lines)
            self._watch_process(instance)

    def expect_end(self, server_id: str) -> None:
        """The end of this instance will be no news: it is being stopped."""
        self._expected.add(server_id)
        self._watched.pop(server_id, None)

    def expect_no_end(self, server_id: str) -> None:
        """It could not be stopped. The next listing has it watched again."""
        self._expected.discard(server_id)

    def end_of(self, server_id: str) -> End | None:
        return self._ends.get(server_id)

    def last_end(self, utility_name: str, group_name: str | None) -> End | None:
        """How the latest instance of a utility came to its end, if it did."""
        for end in reversed(list(self._ends.values())):
            if (end.instance.utility_name, end.instance.group_name) == (utility_name, group_name):
                return end
        return None

    def forget_ends(self, utility_name: str, group_name: str | None) -> None:
        """A new instance runs: what became of the old ones is no news any more."""
        while end := self.last_end(utility_name, group_name):
            self._ends.pop(end.instance.server_id, None)

    def collect(self, loop: asyncio.AbstractEventLoop) -> None:
        """Keeps the output of what has ended. In a worker thread; to be called before anything
        that makes the manager look for dead instances."""
        with self._collecting:
            for watched in list(self._watched.values()):
                instance = watched.instance
                if self._manager.is_utility_server_running(instance.server_id):
                    continue
                text, code = watched.text(), watched.process and watched.process.poll()
                if self._watched.pop(instance.server_id, None):  # no stop has come between
                    told = self._exits.pop(instance.server_id, None)
                    self._keep(End(instance, text, told or exit_from_code(code)), loop)

    def _keep(self, end: End, loop: asyncio.AbstractEventLoop) -> None:
        self._ends[end.instance.server_id] = end
        if len(self._ends) > MOST_KEPT:
            self._ends.pop(next(iter(self._ends)))
        loop.call_soon_threadsafe(self._on_end, end)

    def _watch_process(self, instance: Instance) -> None:
        try:
            descriptor = os.pidfd_open(instance.pid)
        except (AttributeError, OSError, TypeError):  # no such means here, no such process, no id
            return
        loop = asyncio.get_running_loop()

        def ended() -> None:
            if instance.server_id in self._watched:
                self._exits[instance.server_id] = exit_of(descriptor)
                loop.call_later(LONGEST_SILENCE, self._tell_early, instance)
            loop.remove_reader(descriptor)
            os.close(descriptor)
            self._collector.submit(self.collect, loop)

        loop.add_reader(descriptor, ended)

    def _tell_early(self, instance: Instance) -> None:
        """The manager is busy with a stop. That the instance has ended is known all the same; what
        it wrote follows."""
        if instance.server_id in self._watched:
            early = End(instance, "", self._exits.get(instance.server_id, {}))
            self._on_end(self._ends.setdefault(instance.server_id, early))
