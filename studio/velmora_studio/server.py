"""The web server under the application: where it listens, and how it ends."""

import asyncio
import http
import logging
import signal
import socket
from collections.abc import Callable
from types import FrameType
from typing import Any

import uvicorn
from uvicorn.protocols.websockets.websockets_impl import WebSocketProtocol

HOST = "127.0.0.1"
MOST_PORTS = 100  # that are tried


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
                ws=WebSocketWithRefusal,
                lifespan="off",
                log_config=None,
                log_level="warning",
                access_log=False,
                proxy_headers=False,  # any program of this computer could send them
                server_header=False,
                date_header=False,
                ws_max_size=None,
                ws_ping_interval=None,
                ws_per_message_deflate=False,
            )
        )
        self._on_started = on_started
        self._on_ending = on_ending
        logging.getLogger("uvicorn.error").addFilter(_worth_telling)

    def install_signal_handlers(self) -> None:
        super().install_signal_handlers()
        if hasattr(signal, "SIGHUP"):
            asyncio.get_running_loop().add_signal_handler(
                signal.SIGHUP, self.handle_exit, signal.SIGHUP, None
            )

    def handle_exit(self, sig: int, frame: FrameType | None) -> None:
        if not self.should_exit:
            self._on_ending()
        super().handle_exit(sig, frame)

    async def startup(self, sockets: list[socket.socket] | None = None) -> None:
        await super().startup(sockets=sockets)
        self._on_started()

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


class WebSocketWithRefusal(WebSocketProtocol):
    """Lets the application refuse a handshake with a status of its choice."""

    async def asgi_send(self, message: dict) -> None:
        if message["type"] == "websocket.http.response.start":
            headers = [(name.decode(), value.decode()) for name, value in message["headers"]]
            self._refusal = _status(message["status"]), headers
        elif message["type"] == "websocket.http.response.body":
            self.initial_response = *self._refusal, message["body"]
            self.handshake_started_event.set()
            self.closed_event.set()
        else:
            await super().asgi_send(message)


def _status(code: int) -> http.HTTPStatus:
    try:
        return http.HTTPStatus(code)
    except ValueError:
        return http.HTTPStatus.BAD_GATEWAY


def _worth_telling(record: logging.LogRecord) -> bool:
    """An answer that breaks off does so on purpose, and a malformed request needs one line."""
    if record.levelno < logging.ERROR:
        record.exc_info = None
    return "without completing response" not in record.getMessage()
