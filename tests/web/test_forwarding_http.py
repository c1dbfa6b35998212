"""HTTP through the Studio: bytes as they were sent, streams as they come, ends as they are."""

import asyncio
import contextlib
import hashlib
import os
import re
import socket
import sys
import threading
from concurrent.futures import ThreadPoolExecutor

import httpx
import pytest
from studio_process import PATIENCE, ROOT, Studio

sys.path.insert(0, str(ROOT / "studio"))
from velmora_studio.forward_address import Address, parse_address  # noqa: E402
from velmora_studio.forward_cookies import Cookies  # noqa: E402
from velmora_studio.forward_framing import framed  # noqa: E402
from velmora_studio.forward_headers import confined_cookie, from_utility, moved_location  # noqa: E402
from velmora_studio.instances import Instance  # noqa: E402
from velmora_studio.upstream import Pool  # noqa: E402

HTML = {"accept": "text/html,*/*"}
START = 'id="absent-start"'  # the button that offers a start
BLOCK = bytes(range(256)) * 256


def asked(studio: Studio, *lines: str) -> socket.socket:
    """A connection on which a request has been sent, but for its body."""
    connection = socket.create_connection(("127.0.0.1", studio.forward_port), PATIENCE)
    first, *rest = lines
    head = [f"{first} HTTP/1.1", f"Host: {studio.forward_host}", *rest, "", ""]
    connection.sendall("\r\n".join(head).encode())
    return connection


def exchange(studio: Studio, request: str) -> bytes:
    """Sends these very bytes, in which {host} is the Studio's, and reads to the end."""
    with socket.create_connection(("127.0.0.1", studio.forward_port), PATIENCE) as connection:
        lines = request.format(host=studio.forward_host).replace("\n", "\r\n")
        connection.sendall(lines.encode("latin-1"))
        return b"".join(iter(lambda: connection.recv(65536), b""))


def test_requests_arrive_as_they_were_sent(studio):
    target = "/a%2Fb/..%2f/%E6%B8%A9//c;d=1/./e?x=%20&x=+&&y"
    seen = exchange(
        studio,
        f"PURGE /utility/raw{target} HTTP/1.1\nHost: {{host}}\nConnection: X-Hop, close\n"
        "X-Hop: 1\nTE: trailers\nProxy-Authorization: p\nKeep-Alive: 5\nX-Many: a\nX-Many: b\n"
        "Origin: http://{host}\nX-Forwarded-Host: evil\nForwarded: for=evil\nX-Latin: \xe9\n"
        "Authorization: Basic x\nCookie: studio=secret; one=0\n\n",
    ).partition(b"\r\n\r\n")[2]
    first, *lines = seen.lower().split(b"\r\n")[:-2]
    port = lines[0].rpartition(b":")[2]
    assert first == f"PURGE {target} HTTP/1.1".lower().encode()
    assert sorted(lines) == sorted(
        [
            *(b"host: localhost:" + port, b"origin: http://localhost:" + port),
            *(b"x-many: a", b"x-many: b", b"authorization: basic x", b"x-latin: \xe9"),
            *(b"x-forwarded-for: 127.0.0.1", b"x-forwarded-proto: http"),
            b"x-forwarded-host: " + studio.forward_host.encode(),
            b"x-forwarded-prefix: /utility/raw",
        ]
    )
    for odd in ("/utility/raw/x HTTP/1.1\nHost: {host}\nHost: {host}", "/utility/\xe9/ HTTP/1.1"):
        assert exchange(studio, f"GET {odd}\n\n").startswith(b"HTTP/1.1 400")


CHUNKED = "Transfer-Encoding: chunked"


@pytest.mark.parametrize(
    "lines",
    [
        f"Content-Length: 4\n{CHUNKED}",
        "Content-Length: 4\nContent-Length: 4",
        "Content-Length: 4, 4",
        "Content-Length: +4",
        "Content-Length : 4",
        "Content-Length: 4\n X-Folded: 1",
        "X-Bare: a\rContent-Length: 4",
        "X-Nul: a\0",
        f"{CHUNKED}\n{CHUNKED}",
        "Transfer-Encoding: chunked, identity",
        "Transfer-Encoding: xchunked",
        f"{CHUNKED}\n\n4;\x01\nabcd",
        f"{CHUNKED}\n\n4\nabcde",
        f"{CHUNKED}\n\n-1\n",
        "X-Long: " + "x" * 70000,
    ],
)
def test_what_could_be_read_in_two_ways_is_not_forwarded(studio, lines):
    head = "POST /utility/streams/hash_body HTTP/1.1\nHost: {host}\n"
    answer = exchange(studio, f"{head}{lines}\n\nGET /utility/raw/smuggled HTTP/1.1\n\n")
    assert answer.count(b"HTTP/1.1") <= 1 and b"smuggled" not in answer
    assert not answer or answer.split(b" ")[1] in (b"400", b"431", b"501")


