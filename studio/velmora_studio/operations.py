"""The manager's operations for an event loop: on worker threads, and with what they change told."""

import asyncio
import contextlib
from collections.abc import Callable, Coroutine
from typing import Any, TypeVar

from anyio import CapacityLimiter, to_thread

from velmora_studio.access import Access
from velmora_studio.catalogue import Catalogue
from velmora_studio.forward_address import told_prefix
from velmora_studio.instances import Instance
from velmora_studio.launch_config import config_of
from velmora_studio.running import Running, forget_failure

Result = TypeVar("Result")
MOST_CHANGES = 100  # at a time


class Operations:
    """Starts and stops, and who may have it done. What comes of it stands in `running`."""

    def __init__(self, manager: Any) -> None:
        self.manager = manager
        self.access = Access(manager)
        self.catalogue = Catalogue(manager, self.access)
        self.running = Running(manager)
        self.own_origin = ""  # of the Studio's page
        self._tasks: set[asyncio.Task] = set()
        self._at_end: dict[str, Instance] = {}
        self._changing = CapacityLimiter(MOST_CHANGES)

    async def may_use(self, utility_name: str, group_name: str | None) -> bool:
        if self.access.remembers(group_name):
            return self.access.may_use(utility_name, group_name)
        return await asyncio.to_thread(self.access.may_use, utility_name, group_name)

    def rights_changed(self) -> None:
        """Another user, or other plugins: what was remembered is asked for anew."""
        self.access.forget()
        self.warm_up()
        self.running.on_change()

    def warm_up(self) -> None:
        """Has the catalogue read ahead of pages that ask for it."""
        task = asyncio.create_task(asyncio.to_thread(self.catalogue.read_ahead))
        self._tasks.add(task)
        task.add_done_callback(self._tasks.discard)
        task.add_done_callback(forget_failure)

    def registration(self, utility_name: str) -> dict[str, Any]:
        """Empty for an unknown name."""
        return self.catalogue.registration(utility_name)

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
        for instance in self.running.table.all():
            self._at_end[instance.server_id] = instance
            self.running.last_words.expect_end(instance.server_id)

    async def end(self) -> tuple[list[Instance], list[Instance]]:
        """Ends what doesn't outlive the Studio, after the operations under way. Gives what was
        stopped and what goes on."""
        await asyncio.gather(*self._tasks, return_exceptions=True)
        await self.running.instances()
        self.note_ending()
        await self._change(self.manager.cleanup_all_servers)
        left = await self.running.instances()
        return [instance for instance in self._at_end.values() if instance not in left], left

    async def _start(self, utility_name: str, group_name: str, config: dict) -> dict[str, Any]:
        with self.running.start_under_way(utility_name, group_name):
            with contextlib.suppress(Exception):  # what has died would count as running
                await self.running.listing()
            start = self.manager.start_utility_server
            config = config | told_prefix(self.registration(utility_name), group_name)
            result = await self._change(start, group_name, utility_name, config)
            self.running.note_start(utility_name, group_name, result)
        return result

    async def _stop(self, server_id: str) -> bool:
        with self.running.stop_under_way(server_id):
            stopped = await self._change(self.manager.stop_utility_server, server_id)
        self.running.note_stop(server_id, stopped)
        return stopped

    async def _restart(self, instance: Instance) -> dict[str, Any] | None:
        config = await self._change(config_of, self.manager, instance)
        if not await self._stop(instance.server_id):
            return None
        return await self._start(instance.utility_name, instance.group_name or "", config)

    async def _stop_all(self) -> None:
        instances = await self.running.fresh_instances()
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
