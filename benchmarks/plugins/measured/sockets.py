"""A WebSocket that gives back what it gets."""

import asyncio
import sys

import websockets


async def echo(connection, *_) -> None:
    async for message in connection:
        await connection.send(message)


async def main() -> None:
    port = int(sys.argv[sys.argv.index("--port") + 1])
    async with websockets.serve(echo, "127.0.0.1", port, max_size=None, compression=None):
        await asyncio.Event().wait()


asyncio.run(main())
