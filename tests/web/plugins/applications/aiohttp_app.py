"""aiohttp with a page and a WebSocket."""

import sys

from aiohttp import web


async def page(request):
    return web.Response(text="<a href=echo>echo</a>", content_type="text/html")


async def echo(request):
    socket = web.WebSocketResponse()
    await socket.prepare(request)
    async for message in socket:
        await socket.send_str(message.data)
    return socket


application = web.Application()
application.add_routes([web.get("/", page), web.get("/echo", echo)])
port = int(sys.argv[sys.argv.index("--port") + 1])
web.run_app(application, host="127.0.0.1", port=port, print=None)