def test_requests_that_come_at_once_are_answered_in_order(studio):
    one = "GET /utility/{} HTTP/1.1\nHost: {{host}}\n"
    paths = ("raw/a", "streams/unknown", "raw/b", "nothing/", "raw/c")
    head = "".join(one.format(path) + "\n" for path in paths[:-1])
    answers = exchange(studio, head + one.format(paths[-1]) + "Connection: close\n\n")
    assert re.findall(rb"HTTP/1.1 (\d+) ", answers) == [b"200", b"404", b"200", b"404", b"200"]
    assert re.findall(rb"GET (/\w) ", answers) == [b"/a", b"/b", b"/c"]


def test_connections_are_kept_and_never_in_the_way():
    """One is used again, and a utility that hears one at a time hears them all."""
    ok = b"HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n"

    async def ask(pool, upstream):
        upstream.user = user = Listener()
        upstream.write(b"GET / HTTP/1.1\r\n\r\n")
        while not user.heard:
            await asyncio.sleep(0.001)
        pool.give_back(upstream)

    async def serve_one_at_a_time(listener, turns):
        loop = asyncio.get_running_loop()
        while True:
            connection, _ = await loop.sock_accept(listener)
            turns.append(0)
            with connection:
                connection.setblocking(False)
                while await loop.sock_recv(connection, 1000):
                    turns[-1] += 1
                    await loop.sock_sendall(connection, ok)

    async def exchange(listener):
        listener.setblocking(False)
        pool, turns = Pool(), []
        instance = Instance("id", "u", None, listener.getsockname()[1], 0)
        serving = asyncio.create_task(serve_one_at_a_time(listener, turns))
        for _ in range(3):
            await ask(pool, pool.take(instance) or await pool.connect(instance))
        assert turns == [3]
        busy, waiting = pool.take(instance), await pool.connect(instance)
        pool.give_back(busy)  # nobody hears the other one yet
        await asyncio.wait_for(ask(pool, waiting), 5)
        assert turns == [3, 1]
        serving.cancel()

    with socket.create_server(("127.0.0.1", 0)) as listener:
        asyncio.run(exchange(listener))


def test_answers_come_back_as_they_are(studio):
    answer = studio.pages.get("/utility/raw/hops")
    names = [name for name, _ in answer.headers.raw]
    assert not {b"X-Hop", b"Keep-Alive", b"Connection"} & {name.title() for name in names}
    assert answer.headers.get_list("x-many") == ["a", "b"] and answer.text == "ok"
    assert answer.headers["content-location"] == "/utility/raw/c"
    assert not {"service-worker-allowed", "clear-site-data"} & answer.headers.keys()
    assert answer.headers["refresh"] == "5; url='/utility/raw/r'"
    assert answer.headers.get_list("set-cookie") == [
        "one=1; HttpOnly; Path=/utility/raw/",
        "two=2; SameSite=Lax; Path=/utility/raw/deep",
        "three=3; Expires=Wed, 09 Jun 2100 10:18:14 GMT; Path=/utility/raw/",
    ]
    studio.pages.cookies.set("studio", "secret", domain="127.0.0.1", path="/")
    seen = studio.pages.get("/utility/raw/deep/x").text
    cookies = seen.partition("cookie: ")[2].partition("\r\n")[0].split("; ")
    assert sorted(cookies) == ["one=1", "three=3", "two=2"]
    studio.pages.cookies.clear()
    expected = {
        "none": (204, b"", None),
        "unchanged": (304, b"", "9"),
        "hints": (200, b"ok", "2"),
        "until-end": (200, b"all of it", None),
        "both": (200, b"ok", None),
    }
    for path, (status, body, length) in expected.items():
        got = studio.pages.get(f"/utility/raw/{path}")
        found = (got.status_code, got.content, got.headers.get("content-length"))
        assert found == (status, body, length), path
    head = studio.pages.head("/utility/raw/sized")
    assert (head.content, head.headers["content-length"]) == (b"", "9")
    with studio.pages.stream("GET", "/utility/raw/packed") as packed:
        assert b"".join(packed.iter_raw()) == b"\x1f\x8b?\xff\0"
    early = studio.pages.post("/utility/raw/early", content=BLOCK * 64)  # it never reads that
    assert (early.status_code, early.text) == (413, "much")


