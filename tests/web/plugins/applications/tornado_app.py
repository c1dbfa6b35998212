"""Tornado with a page and a WebSocket, which checks the origin as it does by default."""

import asyncio
import sys

from tornado import web, websocket


class Page(web.RequestHandler):
    def get(self):
        self.write("<a href=echo>echo</a>")


class Echo(websocket.WebSocketHandler):
    def on_message(self, message):
        self.write_message(message)


async def main():
    application = web.Application([("/", Page), ("/echo", Echo)])
    application.listen(int(sys.argv[sys.argv.index("--port") + 1]), "127.0.0.1")
    await asyncio.Event().wait()


asyncio.run(main())
