"""The port where utilities are shown: what a request means, and who answers it."""

import asyncio
import logging
import socket
import time
from functools import lru_cache
from pathlib import Path

from velmora_client.data_directory import data_directory

from velmora_studio.answers import JSON_HEADERS, Answer, json_text
from velmora_studio.forward_address import parse_address
from velmora_studio.forward_connection import BrowserConnection
from velmora_studio.forward_cookies import Cookies
from velmora_studio.forward_exchange import Exchange
from velmora_studio.forward_targets import Targets
from velmora_studio.forward_visit import Visit
from velmora_studio.forward_websocket import WebSocketExchange
from velmora_studio.guard import ForwardGuard, framing_policy
from velmora_studio.http_request import Request
from velmora_studio.notice_page import stranger_answer
from velmora_studio.operations import Operations
from velmora_studio.token import Token
from velmora_studio.upstream import Pool

ROUND_SECONDS = 1.0
MOST_REMEMBERED = 64  # requests
IDLE_SECONDS = 60.0  # of a browser's connection
MARK = Path(__file__).resolve().parent / "page" / "mark.svg"
MARK_HEADERS = [(b"content-type", b"image/svg+xml"), (b"cache-control", b"no-cache")]


class ForwardServer:
    """Serves from `start` until `close`."""

    def __init__(self, operations: Operations, port: int, token: Token) -> None:
        self.targets = Targets(operations)
        self.cookies = Cookies(data_directory() / "cookie_names.json")
        self.pool = Pool()
        self.framing_policy = framing_policy(operations.own_origin).encode()
        self.connections: set[BrowserConnection] = set()
        self._operations = operations
        self._guard = ForwardGuard(port)
        self._token = token
        self._server: asyncio.Server | None = None
        self._rounds: asyncio.Task | None = None
        self._reception = lru_cache(MOST_REMEMBERED)(self._receive)

    async def start(self, listener: socket.socket) -> None:
        loop = asyncio.get_running_loop()
        self._server = await loop.create_server(lambda: BrowserConnection(self), sock=listener)
        self._rounds = asyncio.create_task(self._make_rounds())

    def close(self) -> None:
        self._rounds.cancel()
        self._server.close()
        for connection in list(self.connections):
            connection.abort()
        self.pool.close()
        self.cookies.save()

    def handle(self, connection: BrowserConnection, request: Request) -> None:
        meant = self._reception(request)
        if not isinstance(meant, Visit):
            connection.answer(*meant)
        elif request.wants_websocket:
            WebSocketExchange(self, connection, meant).begin()
        else:
            Exchange(self, connection, meant).begin()

    def _receive(self, request: Request) -> Visit | Answer:
        """The utility that the request may be forwarded to, or the answer in its place."""
        refusal = self._guard.refusal(request.method.decode(), "", request.headers)
        if refusal:
            return _answer_json(*refusal)
        if not self._token.is_in(request.headers):
            return stranger_answer(request.headers)
        if request.path == b"/favicon.ico":  # for a utility whose page names no icon
            return 200, MARK_HEADERS, MARK.read_bytes()
        address = parse_address(request.path)
        if address is None:
            return _answer_json(404, "Not Found")
        if not address.path and not request.wants_websocket:
            # Utilities use relative links, which need the slash.
            location = address.prefix.encode() + b"/" + request.query
            return 307, [(b"location", location)], b""
        return Visit(request, address)

    async def _make_rounds(self) -> None:
        while True:
            await asyncio.sleep(ROUND_SECONDS)
            try:
                self._close_idle()
                await self._end_what_is_not_allowed()
            except Exception:
                logging.exception("the connections can't be looked after")

    def _close_idle(self) -> None:
        oldest = time.monotonic() - IDLE_SECONDS
        for connection in list(self.connections):
            if not connection.handler and connection.idle_since < oldest:
                connection.abort()
        self.pool.drop_unused()
        self.cookies.save()

    async def _end_what_is_not_allowed(self) -> None:
        """Streams and WebSockets last; the user's right to them may not."""
        places = {each.place for each in self.connections if each.handler and each.place}
        for place in places:
            if not await self._operations.may_use(*place):
                for connection in list(self.connections):
                    if connection.handler and connection.place == place:
                        connection.end()


def _answer_json(status: int, message: str) -> Answer:
    return status, JSON_HEADERS, json_text({"detail": message}).encode()