class Listener:
    """Uses a connection to a utility, and only listens."""

    def __init__(self):
        self.heard, self.end = b"", asyncio.get_running_loop().create_future()

    def received(self, data):
        self.heard += data

    def lost(self, error):
        self.end.set_result(error)

    def utility_is_full(self, full):
        pass


def test_an_early_answer_counts_although_the_rest_can_not_be_sent():
    async def exchange(listener):
        instance = Instance("id", "u", None, listener.getsockname()[1], 0)
        upstream = await Pool().connect(instance)
        upstream.user = user = Listener()
        utility, _ = listener.accept()
        upstream.write(b"POST / HTTP/1.1\r\nContent-Length: 2000000\r\n\r\n")
        utility.sendall(b"HTTP/1.1 413 Too Large\r\nContent-Length: 0\r\n\r\n")
        utility.close()  # with the request unread, so the connection is reset
        upstream.write(bytes(2000000))
        await user.end
        assert user.heard.startswith(b"HTTP/1.1 413 ")

    with socket.create_server(("127.0.0.1", 0)) as listener:
        asyncio.run(exchange(listener))


PREFIX = "/group_utility/g%20h/u"


@pytest.mark.parametrize(
    ("location", "moved"),
    [
        ("/", "/"),
        ("/a%2Fb?q=/c#d", "/a%2Fb?q=/c#d"),
        ("//localhost:8890/a", "/a"),
        ("http://localhost:8890", "/"),
        ("http://LOCALHOST:8890?q", "/?q"),
        ("http://127.0.0.1:8890/a?b=http://localhost:8890/", "/a?b=http://localhost:8890/"),
        (PREFIX + "x", PREFIX + "x"),
        *[(same, None) for same in ("a/b", "../a", "?q", "#f", "")],
        *[(same, None) for same in (PREFIX, PREFIX + "/a", PREFIX + "?q")],
        *[(same, None) for same in ("http://localhost:88901/", "//else/", "https://e.org/x")],
    ],
)
def test_redirects_stay_within_the_prefix(location, moved):
    expected = location if moved is None else PREFIX + moved
    assert moved_location(location.encode(), PREFIX, 8890).decode() == expected


def test_a_base_path_is_told_and_kept(studio):
    started = studio.start("based", "g h")
    prefix = "/group_utility/g%20h/based"
    seen = studio.pages.get(f"{prefix}/a%2Fb?q=1").text
    assert seen.startswith(f"GET {prefix}/a%2Fb?q=1 HTTP/1.1\r\n")
    arguments = studio.pages.get(f"{prefix}/arguments").text
    assert f'"forward_prefix":"{prefix}"' in arguments.replace(": ", ":")
    assert studio.post("utility/stop", server_id=started["server_id"]) == {"stopped": True}


def test_redirects_are_not_followed(studio):
    answer = studio.pages.get("/utility/raw/go?/there?q=1")
    assert (answer.status_code, answer.headers["location"]) == (303, "/utility/raw/there?q=1")
    slash = studio.pages.get("/utility/raw?q=%2F")
    assert (slash.status_code, slash.headers["location"]) == (307, "/utility/raw/?q=%2F")


def test_cookies_stay_within_the_prefix():
    address = Address("u", "g h", PREFIX, b"/a/b")
    for cookie, confined in {
        b"a=1": b"a=1; Path=" + PREFIX.encode() + b"/a",
        b"a=1; path = /x; DOMAIN=.e.org; Path=": b"a=1; Path=" + PREFIX.encode() + b"/a",
        b"a=1; Path=/; Secure": b"a=1; Secure; Path=" + PREFIX.encode() + b"/",
        b"__Host-a=1; Secure; Path=/": b"__Host-a=1; Secure; Path=/",
        b"__Secure-a=1; Secure": b"__Secure-a=1; Secure; Path=" + PREFIX.encode() + b"/a",
        b"a=1;Path=" + PREFIX.encode() + b"/z": b"a=1; Path=" + PREFIX.encode() + b"/z",
    }.items():
        assert confined_cookie(cookie, address) == confined


def test_nothing_is_set_beyond_the_prefix():
    names = (b"alt-svc", b"strict-transport-security", b"clear-site-data", b"connection")
    cookies = (b"velmora_token_1=x", b"=velmora_mark=1", b" = VELMORA_x", b"=__Host-a=1; Path=/")
    headers = [*((name, b"1") for name in names), *((b"set-cookie", each) for each in cookies)]
    assert from_utility(headers, Address("u", None, "/utility/u", b"/"), 1) == []


