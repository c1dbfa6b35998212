"""The web server under the application: where it listens, and how it ends."""

import asyncio
import contextlib
import logging
import signal
import socket
import time
from collections.abc import Callable, Iterator
from types import FrameType
from typing import Any

import uvicorn

HOST = "127.0.0.1"
MOST_PORTS = 100  # that are tried
ROUND_SECONDS = 5.0
LONGEST_SILENCE = 20.0  # seconds until the next request must have come whole
ENDING = {"SIGINT", "SIGTERM", "SIGHUP"}


def open_listener(first_port: int) -> socket.socket:
    """Listens on the first free port from `first_port` on. Fails with `OSError`."""
    for port in range(first_port, first_port + MOST_PORTS):
        # With its protocol named, asyncio sends short answers without delay.
        listener = socket.socket(socket.AF_INET, socket.SOCK_STREAM, socket.IPPROTO_TCP)
        try:
            if hasattr(signal, "SIGHUP"):  # elsewhere this option would share the port
                listener.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
            listener.bind((HOST, port))
            listener.listen(2048)  # at once: two that are merely bound can have the same port
            return listener
        except OSError:
            listener.close()
    raise OSError(f"no free port from {first_port} to {first_port + MOST_PORTS - 1}")


class StudioServer(uvicorn.Server):
    """Serves until SIGINT, SIGTERM or SIGHUP; then whoever still listens is cut off."""

    def __init__(
        self, application: Any, on_started: Callable[[], None], on_ending: Callable[[], None]
    ) -> None:
        super().__init__(
            uvicorn.Config(
                application,
                http="h11",
                ws="none",
                lifespan="off",
                log_config=None,
                log_level="warning",
                access_log=False,
                proxy_headers=False,  # any program of this computer could send them
                server_header=False,
                date_header=False,
            )
        )
        self._silence = Silence()
        self._rounds: asyncio.Task | None = None
        self._on_started = on_started
        self._on_ending = on_ending
        logging.getLogger("uvicorn.error").addFilter(_worth_telling)

    # What of these two there is depends on uvicorn's version; `startup` does their work.
    def install_signal_handlers(self) -> None: ...

    @contextlib.contextmanager
    def capture_signals(self) -> Iterator[None]:
        yield

    def handle_exit(self, sig: int, frame: FrameType | None) -> None:
        if not self.should_exit:
            self._on_ending()
        super().handle_exit(sig, frame)

    async def startup(self, sockets: list[socket.socket] | None = None) -> None:
        for name in ENDING & set(signal.Signals.__members__):
            self._hear(signal.Signals[name])
        await super().startup(sockets=sockets)
        self._rounds = asyncio.create_task(self._make_rounds())
        self._on_started()

    def _hear(self, number: signal.Signals) -> None:
        try:
            loop = asyncio.get_running_loop()
            loop.add_signal_handler(number, self.handle_exit, number, None)
        except NotImplementedError:  # not on every system
            signal.signal(number, self.handle_exit)

    async def shutdown(self, sockets: list[socket.socket] | None = None) -> None:
        self._rounds.cancel()
        cutting = asyncio.create_task(self._cut_off())
        try:
            await super().shutdown(sockets=sockets)
        finally:
            cutting.cancel()

    async def _make_rounds(self) -> None:
        """The server below waits for the rest of a request for ever."""
        while True:
            await asyncio.sleep(ROUND_SECONDS)
            for connection in self._silence.too_long(self.server_state.connections):
                connection.transport.abort()

    async def _cut_off(self) -> None:
        """Streams have no end of their own, and the server would wait for it."""
        while True:
            for connection in list(self.server_state.connections):
                connection.transport.abort()
            await asyncio.sleep(0.1)


class Silence:
    """Since when connections have had no request to answer."""

    def __init__(self) -> None:
        self._known: dict[Any, tuple[Any, float]] = {}  # the latest request, and the time

    def too_long(self, connections: set[Any]) -> list[Any]:
        """To be called now and then, with all there are."""
        now = time.monotonic()
        before, self._known = self._known, {}
        for connection in connections:
            latest = connection.cycle
            if latest is None or latest.response_complete:
                seen, since = before.get(connection, (None, now))
                self._known[connection] = latest, since if seen is latest else now
        return [each for each, (_, at) in self._known.items() if now - at > LONGEST_SILENCE]


def _worth_telling(record: logging.LogRecord) -> bool:
    """An answer that breaks off does so on purpose, and a malformed request needs one line."""
    if record.levelno < logging.ERROR:
        record.exc_info = None
    return "without completing response" not in record.getMessage()
