"""The live state: tells every open page how things stand, and from then on what changes."""

import asyncio
import logging
from collections.abc import AsyncIterator, Iterator
from typing import Any

from starlette.responses import Response
from starlette.types import Receive, Scope, Send

from velmora_studio.answers import json_text
from velmora_studio.operations import Operations
from velmora_studio.studio_state import describe_all, describe_studio

SAMPLE_SECONDS = 2.0
SIGN_OF_LIFE_SECONDS = 15.0
READ_SECONDS = 0.2  # that news wait for the client's files
LARGEST_EVENT = 12_000  # characters, of which a single value may need more

State = dict[str, dict[str, Any]]


class Client:
    """One open page: knows what the page has been told."""

    def __init__(self) -> None:
        self._told: State | None = None
        self._state: State = {}
        self._news = asyncio.Event()

    def offer(self, state: State) -> None:
        if state != self._told:
            self._state = state
            self._news.set()

    async def pieces(self) -> AsyncIterator[bytes]:
        while True:
            try:
                async with asyncio.timeout(SIGN_OF_LIFE_SECONDS):
                    await self._news.wait()
            except TimeoutError:
                yield b": all is as it was\n\n"
                continue
            self._news.clear()
            told, self._told = self._told, self._state
            for change in changes(told, self._state):
                yield f"event: change\ndata: {json_text(change)}\n\n".encode()


def changes(before: State | None, after: State) -> Iterator[dict[str, Any]]:
    """What leads from one state to the next, in pieces. A value of null takes a key away. The first
    piece for a page that knows nothing is `fresh`; all but the last say that there is `more`."""
    piece: dict[str, Any] = {"fresh": True} if before is None else {}
    size = 0
    for section, key, value in _differences(before or {}, after):
        if size > LARGEST_EVENT:
            yield piece | {"more": True}
            piece, size = {}, 0
        piece.setdefault(section, {})[key] = value
        size += len(key) + len(json_text(value))
    if piece:
        yield piece


def _differences(before: State, after: State) -> Iterator[tuple[str, str, Any]]:
    for section, values in after.items():
        old = before.get(section, {})
        for key in old.keys() - values.keys():
            yield section, key, None
        for key, value in values.items():
            if key not in old or old[key] != value:
                yield section, key, value


class Live:
    """Describes the state while somebody watches: at once when `change` is called, and now and then
    for what nobody tells. What the manager knows is listed meanwhile, and never waited for."""

    def __init__(self, operations: Operations) -> None:
        self._operations = operations
        self._clients: set[Client] = set()
        self._publisher: asyncio.Task | None = None
        self._studio: dict[str, Any] = {}
        self._reading: asyncio.Task | None = None  # of the studio
        self._wake = asyncio.Event()
        operations.running.on_change = self.change

    def change(self) -> None:
        self._wake.set()

    def add(self, client: Client) -> None:
        self._clients.add(client)
        self._wake.set()
        if self._publisher is None or self._publisher.done():
            self._publisher = asyncio.create_task(self._publish_while_watched())

    def remove(self, client: Client) -> None:
        self._clients.discard(client)
        self._wake.set()

    async def _publish_while_watched(self) -> None:
        self._studio = {}
        self._operations.running.table.look_again()
        while self._clients:
            self._wake.clear()
            try:
                await self._publish()
            except Exception:
                logging.exception("the state of the utilities can't be had")
            try:
                async with asyncio.timeout(SAMPLE_SECONDS):
                    await self._wake.wait()
            except TimeoutError:
                self._operations.running.table.look_again()

    async def _publish(self) -> None:
        studio = await self._present_studio()
        state = await asyncio.to_thread(describe_all, self._operations, studio)
        for client in list(self._clients):
            client.offer(state)

    async def _present_studio(self) -> dict[str, Any]:
        """As the client's files tell. Where they take their time, what they told last does."""
        if self._reading is None or self._reading.done():
            reading = asyncio.to_thread(describe_studio, self._operations)
            self._reading = asyncio.create_task(reading)
        await asyncio.wait({self._reading}, timeout=READ_SECONDS if self._studio else None)
        if self._reading.done():
            self._studio = self._reading.result()
        else:
            self._reading.add_done_callback(lambda reading: self._wake.set())
        return self._studio


class LiveAnswer(Response):
    """A stream of changes. Ends with its connection."""

    def __init__(self, live: Live) -> None:
        super().__init__(media_type="text/event-stream")
        del self.headers["content-length"]
        self.headers["cache-control"] = "no-store"
        self._live = live
        self._client = Client()

    async def __call__(self, scope: Scope, receive: Receive, send: Send) -> None:
        self._live.add(self._client)
        sending = asyncio.create_task(self._send(send))
        try:
            while (await receive())["type"] != "http.disconnect":
                pass
        finally:
            self._live.remove(self._client)
            sending.cancel()
            await asyncio.gather(sending, return_exceptions=True)

    async def _send(self, send: Send) -> None:
        start = {"type": "http.response.start", "status": 200, "headers": self.raw_headers}
        await send(start)
        async for piece in self._client.pieces():
            await send({"type": "http.response.body", "body": piece, "more_body": True})
