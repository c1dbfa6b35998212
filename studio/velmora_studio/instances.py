"""The running instances as the forwarding needs them: quick to ask, true within a second."""

import asyncio
import logging
import time
from collections.abc import Awaitable, Callable
from dataclasses import dataclass
from typing import Any

MAX_AGE = 1.0  # seconds, while requests come
LONGEST_WAIT = 2.0  # seconds that a request waits for a listing

Entry = dict[str, Any]
Place = tuple[str, str | None]  # the names of a utility and, where there is one, its group


@dataclass(frozen=True)
class Instance:
    server_id: str
    utility_name: str
    group_name: str | None  # None: runs for no group
    port: int
    pid: int
    url: str = ""  # as the manager gives it
    created: int = 0  # seconds since the epoch

    @classmethod
    def of(cls, entry: Entry) -> "Instance":
        """From an entry of the manager's listing."""
        keys = ("server_id", "utility_name", "port", "pid", "url", "create_time")
        server_id, name, port, pid, url, created = (entry[key] for key in keys)
        return cls(server_id, name, entry.get("group_name"), port, pid, url, created)


class InstanceTable:
    """Knows the Studio's own starts and stops at once, and what others do from listings. A listing
    that began before such a change doesn't undo it. Belongs to the event loop's thread."""

    def __init__(self, list_now: Callable[[], Awaitable[list[Entry]]]) -> None:
        self._list_now = list_now  # gives what it lists to `take`
        self._instances: dict[str, Instance] = {}
        self._by_place: dict[Place, Instance] = {}  # the same
        self._taken_at = float("-inf")
        self._listing: asyncio.Task | None = None
        self.changes = 0

    def take(self, entries: list[Entry], changes_before: int) -> None:
        """Makes a listing the table, unless something has changed since it was asked for."""
        if changes_before != self.changes:
            return
        self._set({entry["server_id"]: Instance.of(entry) for entry in entries})
        self._taken_at = time.monotonic()

    def note_started(self, instance: Instance) -> None:
        self.changes += 1
        self._set(self._instances | {instance.server_id: instance})

    def note_ended(self, server_id: str) -> None:
        self.changes += 1
        self._set({key: each for key, each in self._instances.items() if key != server_id})

    def get(self, server_id: str) -> Instance | None:
        return self._instances.get(server_id)

    def all(self) -> list[Instance]:
        return list(self._instances.values())

    def find_now(self, utility_name: str, group_name: str | None) -> Instance | None:
        """What runs as far as is known. Begins a listing where one is due."""
        found = self._by_place.get((utility_name, group_name))
        if time.monotonic() - self._taken_at > MAX_AGE:
            self._started_listing()
        return found

    async def find(self, utility_name: str, group_name: str | None) -> Instance | None:
        """What runs is given at once, even where a listing is due: the manager may be busy with a
        stop for many seconds. For what doesn't seem to run a due listing is waited for."""
        found = self.find_now(utility_name, group_name)
        if found is None and self._listing and not self._listing.done():
            await asyncio.wait({self._listing}, timeout=LONGEST_WAIT)
            found = self._by_place.get((utility_name, group_name))
        return found

    def look_again(self) -> None:
        """Begins a listing, if none is under way. Nobody waits for it."""
        self._started_listing()

    async def renew(self) -> None:
        """Lists anew, beginning now. Gives up waiting after a while."""
        async with asyncio.timeout(LONGEST_WAIT):
            if self._listing:  # it may have begun before what the caller has seen
                await asyncio.wait({self._listing})
            await asyncio.wait({self._started_listing()})

    def _set(self, instances: dict[str, Instance]) -> None:
        self._instances = instances
        self._by_place = {
            (each.utility_name, each.group_name): each for each in reversed(instances.values())
        }

    def _started_listing(self) -> asyncio.Task:
        if self._listing is None or self._listing.done():
            self._listing = asyncio.create_task(self._list())
        return self._listing

    async def _list(self) -> None:
        try:
            await self._list_now()
        except Exception:
            logging.exception("the running utilities can't be listed")
