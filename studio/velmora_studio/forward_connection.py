"""A browser's connection to the port where utilities are shown: one request after the other."""

import asyncio
import time
from typing import Any, Protocol

from velmora_studio.answers import Headers
from velmora_studio.forward_roles import Handler, Tunnel
from velmora_studio.http_answer import head_of, phrase
from velmora_studio.http_body import Body, body_of
from velmora_studio.http_fields import BadMessage
from velmora_studio.http_request import LONGEST_HEAD, Request, parse_request
from velmora_studio.instances import Place
from velmora_studio.paced_reading import LARGE, PacedReading

LONGEST_WAITING = 65536  # bytes that wait for their turn
LINGER_SECONDS = 2.0  # to send the rest of a request that is answered already
CONTINUE = b"HTTP/1.1 100 Continue\r\n\r\n"


class Server(Protocol):
    connections: set["BrowserConnection"]

    def handle(self, connection: "BrowserConnection", request: Request) -> None:
        """Answers the request, or gives the connection a handler that will."""


class BrowserConnection(asyncio.Protocol):
    """The handler of a request calls `accept_body`, and `write` and `finish`, or `answer` in their
    place, or `abort`."""

    def __init__(self, server: Server) -> None:
        self.idle_since = time.monotonic()
        self.handler: Handler | None = None
        self.place: Place | None = None  # of the utility that the last request was for
        self.transport: asyncio.Transport
        self._server = server
        self._request: Request | None = None
        self._body: Body | None = None  # what is still to come of the request
        self._takes_body = self._is_answered = False
        self._is_holding = self._is_full = False
        self._reading: PacedReading
        self._tunnel: Tunnel | None = None
        self._waiting = b""
        self._lingering: asyncio.TimerHandle | None = None

    def accept_body(self) -> None:
        """From here on the handler takes the body of the request."""
        self._takes_body = True
        if self._body:
            if self._request.value(b"expect").lower() == b"100-continue":
                self.transport.write(CONTINUE)
            self._advance()

    def hold(self, hold: bool) -> None:
        """Whether what the browser sends is to wait."""
        self._is_holding = hold
        self._pause_or_resume()

    def write(self, data: bytes) -> None:
        self.transport.write(data)

    def finish(self) -> None:
        """The answer is complete. The next request is taken when this one has ended, too."""
        self.handler, self._is_answered, self._takes_body = None, True, True
        self._is_holding = False
        if self._body:
            loop = asyncio.get_running_loop()
            self._lingering = loop.call_later(LINGER_SECONDS, self.abort)
            self._advance()
        else:
            self._end_request()
        self._pause_or_resume()

    def answer(self, status: int, headers: Headers, body: bytes) -> None:
        """An answer of the Studio's own."""
        length = (b"content-length", b"%d" % len(body))
        end = [] if self._request.keep_alive else [(b"connection", b"close")]
        head = head_of(status, phrase(status), [*headers, length, *end]) + b"\r\n"
        self.write(head if self._request.method == b"HEAD" else head + body)
        self.finish()

    def switch(self, tunnel: Tunnel) -> None:
        """From here on the connection belongs to `tunnel`."""
        self.handler = self._tunnel = tunnel
        waiting, self._waiting = self._waiting, b""
        if waiting:
            tunnel.from_browser(waiting)

    def abort(self) -> None:
        self.transport.abort()

    def end(self) -> None:
        """Ends whatever goes on."""
        if self._tunnel:
            self._tunnel.end()
        else:
            self.abort()

    def connection_made(self, transport: Any) -> None:
        self.transport = transport
        self._reading = PacedReading(transport)
        self._server.connections.add(self)

    def connection_lost(self, error: Exception | None) -> None:
        self._server.connections.discard(self)
        handler, self.handler, self._tunnel = self.handler, None, None
        self._waiting = b""
        if handler:
            handler.abandon()

    def data_received(self, data: bytes) -> None:
        if len(data) >= LARGE:
            self._reading.took_much()
        if self._tunnel:
            self._tunnel.from_browser(data)
            return
        self._waiting = self._waiting + data if self._waiting else data
        self._advance()

    def eof_received(self) -> None:
        if self.handler:
            self.abort()

    def pause_writing(self) -> None:
        self._tell_full(True)

    def resume_writing(self) -> None:
        self._tell_full(False)
        self._advance()

    def _tell_full(self, full: bool) -> None:
        self._is_full = full
        if self.handler:
            self.handler.browser_is_full(full)

    def _advance(self) -> None:
        """Takes what has come, as far as it can be used now."""
        try:
            while self._waiting and not self.transport.is_closing():
                took = self._take_body() if self._request else self._take_head()
                if not took:
                    break
        except BadMessage as error:
            self._refuse(error)
        self._pause_or_resume()

    def _take_head(self) -> bool:
        if self._is_full:  # whoever asks on and on has to read as well
            return False
        end = self._waiting.find(b"\r\n\r\n")
        if end > LONGEST_HEAD or end < 0 and len(self._waiting) > LONGEST_HEAD:
            raise BadMessage(431, "the head is too long")
        if end < 0:
            return False
        head, self._waiting = self._waiting[:end], self._waiting[end + 4 :]
        request = self._request = parse_request(head.lstrip(b"\r\n"))
        self._body = body_of(request.length) if request.length else None
        self._takes_body = self._is_answered = False
        self._server.handle(self, request)
        return True

    def _take_body(self) -> bool:
        if not self._body or not self._takes_body:
            return False
        content, self._waiting = self._body.feed(self._waiting)
        done = self._body.done
        if done:
            self._body = None
        if self.handler:
            self.handler.body(content, done)
        elif done:
            self._end_request()
        return True

    def _end_request(self) -> None:
        request, self._request = self._request, None
        self.idle_since = time.monotonic()
        if self._lingering:
            self._lingering.cancel()
            self._lingering = None
        if not request.keep_alive:
            self.transport.close()
        elif self._waiting:
            asyncio.get_running_loop().call_soon(self._advance)

    def _refuse(self, error: BadMessage) -> None:
        """Nothing that comes after a message in doubt can be trusted."""
        self._waiting = b""
        if self.handler or self._is_answered:
            self.abort()
            return
        headers = [(b"content-length", b"0"), (b"connection", b"close")]
        self.write(head_of(error.status, phrase(error.status), headers) + b"\r\n")
        self.transport.close()

    def _pause_or_resume(self) -> None:
        self._reading.pause(self._is_holding or len(self._waiting) > LONGEST_WAITING)
