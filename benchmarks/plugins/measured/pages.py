"""Answers as quickly as Python can: a short page, a download of 3 GB, events that never come."""

import asyncio
import sys

PAGE = b"HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\nContent-Length: 13\r\n\r\nHello, world!"
EVENTS = b"HTTP/1.1 200 OK\r\nContent-Type: text/event-stream\r\n\r\n: here\n\n"
LARGE = 3_000_000_000
LARGE_HEAD = b"HTTP/1.1 200 OK\r\nContent-Length: %d\r\n\r\n" % LARGE
PIECE = bytes(250_000)


class Pages(asyncio.Protocol):
    def __init__(self) -> None:
        self._left = 0  # bytes of a download
        self._is_full = False

    def connection_made(self, transport: asyncio.Transport) -> None:
        self._transport = transport

    def data_received(self, data: bytes) -> None:
        for request in data.split(b"\r\n\r\n")[:-1]:
            if request.startswith(b"GET /large"):
                self._left = LARGE
                self._transport.write(LARGE_HEAD)
                self._send()
            else:
                self._transport.write(EVENTS if request.startswith(b"GET /events") else PAGE)

    def _send(self) -> None:
        while self._left and not self._is_full and not self._transport.is_closing():
            piece = PIECE[: self._left]
            self._left -= len(piece)
            self._transport.write(piece)

    def pause_writing(self) -> None:
        self._is_full = True

    def resume_writing(self) -> None:
        self._is_full = False
        self._send()

    def connection_lost(self, error: Exception | None) -> None:
        self._left = 0


async def main() -> None:
    port = int(sys.argv[sys.argv.index("--port") + 1])
    server = await asyncio.get_running_loop().create_server(Pages, "127.0.0.1", port)
    await server.serve_forever()


asyncio.run(main())
