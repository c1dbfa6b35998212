"""Forwards WebSockets to utilities: messages as they are, and the way in which they end."""

from dataclasses import dataclass
from typing import Any

from websockets.exceptions import ConnectionClosed, InvalidHandshake, InvalidStatusCode
from websockets.legacy.client import WebSocketClientProtocol, connect

from velmora_studio.answers import answer
from velmora_studio.forward_address import Address
from velmora_studio.forward_headers import CookieNames, from_utility, to_utility
from velmora_studio.forward_targets import Targets
from velmora_studio.instances import Instance
from velmora_studio.notice_page import Cause, NotForwarded
from velmora_studio.upstream import until_first_ends

OPEN_SECONDS = 30.0
CLOSE_SECONDS = 1.0  # for the utility's part of the closing handshake
HANDSHAKE = b"sec-websocket-"  # these headers belong to one connection alone
# Codes that say how a connection ended and may not be sent: no code given, broken off, bad TLS.
TO_BROWSER = {1005: 1000, 1006: 1011, 1015: 1011}
TO_UTILITY = {1005: 1000, 1006: 1001, 1015: 1001}


class WebSocketForwarder:
    def __init__(self, targets: Targets, cookies: CookieNames) -> None:
        self._targets = targets
        self._cookies = cookies

    async def __call__(self, address: Address, scope: dict, receive: Any, send: Any) -> None:
        try:
            instance = await self._targets.find(address)
            utility = await self._connect(address, instance, scope)
        except InvalidStatusCode as refusal:
            await answer(scope, send, refusal.status_code, b"", [])
        except NotForwarded as reason:
            await self._targets.notice(address, reason).send(scope, receive, send)
        else:
            try:
                await receive()  # the browser's request to connect
                await send(self._acceptance(address, instance, utility))
                await _relay(receive, send, utility)
            finally:
                await utility.close()

    async def _connect(
        self, address: Address, instance: Instance, scope: dict
    ) -> WebSocketClientProtocol:
        """Lets `InvalidStatusCode` through: the utility has refused."""
        headers = to_utility(scope, address, instance.port, self._cookies)
        try:
            return await connect(
                _uri(address, instance.port, scope["query_string"]),
                host="127.0.0.1",
                port=instance.port,
                subprotocols=scope["subprotocols"] or None,
                extra_headers=_text_headers(headers),
                user_agent_header=None,
                open_timeout=OPEN_SECONDS,
                close_timeout=CLOSE_SECONDS,
                compression=None,
                max_size=None,
                ping_interval=None,  # a page or a utility that is stopped in a debugger stays
            )
        except InvalidStatusCode:
            raise
        except (OSError, InvalidHandshake, TimeoutError) as error:
            cause = Cause.malformed if isinstance(error, InvalidHandshake) else Cause.silent
            raise await self._targets.why_silent(address, instance, cause) from error
        except ValueError as error:
            raise NotForwarded(Cause.bad_request) from error

    def _acceptance(
        self, address: Address, instance: Instance, utility: WebSocketClientProtocol
    ) -> dict:
        given = [
            (name.lower().encode(), value.encode("utf-8", "surrogateescape"))
            for name, value in utility.response_headers.raw_items()
        ]
        headers = from_utility(given, address, instance.port, self._cookies)
        return {
            "type": "websocket.accept",
            "subprotocol": utility.subprotocol,
            "headers": [(n, v) for n, v in headers if not n.startswith(HANDSHAKE)],
        }


@dataclass(frozen=True)
class _End:
    """How a WebSocket has ended: who left, and what was said."""

    by_browser: bool
    code: int
    reason: str = ""


async def _relay(receive: Any, send: Any, utility: WebSocketClientProtocol) -> None:
    """Until either side has left; the other is told how."""
    end = await until_first_ends(_from_browser(receive, utility), _from_utility(send, utility))
    if end.by_browser:
        await utility.close(TO_UTILITY.get(end.code, end.code), end.reason)
    else:
        code = TO_BROWSER.get(end.code, end.code)
        await send({"type": "websocket.close", "code": code, "reason": end.reason})


async def _from_browser(receive: Any, utility: WebSocketClientProtocol) -> _End:
    while (message := await receive())["type"] == "websocket.receive":
        text = message.get("text")
        try:
            await utility.send(message["bytes"] if text is None else text)
        except ConnectionClosed as end:
            return _End(False, end.code, end.reason)
    return _End(True, message["code"])


async def _from_utility(send: Any, utility: WebSocketClientProtocol) -> _End:
    while True:
        try:
            data = await utility.recv()
        except ConnectionClosed as end:
            return _End(False, end.code, end.reason)
        try:
            await send({"type": "websocket.send", _kind(data): data})
        except ConnectionClosed as end:
            return _End(True, end.code, end.reason)


def _kind(data: str | bytes) -> str:
    return "text" if isinstance(data, str) else "bytes"


def _uri(address: Address, port: int, query: bytes) -> str:
    path = (address.path or b"/").decode("ascii", "surrogateescape")
    return f"ws://localhost:{port}{path}" + (f"?{query.decode()}" if query else "")


def _text_headers(headers: list[tuple[bytes, bytes]]) -> list[tuple[str, str]]:
    return [
        (name.decode(), value.decode("latin-1"))
        for name, value in headers
        if name != b"host" and not name.startswith(HANDSHAKE)
    ]
