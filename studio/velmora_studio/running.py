"""What runs, starts and has ended, as far as is known: what pages and forwarding need at once.

The manager lets nobody in while it stops something. So what stands here comes from the Studio's own
starts and stops, from listings when there is time for them, and from the ends of processes.
"""

import asyncio
import contextlib
import time
from collections.abc import Callable, Iterator
from typing import Any, TypeVar
from urllib.parse import urlsplit

from anyio import CapacityLimiter, to_thread

from velmora_studio.failures import Failures
from velmora_studio.instances import Entry, Instance, InstanceTable
from velmora_studio.last_words import End, LastWords
from velmora_studio.readiness import Readiness

Result = TypeVar("Result")
MOST_LOOKS = 40  # at a time; apart from starts and stops, which take seconds


class Running:
    """`on_change` is called after whatever changes what users see. Belongs to the event loop's
    thread."""

    def __init__(self, manager: Any) -> None:
        self.table = InstanceTable(self.listing)
        self.readiness = Readiness(lambda: self.on_change())
        self.last_words = LastWords(manager, self._note_end)
        self.failures = Failures()
        self.starting: list[dict[str, Any]] = []
        self.stopping: set[str] = set()  # server_ids
        self.on_change: Callable[[], None] = lambda: None
        self._manager = manager
        self._stop_begun = asyncio.Event()  # set while anything is being stopped
        self._own: set[str] = set()  # server_ids of what this Studio has started
        self._looking = CapacityLimiter(MOST_LOOKS)

    async def look(self, function: Callable[..., Result], *arguments: Any) -> Result:
        """Calls what may make the manager look for dead instances."""
        loop = asyncio.get_running_loop()

        def call() -> Result:
            self.last_words.collect(loop)
            return function(*arguments)

        return await to_thread.run_sync(call, limiter=self._looking)

    async def listing(self) -> list[Entry]:
        """All that runs, whoever may use it."""
        changes = self.table.changes
        entries = await self.look(self._manager.list_utility_servers)
        self._note_listing(entries, changes)
        return entries

    async def instances(self) -> list[Instance]:
        """What runs; what was last known to run, if that can't be found out."""
        with contextlib.suppress(TimeoutError):
            await self.table.renew()
        return self.table.all()

    async def fresh_instances(self) -> list[Instance]:
        """What runs, listed anew. While a stop keeps the manager busy, what is known must do."""
        listing = asyncio.create_task(self.listing())
        while not listing.done() and not self.stopping:
            stop = asyncio.create_task(self._stop_begun.wait())
            await asyncio.wait({listing, stop}, return_when=asyncio.FIRST_COMPLETED)
            stop.cancel()
        if listing.done():
            listing.result()
        else:
            listing.add_done_callback(forget_failure)
        return self.table.all()

    def is_adopted(self, instance: Instance) -> bool:
        """Whether an earlier Studio, or another one, has started the instance."""
        name, group = instance.utility_name, instance.group_name or ""
        under_way = any(
            attempt["utility_name"] == name and group in ("", attempt["group_name"])
            for attempt in self.starting
        )
        return instance.server_id not in self._own and not under_way

    @contextlib.contextmanager
    def start_under_way(self, utility_name: str, group_name: str) -> Iterator[None]:
        """Keeps what fails in the block, unless something runs that was the reason for it."""
        attempt = {"utility_name": utility_name, "group_name": group_name, "since": time.time()}
        self.starting.append(attempt)
        self.on_change()
        try:
            yield
        except Exception as error:
            if not self._runs(utility_name, group_name):
                self.failures.note_start(utility_name, group_name, str(error))
            raise
        finally:
            self.starting.remove(attempt)
            self.on_change()

    @contextlib.contextmanager
    def stop_under_way(self, server_id: str) -> Iterator[None]:
        self.last_words.expect_end(server_id)
        self.stopping.add(server_id)
        self._stop_begun.set()
        self.on_change()
        try:
            yield
        finally:
            self.stopping.discard(server_id)
            if not self.stopping:
                self._stop_begun.clear()
            self.on_change()

    def note_stop(self, server_id: str, stopped: bool) -> None:
        if stopped:
            self._forget(server_id)
        else:
            self.last_words.expect_no_end(server_id)
        self.on_change()

    def note_start(self, utility_name: str, group_name: str, result: dict[str, Any]) -> None:
        # A utility that doesn't run per group is started without the group that was given.
        per_group = urlsplit(result["url"]).path.startswith("/group_utility/")
        group = group_name if per_group else None
        server_id, port, pid, url = (result[key] for key in ("server_id", "port", "pid", "url"))
        instance = Instance(server_id, utility_name, group, port, pid, url, int(time.time()))
        self._own.add(server_id)
        self.last_words.forget_ends(utility_name, group)
        self.failures.forget(utility_name, group or "")
        self.table.note_started(instance)
        self.last_words.watch(instance)
        self.readiness.watch(self.table.all())

    def _runs(self, utility_name: str, group_name: str) -> bool:
        places = {(each.utility_name, each.group_name) for each in self.table.all()}
        return not places.isdisjoint({(utility_name, group_name), (utility_name, None)})

    def _note_listing(self, entries: list[Entry], changes_before: int) -> None:
        before = self.table.all()
        self.table.take(entries, changes_before)
        after = self.table.all()
        for instance in after:
            self.last_words.watch(instance)
        self.readiness.watch(after)
        if before != after:
            self.on_change()

    def _note_end(self, end: End) -> None:
        self._forget(end.instance.server_id)
        self.failures.note_end(end)
        self.on_change()

    def _forget(self, server_id: str) -> None:
        self.table.note_ended(server_id)
        self.readiness.watch(self.table.all())


def forget_failure(task: asyncio.Task) -> None:
    """Of a task whose result nobody waits for: whoever asks next will meet the failure again."""
    if not task.cancelled():
        task.exception()
