"""What stands behind a browser's connection: who answers its requests."""

from typing import Protocol


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
