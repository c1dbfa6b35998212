"""The whole application, as the web server calls it."""

from typing import Any

from velmora_studio.answers import answer
from velmora_studio.forward_address import parse_address, raw_path_of
from velmora_studio.forward_headers import CookieNames
from velmora_studio.forward_http import HttpForwarder
from velmora_studio.forward_targets import Targets
from velmora_studio.forward_websocket import WebSocketForwarder
from velmora_studio.guard import Guard, with_own_page_headers
from velmora_studio.operations import Operations
from velmora_studio.routes import make_api


class Application:
    """Addresses of utilities are told from the Studio's own by the path as it was sent. No
    framework decodes, redirects or buffers what is forwarded."""

    def __init__(self, operations: Operations) -> None:
        targets, cookies = Targets(operations), CookieNames()
        self._http = HttpForwarder(targets, cookies)
        self._websocket = WebSocketForwarder(targets, cookies)
        self._own = with_own_page_headers(make_api(operations))

    async def __call__(self, scope: dict, receive: Any, send: Any) -> None:
        address = parse_address(raw_path_of(scope))
        if address is None and scope["type"] == "websocket":
            await answer(scope, send, 404, b"", [])
        elif address is None:
            await self._own(scope, receive, send)
        elif scope["type"] == "websocket":
            await self._websocket(address, scope, receive, send)
        else:
            await self._http(address, scope, receive, send)


def make_application(operations: Operations, port: int) -> Guard:
    return Guard(Application(operations), port)
