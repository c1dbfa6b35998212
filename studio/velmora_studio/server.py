"""The web server under the application: where it listens, and how it ends."""

import asyncio
import contextlib
import logging
import signal
import socket
from collections.abc import Callable, Iterator
from types import FrameType
from typing import Any

import uvicorn

HOST = "127.0.0.1"
MOST_PORTS = 100  # that are tried
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
        self._on_started()

    def _hear(self, number: signal.Signals) -> None:
        try:
            loop = asyncio.get_running_loop()
            loop.add_signal_handler(number, self.handle_exit, number, None)
        except NotImplementedError:  # not on every system
            signal.signal(number, self.handle_exit)

    async def shutdown(self, sockets: list[socket.socket] | None = None) -> None:
        cutting = asyncio.create_task(self._cut_off())
        try:
            await super().shutdown(sockets=sockets)
        finally:
            cutting.cancel()

    async def _cut_off(self) -> None:
        """Streams have no end of their own, and the server would wait for it."""
        while True:
            for connection in list(self.server_state.connections):
                connection.transport.abort()
            await asyncio.sleep(0.1)


def _worth_telling(record: logging.LogRecord) -> bool:
    """An answer that breaks off does so on purpose, and a malformed request needs one line."""
    if record.levelno < logging.ERROR:
        record.exc_info = None
    return "without completing response" not in record.getMessage()
