"""socket.io, whose clients begin with long polls and go on with a WebSocket."""

import sys

import socketio
from aiohttp import web

server = socketio.AsyncServer(async_mode="aiohttp")


@server.event
async def message(sid, text):
    await server.send(text + "!", to=sid)


application = web.Application()
server.attach(application)
port = int(sys.argv[sys.argv.index("--port") + 1])
web.run_app(application, host="127.0.0.1", port=port, print=None)