def test_each_utility_gets_its_own_cookies(tmp_path):
    prefix, other, file = "/utility/a", "/utility/b", tmp_path / "names"
    cookies = Cookies(file)

    def own(given, of=prefix, referer=""):
        headers = [(b"cookie", given.encode()), (b"referer", f"http://h:1{referer}".encode())]
        return cookies.own(of, headers).decode()

    # What a page's script has bound to its address comes before the mark.
    assert own("bound=1; velmora_mark=1; foreign=1; velmora_token_1=1") == "bound=1"
    # What it has set for the whole host is first sent by itself; a cookie that was there is not.
    assert own("wide=1; foreign=1", referer=prefix + "/page") == "wide=1"
    assert own("wide=1", of=other, referer=other + "/") == ""
    cookies.note(prefix, [(b"set-cookie", b"session=1; Path=/")])
    for n in range(99):
        cookies.note(prefix, [(b"set-cookie", b"n%d=1" % n)])
        cookies.note(prefix, [(b"set-cookie", b"session=2")])
    cookies.note(prefix, [(b"set-cookie", b"last=1")])
    cookies.save()
    cookies = Cookies(file)  # of the next Studio
    given = "session=2; session=1; n0=1; n1=1; last=1; unknown=1; wide=1"
    assert own(given) == "session=2; n1=1; last=1; wide=1"
    file.write_text("{")
    assert Cookies(file).own(prefix, [(b"cookie", b"session=1")]) == b""


ALLOWED = "frame-ancestors 'self' http://s"


@pytest.mark.parametrize(
    ("given", "is_frame", "expected"),
    [
        ({}, False, {}),
        ({}, True, {"content-security-policy": ALLOWED}),
        ({"x-frame-options": "SAMEORIGIN"}, False, {"content-security-policy": ALLOWED}),
        ({"x-frame-options": "DENY"}, True, {"x-frame-options": "DENY"}),
        (
            {"content-security-policy": "a b; frame-ancestors 'self' x; c"},
            False,
            {"content-security-policy": f"a b; {ALLOWED} x; c"},
        ),
    ],
)
def test_the_studio_frames_what_its_utility_would(given, is_frame, expected):
    headers = [(name.encode(), value.encode()) for name, value in given.items()]
    found = framed(headers, ALLOWED.encode(), is_frame)
    assert {name.decode(): value.decode() for name, value in found} == expected


def test_addresses_name_and_never_point():
    for path, meant in {
        b"/utility/u": ("u", None, b""),
        b"/utility/%E6%B8%A9/a//b/": ("温", None, b"/a//b/"),
        b"/utility/a;b/utility/a;b": ("a;b", None, b"/utility/a;b"),
        b"/group_utility/g%2Fh/u/%2e%2e/x": ("u", "g/h", b"/%2e%2e/x"),
        b"/utility/127.0.0.1:80/": ("127.0.0.1:80", None, b"/"),
    }.items():
        address = parse_address(path)
        assert (address.utility_name, address.group_name, address.path) == meant
        assert address.prefix.encode() == path.removesuffix(meant[2]).replace(b";", b"%3B")
    for nothing in (b"/", b"/utility", b"/utility//", b"/group_utility/g", b"/utility/%ff/", b"*"):
        assert parse_address(nothing) is None


def test_bodies_of_any_size_stream(studio):
    size = 200 << 20
    before, digest = studio.peak_memory(), hashlib.sha256()
    with studio.pages.stream("GET", f"/utility/streams/download?{size}") as answer:
        assert answer.headers["content-length"] == str(size)
        for piece in answer.iter_raw():
            digest.update(piece)
    blocks = size // len(BLOCK)
    expected = hashlib.sha256(BLOCK * blocks).hexdigest()
    assert digest.hexdigest() == expected
    for body in (BLOCK * blocks, (BLOCK for _ in range(blocks))):  # of known length, and chunked
        hashed = studio.pages.put("/utility/streams/hash_body", content=body)
        assert hashed.text == expected
    assert studio.peak_memory() - before < 32 << 20


def test_both_directions_stream_at_once(studio):
    with studio.pages.stream("GET", "/utility/streams/events") as events:
        pieces = events.iter_text()
        for n in range(2):
            studio.pages.post("/utility/streams/release", content=str(n))
            assert next(pieces) == f"data: {n}\n\n"
    with asked(studio, "POST /utility/streams/duplex", "Transfer-Encoding: chunked") as connection:
        for n in (b"one", b"two"):
            connection.sendall(b"3\r\n%s\r\n" % n)
            got = b""
            while n not in got:
                got += connection.recv(1000) or exit("ended")
        connection.sendall(b"0\r\n\r\n")
        assert connection.recv(1000).endswith(b"0\r\n\r\n")


