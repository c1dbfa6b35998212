"""One HTTP exchange with a utility, on a connection of its own.

Both directions stream at the same time, and bytes of address and headers go out as they are given.
"""

import asyncio
import socket
from collections.abc import Coroutine
from typing import Any, TypeVar

import h11

CHUNK = 65536  # bytes read at once
LONGEST_HEAD = 1 << 20  # bytes
CONNECT_SECONDS = 10.0  # a full backlog answers neither yes nor no

Headers = list[tuple[bytes, bytes]]
Result = TypeVar("Result")


class Upstream:
    """A connection to a port of this computer. `close` ends it at once, whatever goes on."""

    def __init__(self, connected: socket.socket) -> None:
        self._socket = connected
        self._http = h11.Connection(h11.CLIENT, max_incomplete_event_size=LONGEST_HEAD)
        self._takes_body = True
        self._heard = False

    @classmethod
    async def connect(cls, port: int) -> "Upstream":
        """Fails with `OSError`, of which a time-out is one."""
        connecting = socket.socket(socket.AF_INET, socket.SOCK_STREAM)
        try:
            connecting.setblocking(False)
            connecting.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
            async with asyncio.timeout(CONNECT_SECONDS):
                loop = asyncio.get_running_loop()
                await loop.sock_connect(connecting, ("127.0.0.1", port))
        except BaseException:
            connecting.close()
            raise
        return cls(connecting)

    async def send_head(self, method: str, target: bytes, headers: Headers) -> None:
        """Fails with `OSError`, or with `h11.LocalProtocolError` on a head that may not be sent."""
        await self._send(h11.Request(method=method, target=target, headers=headers))

    async def send_body(self, data: bytes, last: bool) -> None:
        """Sends a piece. A utility may answer before it has read everything and close its end: then
        the rest goes nowhere, and the answer can still be read."""
        if not self._takes_body:
            return
        try:
            await self._send(h11.Data(data=data))
            if last:
                await self._send(h11.EndOfMessage())
        except OSError:
            self._takes_body = False

    async def next_event(self) -> h11.Event:
        """The next part of the answer. Fails with `OSError` where there is none at all, and with
        `h11.RemoteProtocolError` where it makes no sense or breaks off."""
        while (event := self._http.next_event()) is h11.NEED_DATA:
            received = await asyncio.get_running_loop().sock_recv(self._socket, CHUNK)
            if not received and not self._heard:
                raise ConnectionResetError("the connection was closed without an answer")
            self._heard = True
            self._http.receive_data(received)
        return event

    def close(self) -> None:
        """To be called when no task sends or reads any more."""
        self._socket.close()

    async def _send(self, event: h11.Event) -> None:
        data = self._http.send(event)
        if data:
            await asyncio.get_running_loop().sock_sendall(self._socket, data)


async def until_first_ends(*coroutines: Coroutine[Any, Any, Result]) -> Result:
    """Runs all until one has ended, ends the others, and gives the result or failure of that one;
    of several at once, that of the first in the list."""
    tasks = [asyncio.ensure_future(coroutine) for coroutine in coroutines]
    try:
        ended, _ = await asyncio.wait(tasks, return_when=asyncio.FIRST_COMPLETED)
    finally:
        for task in tasks:
            task.cancel()
        await asyncio.gather(*tasks, return_exceptions=True)
    return next(task for task in tasks if task in ended).result()
