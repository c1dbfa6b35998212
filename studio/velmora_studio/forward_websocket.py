"""WebSockets: the handshake goes through the Studio, the frames go through as they are."""

import asyncio
import base64
import binascii
import hashlib

from velmora_studio.forward_connection import BrowserConnection
from velmora_studio.forward_exchange import Exchange
from velmora_studio.forward_headers import from_utility
from velmora_studio.http_answer import (
    HIGHEST_STATUS,
    LOWEST_STATUS,
    SWITCHING_PROTOCOLS,
    AnswerHead,
    head_of,
)
from velmora_studio.http_fields import BadMessage, lines_of, tokens_of
from velmora_studio.http_request import Request
from velmora_studio.notice_page import Cause
from velmora_studio.upstream import Upstream
from velmora_studio.websocket_frames import Frames, close_frame

MAGIC = b"258EAFA5-E914-47DA-95CA-C5AB0DC85B11"
VERSION = b"13"
HANDSHAKE = b"sec-websocket-"
SWITCH = [(b"upgrade", b"websocket"), (b"connection", b"Upgrade")]
GOING_AWAY, NO_LONGER_ALLOWED, BROKEN_OFF = 1001, 1008, 1011
CLOSE_SECONDS = 1.0  # to take what has been sent


class WebSocketExchange(Exchange):
    """The opening handshake. Its answer is that of the instance; nothing else is asked."""

    def begin(self) -> None:
        request = self._request
        if request.method != b"GET" or not request.is_http_1_1 or request.length:
            self._connection.answer(400, [], b"")
        elif request.value(b"sec-websocket-version") != VERSION:
            self._connection.answer(426, [(b"sec-websocket-version", VERSION)], b"")
        elif not _is_key(request.value(b"sec-websocket-key")):
            self._connection.answer(400, [], b"")
        else:
            super().begin()

    def received(self, data: bytes) -> None:
        self._heard = True
        try:
            self._reader.feed(data)
            if self._reader.head:
                self._settle(self._reader.head)
        except BadMessage:
            self._fail(Cause.malformed)

    def _may_be_repeated(self) -> bool:
        return False

    def _head(self) -> bytes:
        return super()._head().removesuffix(b"\r\n") + lines_of(SWITCH) + b"\r\n"

    def _settle(self, head: AnswerHead) -> None:
        if head.status != SWITCHING_PROTOCOLS:
            self._refuse(head.status)
            return
        _check_acceptance(head, self._request)
        self._forwarder.cookies.note(self._address.prefix, head.headers)
        headers = from_utility(head.headers, self._address, self._instance.port)
        self._connection.write(head_of(head.status, head.reason, headers + SWITCH) + b"\r\n")
        upstream, self._upstream = self._upstream, None
        tunnel = WebSocketTunnel(self._connection, upstream)
        if self._reader.rest:
            tunnel.received(self._reader.rest)
        self._connection.switch(tunnel)

    def _refuse(self, status: int) -> None:
        """Whoever opens WebSockets learns no more than the status."""
        if not LOWEST_STATUS <= status <= HIGHEST_STATUS:
            raise BadMessage(502, "no proper answer")
        upstream, self._upstream = self._upstream, None
        upstream.abort()
        self._connection.answer(status, [], b"")


class WebSocketTunnel:
    """Hands on what either side sends. The one that stays is told how the other has gone."""

    def __init__(self, connection: BrowserConnection, upstream: Upstream) -> None:
        self._connection = connection
        self._upstream = upstream
        self._of_browser, self._of_utility = Frames(), Frames()
        upstream.user = self

    def from_browser(self, data: bytes) -> None:
        self._of_browser.feed(data)
        self._upstream.write(data)

    def received(self, data: bytes) -> None:
        self._of_utility.feed(data)
        self._connection.write(data)

    def browser_is_full(self, full: bool) -> None:
        self._upstream.pause(full)

    def utility_is_full(self, full: bool) -> None:
        self._connection.hold(full)

    def body(self, content: bytes, last: bool) -> None:
        """There is none."""

    def abandon(self) -> None:
        self._end_utility()

    def lost(self, error: Exception | None) -> None:
        self._end_browser(BROKEN_OFF)

    def end(self) -> None:
        self._end_browser(NO_LONGER_ALLOWED)
        self._end_utility()

    def _end_utility(self) -> None:
        if self._of_browser.is_between and not self._of_browser.has_closed:
            self._upstream.write(close_frame(GOING_AWAY, masked=True))
        self._upstream.close()
        _abort_later(self._upstream.transport)

    def _end_browser(self, code: int) -> None:
        self._connection.handler = None
        if self._of_utility.is_between and not self._of_utility.has_closed:
            self._connection.write(close_frame(code, masked=False))
        self._connection.transport.close()
        _abort_later(self._connection.transport)


def _check_acceptance(head: AnswerHead, request: Request) -> None:
    """That the utility has opened the WebSocket that was asked for. Fails with `BadMessage`."""
    key = request.value(HANDSHAKE + b"key")
    accept = base64.b64encode(hashlib.sha1(key + MAGIC).digest())
    values = dict(head.headers)
    offered = tokens_of(request.headers, HANDSHAKE + b"protocol")
    chosen = tokens_of(head.headers, HANDSHAKE + b"protocol")
    if (
        values.get(HANDSHAKE + b"accept") != accept
        or values.get(b"upgrade", b"").lower() != b"websocket"
        or HANDSHAKE + b"extensions" in values
        or chosen and (len(chosen) > 1 or chosen[0] not in offered)
    ):
        raise BadMessage(502, "not the WebSocket that was asked for")


def _is_key(key: bytes) -> bool:
    try:
        return len(base64.b64decode(key, validate=True)) == 16
    except binascii.Error:
        return False


def _abort_later(transport: asyncio.Transport) -> None:
    asyncio.get_running_loop().call_later(CLOSE_SECONDS, transport.abort)