@pytest.mark.parametrize("path", ["hang", "endless"])
def test_an_abandoned_request_ends_behind_the_studio(studio, path):
    with asked(studio, f"GET /utility/streams/{path}") as connection:
        assert studio.pages.get("/utility/streams/next_end").text == "begun"
        if path == "endless":  # neither the first bytes nor a full buffer keep it alive
            assert connection.recv(1000)
    assert studio.pages.get("/utility/streams/next_end").text == f"/{path}"


@pytest.mark.parametrize("path", ["silent", "garbage", "switch", "odd"])
def test_answers_that_make_no_sense(studio, path):
    answer = studio.pages.get(f"/utility/raw/{path}")
    assert answer.status_code == 502 and "raw" in answer.json()["detail"]


@pytest.mark.parametrize("path", ["broken", "broken-chunks"])
def test_an_answer_that_breaks_off_has_no_clean_end(studio, path):
    with pytest.raises(httpx.RemoteProtocolError):
        studio.pages.get(f"/utility/raw/{path}")


def test_what_does_not_run_or_answer(studio):
    page = studio.pages.get("/utility/quick_2/x", headers=HTML)
    assert page.status_code == 503 and "is not running" in page.text and START in page.text
    assert "frame-ancestors 'self'" in page.headers["content-security-policy"]
    answer = studio.pages.get("/utility/quick_2/x")
    assert answer.json() == {"detail": "The utility 'quick_2' is not running."}
    studio.start("quick_2")
    assert studio.pages.get("/utility/quick_2/die").status_code == 502
    page = studio.pages.get("/utility/quick_2/", headers=HTML)
    assert page.status_code == 502 and "has ended by itself" in page.text
    assert "first line\n&lt;b&gt;last words&lt;/b&gt;" in page.text
    answer = studio.pages.get("/utility/quick_2/")
    assert answer.json()["digest"] == "first line\n<b>last words</b>"
    again, mute = studio.start("quick_2"), studio.post("utility/start", utility_name="mute")
    page = studio.pages.get("/utility/mute/", headers=HTML)
    assert page.status_code == 502 and "does not answer" in page.text
    for name, status in (("nothing", 404), ("nowhere", 403)):
        page = studio.pages.get(f"/utility/{name}/", headers=HTML)
        assert page.status_code == status and f"{name}&#x27;" in page.text
        assert START not in page.text
    with ThreadPoolExecutor() as pool:  # a stop that lasts doesn't hold up what is forwarded
        stop = pool.submit(studio.post, "utility/stop", server_id=mute["server_id"])
        for _ in range(20):
            assert studio.pages.get("/utility/quick_2/").status_code == 200
        assert not stop.done() and stop.result() == {"stopped": True}
    assert studio.post("utility/stop", server_id=again["server_id"]) == {"stopped": True}


@contextlib.contextmanager
def held_starts(studio: Studio):
    """While the file with the language can't be read, no start comes to its end."""
    settings = studio.data / "config" / "settings.json"
    kept, pipe = settings.with_suffix(".kept"), settings.with_suffix(".pipe")
    settings.rename(kept)
    os.mkfifo(settings)
    try:
        yield
    finally:
        settings.rename(pipe)
        kept.rename(settings)
        pipe.open("w").close()


def test_starts_and_stops_under_load(studio):
    """20 starts at a time don't hold up the listings; 50 requests at a time meet no failure of the
    Studio's own; nothing stays open."""
    before = studio.sockets()
    names = [f"quick_{n}" for n in range(20)]
    with ThreadPoolExecutor(80) as pool, httpx.Client(trust_env=False, timeout=PATIENCE) as client:
        with client.stream("GET", studio.url + "/api/events") as answer:
            states = studio.states(answer)
            next(states)
            with held_starts(studio):
                starts = [pool.submit(studio.post, "utility/start", utility_name=n) for n in names]
                assert next(state for state in states if len(state["starting"]) == 20)
                assert "raw" in studio.names() and not any(start.done() for start in starts)
        stop = threading.Event()

        def ask(n):
            path = f"/utility/{(['raw', 'streams'] + names)[n % 22]}/unknown"
            statuses = set()
            while not stop.is_set():
                statuses.add(client.get(studio.forward_url + path).status_code)
            return statuses

        asking = [pool.submit(ask, n) for n in range(50)]
        for start in starts:
            studio.post("utility/stop", server_id=start.result()["server_id"])
        stop.set()
        seen = set().union(*(each.result() for each in asking))
    assert {200, 404} <= seen <= {200, 404, 502, 503}
    assert set(studio.names()) == {"streams", "raw"}
    studio.wait_until(lambda: studio.sockets() <= before)
