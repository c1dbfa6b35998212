"""The manager's operations for an event loop: on worker threads, and with what they change told."""

import asyncio
import contextlib
import time
from collections.abc import Callable, Coroutine
from typing import Any, TypeVar
from urllib.parse import urlsplit

from anyio import CapacityLimiter, to_thread

from velmora_studio.access import Access
from velmora_studio.catalogue import Catalogue
from velmora_studio.failures import Failures
from velmora_studio.forward_address import told_prefix
from velmora_studio.instances import Entry, Instance, InstanceTable
from velmora_studio.last_words import End, LastWords
from velmora_studio.launch_config import config_of
from velmora_studio.readiness import Readiness

Result = TypeVar("Result")


class Operations:
    """Starts, stops and looks. `on_change` is called after whatever changes what users see."""

    def __init__(self, manager: Any) -> None:
        self.manager = manager
        self.access = Access(manager)
        self.catalogue = Catalogue(manager, self.access)
        self.table = InstanceTable(self.listing)
        self.readiness = Readiness(lambda: self.on_change())
        self.last_words = LastWords(manager, self._note_end)
        self.failures = Failures()
        self.starting: list[dict[str, Any]] = []
        self.stopping: set[str] = set()  # server_ids
        self._stop_begun = asyncio.Event()  # set while there are any
        self.on_change: Callable[[], None] = lambda: None
        self.own_origin = ""  # of the Studio's page
        self._own: set[str] = set()  # server_ids of what this Studio has started
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
            listing.add_done_callback(_forget_failure)
        return self.table.all()

    async def may_use(self, utility_name: str, group_name: str | None) -> bool:
        if self.access.remembers(group_name):
            return self.access.may_use(utility_name, group_name)
        return await asyncio.to_thread(self.access.may_use, utility_name, group_name)

    def rights_changed(self) -> None:
        """Another user, or other plugins: what was remembered is asked for anew."""
        self.access.forget()
        self.warm_up()
        self.on_change()

    def warm_up(self) -> None:
        """Has the catalogue read ahead of pages that ask for it."""
        task = asyncio.create_task(asyncio.to_thread(self.catalogue.read_ahead))
        self._tasks.add(task)
        task.add_done_callback(self._tasks.discard)
        task.add_done_callback(_forget_failure)

    def registration(self, utility_name: str) -> dict[str, Any]:
        """Empty for an unknown name."""
        return self.catalogue.registration(utility_name)

    def is_adopted(self, instance: Instance) -> bool:
        """Whether an earlier Studio, or another one, has started the instance."""
        name, group = instance.utility_name, instance.group_name or ""
        under_way = any(
            attempt["utility_name"] == name and group in ("", attempt["group_name"])
            for attempt in self.starting
        )
        return instance.server_id not in self._own and not under_way

    async def start(self, utility_name: str, group_name: str, config: dict) -> dict[str, Any]:
        return await self._to_its_end(self._start(utility_name, group_name, config))

    async def stop(self, server_id: str) -> bool:
        return await self._to_its_end(self._stop(server_id))

    async def restart(self, instance: Instance) -> dict[str, Any] | None:
        """Starts anew what has been stopped, with the same configuration; None if it can't be."""
        return await self._to_its_end(self._restart(instance))

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
        attempt = {"utility_name": utility_name, "group_name": group_name, "since": time.time()}
        self.starting.append(attempt)
        self.on_change()
        try:
            with contextlib.suppress(Exception):  # what has died would count as running
                await self.listing()
            start = self.manager.start_utility_server
            config = config | told_prefix(self.registration(utility_name), group_name)
            result = await self._change(start, group_name, utility_name, config)
            self._note_start(utility_name, group_name, result)
        except Exception as error:
            if not self._runs(utility_name, group_name):  # refused: there is no harm to tell of
                self.failures.note_start(utility_name, group_name, str(error))
            raise
        finally:
            self.starting.remove(attempt)
            self.on_change()
        return result

    def _runs(self, utility_name: str, group_name: str) -> bool:
        places = {(each.utility_name, each.group_name) for each in self.table.all()}
        return not places.isdisjoint({(utility_name, group_name), (utility_name, None)})

    async def _stop(self, server_id: str) -> bool:
        self.last_words.expect_end(server_id)
        self._note_stop(server_id, begins=True)
        try:
            stopped = await self._change(self.manager.stop_utility_server, server_id)
        finally:
            self._note_stop(server_id, begins=False)
        if stopped:
            self._forget(server_id)
        else:
            self.last_words.expect_no_end(server_id)
        self.on_change()
        return stopped

    def _note_stop(self, server_id: str, begins: bool) -> None:
        if begins:
            self.stopping.add(server_id)
            self._stop_begun.set()
        else:
            self.stopping.discard(server_id)
        if not self.stopping:
            self._stop_begun.clear()
        self.on_change()

    async def _restart(self, instance: Instance) -> dict[str, Any] | None:
        config = await self._change(config_of, self.manager, instance)
        if not await self._stop(instance.server_id):
            return None
        return await self._start(instance.utility_name, instance.group_name or "", config)

    async def _stop_all(self) -> None:
        instances = await self.fresh_instances()
        await asyncio.gather(*(self._stop(instance.server_id) for instance in instances))

    async def _refresh(self, reload_plugins: Callable[[], None]) -> None:
        await self._change(reload_plugins)
        await self._change(self.manager.refresh_utility_registry)
        self.catalogue.forget_registrations()
        self.rights_changed()

    async def _change(self, function: Callable[..., Result], *arguments: Any) -> Result:
        return await to_thread.run_sync(function, *arguments, limiter=self._changing)

    async def _to_its_end(self, operation: Coroutine[Any, Any, Result]) -> Result:
        """An operation goes on when nobody waits for its answer any more."""
        task = asyncio.create_task(operation)
        self._tasks.add(task)
        task.add_done_callback(self._tasks.discard)
        return await asyncio.shield(task)

    def _note_listing(self, entries: list[Entry], changes_before: int) -> None:
        before = self.table.all()
        self.table.take(entries, changes_before)
        after = self.table.all()
        for instance in after:
            self.last_words.watch(instance)
        self.readiness.watch(after)
        if before != after:
            self.on_change()

    def _note_start(self, utility_name: str, group_name: str, result: dict[str, Any]) -> None:
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

    def _note_end(self, end: End) -> None:
        self._forget(end.instance.server_id)
        self.failures.note_end(end)
        self.on_change()

    def _forget(self, server_id: str) -> None:
        self.table.note_ended(server_id)
        self.readiness.watch(self.table.all())


def _forget_failure(task: asyncio.Task) -> None:
    """Of a task whose result nobody waits for: whoever asks next will meet the failure again."""
    if not task.cancelled():
        task.exception()
