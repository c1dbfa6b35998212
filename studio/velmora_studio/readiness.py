"""Whether instances answer yet: the manager counts a start as done when the process has lived."""

import asyncio
import contextlib
import time
from collections.abc import Callable

from velmora_studio.instances import Instance

LONGEST_WAIT = 30.0  # seconds until an instance that doesn't answer counts as silent
ATTEMPT_SECONDS = 2.0
FIRST_PAUSE, LONGEST_PAUSE = 0.05, 1.0  # seconds between two attempts

STARTING, READY, SILENT = "starting", "ready", "silent"


class Readiness:
    """Asks each instance for a connection until it gives one, also after it counts as silent.
    Belongs to the event loop's thread."""

    def __init__(self, on_change: Callable[[], None]) -> None:
        self._on_change = on_change
        self._states: dict[str, str] = {}
        self._tasks: dict[str, asyncio.Task] = {}

    def of(self, server_id: str) -> str:
        return self._states.get(server_id, STARTING)

    def watch(self, instances: list[Instance]) -> None:
        """From here on these and no others."""
        present = {instance.server_id for instance in instances}
        for server_id in self._states.keys() - present:
            self._states.pop(server_id)
            self._tasks.pop(server_id).cancel()
        for instance in instances:
            if instance.server_id not in self._states:
                self._states[instance.server_id] = STARTING
                task = asyncio.create_task(self._ask(instance))
                self._tasks[instance.server_id] = task

    async def _ask(self, instance: Instance) -> None:
        given_up_at = time.monotonic() + LONGEST_WAIT
        pause = FIRST_PAUSE
        while not await _answers(instance.port):
            if time.monotonic() > given_up_at:
                self._set(instance, SILENT)
            await asyncio.sleep(pause)
            pause = min(pause * 1.5, LONGEST_PAUSE)
        self._set(instance, READY)

    def _set(self, instance: Instance, state: str) -> None:
        if self._states.get(instance.server_id) not in (None, state):
            self._states[instance.server_id] = state
            self._on_change()


async def _answers(port: int) -> bool:
    try:
        async with asyncio.timeout(ATTEMPT_SECONDS):
            _, writer = await asyncio.open_connection("127.0.0.1", port)
    except OSError:
        return False
    writer.close()
    with contextlib.suppress(OSError):
        await writer.wait_closed()
    return True
