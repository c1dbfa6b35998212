"""What stands behind a browser's connection: who answers its requests."""

from __future__ import annotations

from typing import TYPE_CHECKING, Protocol

from velmora_studio.http_request import Request

if TYPE_CHECKING:
    from velmora_studio.forward_connection import BrowserConnection



class Handler(Protocol):
    """Sees to one request."""

    def body(self, content: bytes, last: bool) -> None: ...

    def browser_is_full(self, full: bool) -> None: ...

    def abandon(self) -> None:
        """The browser has gone, or must go."""


class Tunnel(Handler, Protocol):
    """The handler of a connection that has switched protocols."""

    def from_browser(self, data: bytes) -> None: ...

    def end(self) -> None:
        """Tells both sides, and ends them."""


class Server(Protocol):
    connections: set[BrowserConnection]

    def handle(self, connection: BrowserConnection, request: Request) -> None:
        """Answers the request, or gives the connection a handler that will."""
