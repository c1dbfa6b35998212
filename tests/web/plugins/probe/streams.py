"""Streams in both directions, WebSockets, and waits that tell when their client has gone."""

import asyncio
import contextlib
import hashlib
import signal
import sys

import uvicorn

BLOCK = bytes(range(256)) * 256
released: asyncio.Queue = asyncio.Queue()  # what /events is to send
ends: asyncio.Queue = asyncio.Queue()  # how requests and WebSockets have ended


async def application(scope, receive, send):
    handler = ROUTES.get((scope["type"], scope["path"]))
    if scope["type"] == "http":
        handler = handler or unknown
        await handler(scope, receive, Answer(send))
    elif handler:
        await receive()
        await handler(scope, receive, send)
    else:
        await send({"type": "websocket.close"})


class Answer:
    """Sends pieces of a body; the head goes out with the first."""

    def __init__(self, send):
        self.send = send
        self.started = False

    async def __call__(self, body=b"", more=True, headers=(), status=200):
        if not self.started:
            self.started = True
            head = {"type": "http.response.start", "status": status, "headers": list(headers)}
            await self.send(head)
        await self.send({"type": "http.response.body", "body": body, "more_body": more})


async def pieces(receive):
    more = True
    while more:
        message = await receive()
        if message["type"] == "http.disconnect":
            return
        more = message.get("more_body", False)
        yield message.get("body", b"")


async def unknown(scope, receive, answer):
    await answer(b"?", more=False, status=404)


async def download(scope, receive, answer):
    size = int(scope["query_string"])
    headers = [(b"content-length", str(size).encode())]
    for start in range(0, size, len(BLOCK)):
        await answer(BLOCK[: size - start], headers=headers)
    await answer(more=False)


async def hash_body(scope, receive, answer):
    digest = hashlib.sha256()
    async for piece in pieces(receive):
        digest.update(piece)
    await answer(digest.hexdigest().encode(), more=False)


async def duplex(scope, receive, answer):
    async for piece in pieces(receive):
        await answer(piece)
    await answer(more=False)


async def events(scope, receive, answer):
    await answer(headers=[(b"content-type", b"text/event-stream")])
    while True:
        await answer(b"data: %s\n\n" % await released.get())


async def release(scope, receive, answer):
    released.put_nowait(b"".join([piece async for piece in pieces(receive)]))
    await answer(more=False)


async def hang(scope, receive, answer):
    """Sends nothing; `endless` sends for ever. Both tell when their client has gone."""
    ends.put_nowait("begun")
    while (await receive())["type"] != "http.disconnect":
        pass
    ends.put_nowait(scope["path"])


async def endless(scope, receive, answer):
    async def pour():
        while True:
            await answer(BLOCK)
            await asyncio.sleep(0)  # without a client nothing else waits

    task = asyncio.create_task(pour())
    await hang(scope, receive, answer)
    task.cancel()


async def next_end(scope, receive, answer):
    await answer(str(await ends.get()).encode(), more=False)


async def echo(scope, receive, send):
    offered = scope["subprotocols"]
    chosen = {"subprotocol": offered[-1] if offered else None}
    headers = [(b"set-cookie", b"ws=1; Path=/")]
    await send({"type": "websocket.accept", "headers": headers} | chosen)
    while (message := await receive())["type"] == "websocket.receive":
        text = message.get("text")
        if text and text.startswith("close"):
            _, code, reason = text.split(" ", 2)
            await send({"type": "websocket.close", "code": int(code), "reason": reason})
            return
        if text == "headers":
            text = str(scope["headers"]) + str(scope["raw_path"]) + str(scope["query_string"])
        kind = "bytes" if text is None else "text"
        await send({"type": "websocket.send", kind: message["bytes"] if text is None else text})
    if scope["query_string"] == b"tell":
        ends.put_nowait(message["code"])


ROUTES = {
    ("websocket", "/ws"): echo,
    **{
        ("http", f"/{handler.__name__}"): handler
        for handler in (download, hash_body, duplex, events, release, hang, endless, next_end)
    },
}
port = int(sys.argv[sys.argv.index("--port") + 1])
# A stop needn't wait for open streams. Which of the two there is depends on uvicorn's version.
uvicorn.Server.install_signal_handlers = lambda self: None
uvicorn.Server.capture_signals = lambda self: contextlib.nullcontext()
limits = {"ws_max_size": 1 << 28, "ws": "websockets", "http": "h11"}
signal.signal(signal.SIGINT, signal.SIG_DFL)
uvicorn.run(application, port=port, log_level="warning", lifespan="off", **limits)
