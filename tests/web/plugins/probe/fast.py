"""Answers as quickly as Python can, on kept connections; a WebSocket gives back what it gets."""

import asyncio
import sys

ANSWER = b"HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\nContent-Length: 13\r\n\r\nHello, world!"


class Fast(asyncio.Protocol):
    def connection_made(self, transport):
        self.transport = transport

    def data_received(self, data):
        for _ in range(data.count(b"\r\n\r\n")):
            self.transport.write(ANSWER)


async def main():
    port = int(sys.argv[sys.argv.index("--port") + 1])
    loop = asyncio.get_running_loop()
    server = await loop.create_server(Fast, "127.0.0.1", port)
    await server.serve_forever()


asyncio.run(main())
