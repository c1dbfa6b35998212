"""The live state: tells every open page how things stand, at once and after each change."""

import asyncio
import logging
from collections.abc import AsyncIterator
from typing import Any

from starlette.responses import Response
from starlette.types import Receive, Scope, Send

from velmora_studio.answers import json_text
from velmora_studio.operations import Operations
from velmora_studio.studio_state import describe_studio, show_places, show_running
from velmora_studio.upstream import until_first_ends

SAMPLE_SECONDS = 2.0
SIGN_OF_LIFE_SECONDS = 15.0


class Client:
    """One open page: holds the newest state until it is sent; what is older is left out."""

    def __init__(self, group_name: str) -> None:
        self.group_name = group_name
        self._state = ""
        self._news = asyncio.Event()

    def offer(self, state: str) -> None:
        if state != self._state:
            self._state = state
            self._news.set()

    async def pieces(self) -> AsyncIterator[bytes]:
        while True:
            try:
                async with asyncio.timeout(SIGN_OF_LIFE_SECONDS):
                    await self._news.wait()
            except TimeoutError:
                yield b": all is as it was\n\n"
            else:
                self._news.clear()
                yield f"event: state\ndata: {self._state}\n\n".encode()


class Live:
    """Looks at the manager only while somebody watches, and at once when `change` is called."""

    def __init__(self, operations: Operations) -> None:
        self._operations = operations
        self._clients: set[Client] = set()
        self._sampler: asyncio.Task | None = None
        self._wake = asyncio.Event()
        self._samples: dict[str, dict[str, Any]] = {}  # by group
        self._publishing = asyncio.Lock()
        self._tasks: set[asyncio.Task] = set()
        operations.on_change = self.change

    def change(self) -> None:
        """Tells what the Studio itself knows right away; the manager may be busy for a while."""
        if self._clients:
            self._wake.set()
            task = asyncio.create_task(self._publish())
            self._tasks.add(task)
            task.add_done_callback(self._tasks.discard)

    def add(self, client: Client) -> None:
        self._clients.add(client)
        self._wake.set()
        if self._sampler is None or self._sampler.done():
            self._sampler = asyncio.create_task(self._sample_while_watched())

    def remove(self, client: Client) -> None:
        self._clients.discard(client)
        self._wake.set()

    async def _sample_while_watched(self) -> None:
        while self._clients:
            self._wake.clear()
            try:
                await self._sample()
                await self._publish()
            except Exception:
                logging.exception("the state of the utilities can't be had")
            try:
                async with asyncio.timeout(SAMPLE_SECONDS):
                    await self._wake.wait()
            except TimeoutError:
                pass
        self._samples = {}

    async def _sample(self) -> None:
        groups = {client.group_name for client in self._clients}
        changes = self._operations.table.changes
        samples, entries = await self._operations.look(self._look, groups)
        self._operations.note_listing(entries, changes)
        self._samples = samples

    def _look(self, groups: set[str]) -> tuple[dict[str, dict[str, Any]], list[dict[str, Any]]]:
        """In a worker thread."""
        manager = self._operations.manager
        studio = describe_studio()
        entries = manager.list_utility_servers()
        running = show_running(self._operations, entries)
        samples = {
            group: {"studio": studio, "places": show_places(manager, group), "running": running}
            for group in groups
        }
        return samples, entries

    async def _publish(self) -> None:
        async with self._publishing:
            starting = await self._visible(self._operations.starting)
            failures = await self._visible(self._operations.failures)
            own = {"starting": starting, "failures": failures}
            for group, sample in self._samples.items():
                state = json_text(sample | own)
                for client in self._clients:
                    if client.group_name == group:
                        client.offer(state)

    async def _visible(self, items: list[dict[str, Any]]) -> list[dict[str, Any]]:
        may_use = self._operations.may_use
        return [
            item for item in list(items) if await may_use(item["utility_name"], item["group_name"])
        ]


class LiveAnswer(Response):
    """A stream of states. Ends with its connection."""

    def __init__(self, live: Live, group_name: str) -> None:
        super().__init__(media_type="text/event-stream")
        del self.headers["content-length"]
        self.headers["cache-control"] = "no-store"
        self._live = live
        self._client = Client(group_name)

    async def __call__(self, scope: Scope, receive: Receive, send: Send) -> None:
        self._live.add(self._client)
        try:
            await until_first_ends(self._send(send), self._wait_for_end(receive))
        finally:
            self._live.remove(self._client)

    async def _send(self, send: Send) -> None:
        start = {"type": "http.response.start", "status": 200, "headers": self.raw_headers}
        await send(start)
        async for piece in self._client.pieces():
            await send({"type": "http.response.body", "body": piece, "more_body": True})

    async def _wait_for_end(self, receive: Receive) -> None:
        while (await receive())["type"] != "http.disconnect":
            pass
