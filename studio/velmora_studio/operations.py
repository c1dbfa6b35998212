"""The manager's operations for an event loop: on worker threads, and with what they change told."""

import asyncio
import contextlib
import time
from collections.abc import Callable, Coroutine
from typing import Any, TypeVar
from urllib.parse import urlsplit

from anyio import CapacityLimiter, to_thread

from velmora_studio.access import Access
from velmora_studio.instances import Entry, Instance, InstanceTable
from velmora_studio.last_words import End, LastWords

START_FAILED = "Failed to start utility server: "  # the manager's words, before its digest
MOST_FAILURES = 20
Result = TypeVar("Result")


class Operations:
    """Starts, stops and looks. `on_change` is called after whatever changes what users see."""

    def __init__(self, manager: Any) -> None:
        self.manager = manager
        self.access = Access(manager)
        self.table = InstanceTable(self.listing)
        self.last_words = LastWords(manager, self._note_end)
        self.starting: list[dict[str, Any]] = []
        self.failures: list[dict[str, Any]] = []
        self.on_change: Callable[[], None] = lambda: None
        self._adopted: dict[str, bool] = {}  # by server_id
        self._tasks: set[asyncio.Task] = set()
        self._at_end: dict[str, Instance] = {}
        # Limits of their own: starts and stops take seconds, and looks go on meanwhile.
        self._changing, self._looking = CapacityLimiter(100), CapacityLimiter(40)

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
        entries = await self.look(self.manager.list_utility_servers)
        self.note_listing(entries, changes)
        return entries

    async def instances(self) -> list[Instance]:
        """What runs; what was last known to run, if that can't be found out."""
        with contextlib.suppress(TimeoutError):
            await self.table.renew()
        return self.table.all()

    def note_listing(self, entries: list[Entry], changes_before: int) -> None:
        self.table.take(entries, changes_before)
        for instance in self.table.all():
            self.last_words.watch(instance)

    async def may_use(self, utility_name: str, group_name: str | None) -> bool:
        if self.access.remembers(group_name):
            return self.access.may_use(utility_name, group_name)
        return await self.look(self.access.may_use, utility_name, group_name)

    def is_adopted(self, server_id: str) -> bool:
        """Whether an earlier Studio, or another one, has started the instance. May block."""
        if server_id not in self._adopted:
            info = self.manager.servers.get(server_id)
            if info is None:  # ended meanwhile
                return False
            self._adopted[server_id] = info["process"] is None
        return self._adopted[server_id]

    async def start(self, utility_name: str, group_name: str, config: dict) -> dict[str, Any]:
        return await self._to_its_end(self._start(utility_name, group_name, config))

    async def stop(self, server_id: str) -> bool:
        return await self._to_its_end(self._stop(server_id))

    async def stop_all(self) -> None:
        await self._to_its_end(self._stop_all())

    async def refresh(self, reload_plugins: Callable[[], None]) -> None:
        await self._to_its_end(self._refresh(reload_plugins))

    def note_ending(self) -> None:
        """From here on nothing ends by itself: Ctrl-C in a terminal reaches the utilities too."""
        for instance in self.table.all():
            self._at_end[instance.server_id] = instance
            self.last_words.expect_end(instance.server_id)

    async def end(self) -> tuple[list[Instance], list[Instance]]:
        """Ends what doesn't outlive the Studio, after the operations under way. Gives what was
        stopped and what goes on."""
        await asyncio.gather(*self._tasks, return_exceptions=True)
        await self.instances()
        self.note_ending()
        await self._change(self.manager.cleanup_all_servers)
        left = await self.instances()
        return [instance for instance in self._at_end.values() if instance not in left], left

    async def _start(self, utility_name: str, group_name: str, config: dict) -> dict[str, Any]:
        place = {"utility_name": utility_name, "group_name": group_name}
        attempt = place | {"since": time.time()}
        self.starting.append(attempt)
        self.on_change()
        try:
            start = self.manager.start_utility_server
            result = await self._change(start, group_name, utility_name, config)
            self._note_start(utility_name, group_name, result)
        except Exception as error:
            self._note_failure(place, str(error), str(error).removeprefix(START_FAILED))
            raise
        finally:
            self.starting.remove(attempt)
            self.on_change()
        return result

    async def _stop(self, server_id: str) -> bool:
        self.last_words.expect_end(server_id)
        stopped = await self._change(self.manager.stop_utility_server, server_id)
        if stopped:
            self.table.note_ended(server_id)
        else:
            self.last_words.expect_no_end(server_id)
        self.on_change()
        return stopped

    async def _stop_all(self) -> None:
        for entry in await self.listing():
            self.last_words.expect_end(entry["server_id"])
        await self._change(self.manager.stop_all_utility_servers)
        self.table.changes += 1
        for entry in await self.listing():
            self.last_words.expect_no_end(entry["server_id"])
        self.on_change()

    async def _refresh(self, reload_plugins: Callable[[], None]) -> None:
        await self._change(reload_plugins)
        await self._change(self.manager.refresh_utility_registry)
        self.access.forget()
        self.on_change()

    async def _change(self, function: Callable[..., Result], *arguments: Any) -> Result:
        return await to_thread.run_sync(function, *arguments, limiter=self._changing)

    async def _to_its_end(self, operation: Coroutine[Any, Any, Result]) -> Result:
        """An operation goes on when nobody waits for its answer any more."""
        task = asyncio.create_task(operation)
        self._tasks.add(task)
        task.add_done_callback(self._tasks.discard)
        return await asyncio.shield(task)

    def _note_start(self, utility_name: str, group_name: str, result: dict[str, Any]) -> None:
        # A utility that doesn't run per group is started without the group that was given.
        per_group = urlsplit(result["url"]).path.startswith("/group_utility/")
        group = group_name if per_group else None
        server_id, port, pid = (result[key] for key in ("server_id", "port", "pid"))
        instance = Instance(server_id, utility_name, group, port, pid)
        self._adopted[server_id] = False
        self.last_words.forget_ends(utility_name, group)
        self.table.note_started(instance)
        self.last_words.watch(instance)
        self.failures = [
            failure
            for failure in self.failures
            if failure["utility_name"] != utility_name or (failure["group_name"] or None) != group
        ]

    def _note_end(self, end: End) -> None:
        self.table.note_ended(end.instance.server_id)
        name, group = end.instance.utility_name, end.instance.group_name
        message = f"Utility '{name}' has ended by itself."
        self._note_failure({"utility_name": name, "group_name": group or ""}, message, end.text)
        self.on_change()

    def _note_failure(self, place: dict[str, str], message: str, digest: str) -> None:
        failure = place | {"message": message, "digest": digest, "time": time.time()}
        self.failures = [*self.failures, failure][-MOST_FAILURES:]
