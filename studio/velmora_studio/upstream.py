"""Connections to utilities: made when one is needed, kept for a while, and used again."""

import asyncio
import contextlib
import os
import time
from dataclasses import dataclass, field
from typing import Any, Protocol

from velmora_studio.instances import Instance
from velmora_studio.paced_reading import LARGE, PacedReading

CONNECT_SECONDS = 10.0  # a full backlog answers neither yes nor no
KEPT_SECONDS = 2.0
MOST_KEPT = 32  # per instance
# A utility that serves one connection at a time hears no other while one is kept.
HEARING_SECONDS = 0.1
REST_AT_ONCE = 65536

Place = tuple[str, int]  # an instance and the port that it has


class User(Protocol):
    """Who uses a connection at present."""

    def received(self, data: bytes) -> None: ...

    def lost(self, error: Exception | None) -> None:
        """The utility has ended the connection, or it has failed. Called once."""

    def utility_is_full(self, full: bool) -> None: ...


class Upstream(asyncio.Protocol):
    """One connection. Without a user it is kept, or about to end."""

    def __init__(self, pool: "Pool", place: Place) -> None:
        self.place = place
        self.user: User | None = None
        self.is_fresh = True  # has never answered
        self.since = 0.0  # when it was opened, or kept
        self.transport: asyncio.Transport
        self._pool = pool
        self._reading: PacedReading

    def write(self, data: bytes) -> None:
        self.transport.write(data)

    def pause(self, pause: bool) -> None:
        """Whether what the utility sends is to wait."""
        self._reading.pause(pause)

    def abort(self) -> None:
        """Ends it at once; the user hears no more."""
        self.user = None
        self._pool.drop(self)
        self.transport.abort()

    def close(self) -> None:
        """Ends it when everything has been sent."""
        self.user = None
        self._pool.drop(self)
        self.transport.close()

    def connection_made(self, transport: Any) -> None:
        self.transport = transport
        self._reading = PacedReading(transport)

    def data_received(self, data: bytes) -> None:
        if self.is_fresh:
            self.is_fresh = False
            self._pool.drop(self)
        if len(data) >= LARGE:
            self._reading.took_much()
        if self.user:
            self.user.received(data)
        else:
            self.abort()

    def eof_received(self) -> None:
        self._lose(None)
        self.transport.abort()

    def connection_lost(self, error: Exception | None) -> None:
        # A utility may answer before it has read everything, and close: the answer counts.
        if error and self.user:
            with contextlib.suppress(OSError):
                while self.user and (rest := self._read_rest()):
                    self.user.received(rest)
        self._lose(error)

    def _read_rest(self) -> bytes:
        return os.read(self.transport.get_extra_info("socket").fileno(), REST_AT_ONCE)

    def _lose(self, error: Exception | None) -> None:
        self._pool.drop(self)
        user, self.user = self.user, None
        if user:
            user.lost(error)

    def pause_writing(self) -> None:
        if self.user:
            self.user.utility_is_full(True)

    def resume_writing(self) -> None:
        if self.user:
            self.user.utility_is_full(False)


@dataclass(slots=True)
class _Connections:
    """Those to one place that nobody uses, and those that have not answered yet."""

    kept: list[Upstream] = field(default_factory=list)
    waiting: set[Upstream] = field(default_factory=set)

    def is_crowded(self, now: float) -> bool:
        overdue = now - HEARING_SECONDS
        return bool(self.waiting) and any(each.since < overdue for each in self.waiting)


class Pool:
    """Belongs to the event loop's thread."""

    def __init__(self) -> None:
        self._places: dict[Place, _Connections] = {}

    def take(self, instance: Instance) -> Upstream | None:
        """One that is kept. Its utility may be about to end it."""
        connections = self._places.get(_place_of(instance))
        return connections.kept.pop() if connections and connections.kept else None

    async def connect(self, instance: Instance) -> Upstream:
        """A new one. Fails with `OSError`, of which a time-out is one."""
        loop, place = asyncio.get_running_loop(), _place_of(instance)
        if kept := self.take(instance):  # never more than have been needed at a time
            kept.abort()
        async with asyncio.timeout(CONNECT_SECONDS):
            make = loop.create_connection(lambda: Upstream(self, place), "127.0.0.1", instance.port)
            _, upstream = await make
        upstream.since = time.monotonic()
        self._connections_of(place).waiting.add(upstream)
        loop.call_later(HEARING_SECONDS, self._make_way, upstream)
        return upstream

    def give_back(self, upstream: Upstream) -> None:
        """To be kept, if it may be needed."""
        upstream.user, upstream.since = None, time.monotonic()
        connections = self._connections_of(upstream.place)
        has_room = len(connections.kept) < MOST_KEPT and not connections.is_crowded(upstream.since)
        if upstream.transport.is_closing() or not has_room:
            upstream.abort()
        else:
            upstream.pause(False)
            connections.kept.append(upstream)

    def drop(self, upstream: Upstream) -> None:
        """Forgets one that has ended, or has answered."""
        connections = self._places.get(upstream.place)
        if not connections:
            return
        connections.waiting.discard(upstream)
        if upstream in connections.kept:
            connections.kept.remove(upstream)
        if not connections.kept and not connections.waiting:
            del self._places[upstream.place]

    def drop_unused(self) -> None:
        """Ends those that have been kept for long. To be called now and then."""
        oldest = time.monotonic() - KEPT_SECONDS
        self._end_kept(lambda upstream: upstream.since < oldest)

    def close(self) -> None:
        self._end_kept(lambda upstream: True)

    def _connections_of(self, place: Place) -> _Connections:
        if place not in self._places:
            self._places[place] = _Connections()
        return self._places[place]

    def _make_way(self, waiting: Upstream) -> None:
        connections = self._places.get(waiting.place)
        if connections and waiting in connections.waiting:
            for upstream in list(connections.kept):
                upstream.abort()

    def _end_kept(self, condition: Any) -> None:
        kept = [upstream for each in self._places.values() for upstream in each.kept]
        for upstream in filter(condition, kept):
            upstream.abort()


def _place_of(instance: Instance) -> Place:
    return instance.server_id, instance.port
