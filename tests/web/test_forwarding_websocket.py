"""WebSockets through the Studio."""

import asyncio
import contextlib
import functools
from socket import create_server

import httpx
import pytest
import websockets
from studio_process import Studio

# What the library's versions call differently.
NEW = int(websockets.__version__.partition(".")[0]) >= 14
HEADERS = "additional_headers" if NEW else "extra_headers"
LARGE = bytes(range(256)) * (20 << 12)  # 20 MiB


def in_loop(test):
    @functools.wraps(test)
    def run(studio):
        asyncio.run(asyncio.wait_for(test(studio), 30))

    return run


@contextlib.asynccontextmanager
async def opened(studio: Studio, path: str = "streams/ws", **options):
    address = f"ws://{studio.forward_host}/utility/{path}"
    async with websockets.connect(address, max_size=None, **options) as socket:
        yield socket


@in_loop
async def test_messages_go_through(studio):
    options = {
        "subprotocols": ["first", "second"],
        HEADERS: {"Cookie": "studio=secret; ws=1"},
        "origin": f"http://{studio.forward_host}",
    }
    async with opened(studio, "streams/ws?a=%2F&a=b", **options) as socket:
        assert socket.subprotocol == "second"  # the one that the utility has chosen
        headers = socket.response.headers if NEW else socket.response_headers
        assert headers["set-cookie"] == "ws=1; Path=/utility/streams/"
        for message in ("", "text 温", b"", LARGE, "x" * len(LARGE)):
            await socket.send(message)
            assert await socket.recv() == message
    async with opened(studio, "streams/ws?a=%2F&a=b", **options) as socket:
        await socket.send("headers")
        seen = await socket.recv()
    assert "/ws" in seen and "a=%2F&a=b" in seen and "'ws=1'" in seen and "secret" not in seen
    assert "(b'origin', b'http://localhost:" in seen and "permessage-deflate" not in seen
    assert f"(b'x-forwarded-host', b'{studio.forward_host}')" in seen
    assert "(b'x-forwarded-prefix', b'/utility/streams')" in seen


@in_loop
async def test_ends_go_through(studio):
    for code, reason in ((1000, "done"), (4005, "理由"), (1013, "")):
        async with opened(studio) as socket:
            await socket.send(f"close {code} {reason}")
            with pytest.raises(websockets.ConnectionClosed) as end:
                await socket.recv()
            assert (end.value.code, end.value.reason) == (code, reason)

    async def next_end():
        get = functools.partial(studio.pages.get, "/utility/streams/next_end")
        return (await asyncio.to_thread(get)).text

    for code in (1000, 4001):
        async with opened(studio, "streams/ws?tell") as socket:
            await socket.close(code)
        assert await next_end() == str(code)
    async with opened(studio, "streams/ws?tell") as socket:
        socket.transport.abort()
    assert await next_end() == "1001"


@in_loop
async def test_refusals(studio):
    foreign = {"origin": "http://evil.example"}
    cases = [
        ("streams/none", {}, 403),
        ("streams/ws", foreign, 403),
        ("raw/unchanged", {}, 304),
        ("raw/early", {}, 413),
        ("raw/odd", {}, 502),
        ("raw/garbage", {}, 502),
        ("raw/", {}, 200),
        ("quick_3/ws", {}, 503),
        ("nothing/ws", {}, 404),
        ("nowhere/ws", {}, 403),
        ("../api/events", {}, 404),
    ]
    for path, options, status in cases:
        with pytest.raises(websockets.InvalidHandshake) as refusal:
            async with opened(studio, path, **options):
                pass
        found = refusal.value.response.status_code if NEW else refusal.value.status_code
        assert found == status, path


@in_loop
async def test_redirects_lead_nowhere(studio):
    """The Studio asks nobody else, and tells the client of nobody else."""
    with create_server(("127.0.0.1", 0)) as elsewhere:
        elsewhere.setblocking(False)
        target = f"http://127.0.0.1:{elsewhere.getsockname()[1]}/"
        with pytest.raises(websockets.InvalidHandshake, match="Location|303"):
            async with opened(studio, f"raw/go?{target}", **{HEADERS: {"Authorization": "x"}}):
                pass
        with pytest.raises(BlockingIOError):
            elsewhere.accept()


@in_loop
async def test_a_utility_that_dies_is_told(studio):
    started = await asyncio.to_thread(studio.start, "streams_2")
    async with opened(studio, "streams_2/ws") as socket:
        stop = functools.partial(studio.post, "utility/stop", server_id=started["server_id"])
        assert await asyncio.to_thread(stop) == {"stopped": True}
        with pytest.raises(websockets.ConnectionClosed) as end:
            await socket.recv()
        assert end.value.code == 1011


@in_loop
async def test_what_is_open_ends_with_the_right_to_it(studio):
    def choose(user):
        return asyncio.to_thread(studio.post, "studio/user", user=user)

    await asyncio.to_thread(studio.start, "streams_admin")
    path = "/utility/streams_admin/events"
    try:
        with studio.pages.stream("GET", path) as events:
            async with opened(studio, "streams_admin/ws") as ended, opened(studio) as allowed:
                await choose("max")
                with pytest.raises(websockets.ConnectionClosed) as end:
                    await ended.recv()
                assert end.value.code == 1008
                with pytest.raises(httpx.RemoteProtocolError):
                    await asyncio.to_thread(events.read)
                await allowed.send("still here")
                assert await allowed.recv() == "still here"
    finally:
        await choose("admin")
