"""The Studio under load: what forwarding costs, and what others feel of it."""

import asyncio
import contextlib
import re
import subprocess
import sys
import time

import measuring
import websockets
from rows import Row, milliseconds, quantity
from studio_process import Studio, asked, waits

ROUNDS = 7
SECONDS = 1  # of each measurement of requests
FRAME = bytes(64 << 20)
OWN_ROUTE = "/api/studio"
# In a process of its own, so that its speed is felt by the Studio alone.
DOWNLOAD = """
import socket, sys
connection = socket.create_connection(("127.0.0.1", int(sys.argv[1])))
head = f"GET {sys.argv[2]} HTTP/1.1\\r\\nHost: 127.0.0.1:{sys.argv[1]}\\r\\nConnection: close\\r\\n\\r\\n"
connection.sendall(head.encode())
buffer = bytearray(1 << 20)
while connection.recv_into(buffer): pass
"""


def requests_a_second(port: int, path: str, connections: int) -> float:
    command = ["wrk", "-t1", f"-c{connections}", f"-d{SECONDS}s"]
    url = f"http://127.0.0.1:{port}{path}"
    said = subprocess.run([*command, url], capture_output=True, text=True, check=True).stdout
    assert "Non-2xx" not in said and "Socket errors" not in said, said
    return float(re.search(r"Requests/sec:\s+([\d.]+)", said)[1])


def forwarding(studio: Studio, port: int, connections: int) -> Row:
    """The medians of ratios, each of two measurements in a row."""
    seen = []
    for _ in range(ROUNDS):
        direct = requests_a_second(port, "/", connections)
        seen.append((requests_a_second(studio.forward_port, "/utility/pages/", connections), direct))
    seen.sort(key=lambda pair: pair[0] / pair[1])
    forwarded, direct = seen[ROUNDS // 2]
    what = f"Forwarded requests, {connections} connection{'s' * (connections > 1)}"
    figure = forwarded / direct
    return Row(what, f"{forwarded:,.0f} /s", f"{direct:,.0f} /s direct", figure, 1 / 3)


def beside_a_download(studio: Studio) -> Row:
    command = [sys.executable, "-c", DOWNLOAD, str(studio.forward_port), "/utility/pages/large"]
    with waits(studio.port, OWN_ROUTE) as taken:
        seconds = measuring.seconds_of(lambda: subprocess.run(command, check=True))
    late = measuring.quantile(taken, 0.99)
    system = f"{milliseconds(late)} of {len(taken)} requests, while 3 GB took {seconds:.1f} s"
    return Row("Own routes beside a download, 99th percentile", system, "", late * 1000, 50, "ms",
               True)


def abandoned_download(studio: Studio) -> Row:
    before, said = studio.sockets(), len(studio.own_lines())
    with asked(studio.forward_port, "/utility/pages/large") as connection:
        connection.recv(1 << 20)
    seconds = measuring.seconds_of(
        lambda: measuring.wait_for(lambda: studio.sockets() <= before))
    lines = len(studio.own_lines()) - said
    return Row("An abandoned download ends", f"{milliseconds(seconds)}, {lines} lines printed", "",
               seconds * 1000 if not lines else float("inf"), 1000, "ms", True)


def seconds_of_a_frame(address: str) -> float:
    """There and back, for a client in a process of its own."""
    command = [sys.executable, "-m", "topics.studio", address]
    return float(subprocess.run(command, capture_output=True, check=True).stdout)


async def send_and_get_back(address: str) -> float:
    options = {"max_size": None, "compression": None, "ping_interval": None}
    async with websockets.connect(address, **options) as connection:
        start = time.perf_counter()
        await connection.send(FRAME)
        assert len(await connection.recv()) == len(FRAME)
        return time.perf_counter() - start


def large_frame(studio: Studio, port: int) -> list[Row]:
    direct, forwarded = [], []
    address = f"ws://127.0.0.1:{studio.forward_port}/utility/sockets/"
    longest = 0.0
    for _ in range(ROUNDS):
        direct.append(seconds_of_a_frame(f"ws://127.0.0.1:{port}/"))
        forwarded.append(seconds_of_a_frame(address))
        with (
            waits(studio.port, OWN_ROUTE) as own,
            waits(studio.forward_port, "/utility/pages/") as others,
        ):
            seconds_of_a_frame(address)
        longest = max(longest, *own, *others)
    here, there = measuring.quantile(forwarded), measuring.quantile(direct)
    return [
        Row("A WebSocket frame of 64 MB and back", milliseconds(here),
            f"{milliseconds(there)} direct", here / there, 2, at_most=True),
        Row("... the longest that another request waits", milliseconds(longest), "",
            longest * 1000, 100, "ms", True),
    ]


def beside_event_streams(studio: Studio) -> Row:
    """A utility's page holds as many streams as a browser gives one origin connections."""
    with contextlib.ExitStack() as streams:
        for _ in range(6):
            stream = asked(studio.forward_port, "/utility/pages/events")
            streams.enter_context(stream).recv(1000)
        with waits(studio.port, OWN_ROUTE) as taken:
            time.sleep(SECONDS)
    late = max(taken)
    return Row("Own routes beside six event streams, the longest", milliseconds(late), "",
               late * 1000, 50, "ms", True)


def many_utilities(studio: Studio) -> list[Row]:
    """Events of a start, and the catalogue of 500 utilities."""
    with asked(studio.port, "/api/events") as stream, waits(studio.port, OWN_ROUTE) as taken:
        studio.start("many_007")
        stream.settimeout(SECONDS)
        text = b""
        with contextlib.suppress(TimeoutError):
            while piece := stream.recv(1 << 20):
                text += piece
    longest = max(map(len, text.split(b"\n\n")))
    late = measuring.quantile(taken, 0.99)
    catalogue = measuring.seconds_of(lambda: studio.ask("/api/catalogue"), calls=ROUNDS)
    return [
        Row("500 utilities: the largest event", f"{longest:,} bytes", "", longest / 1000, 20, "kB",
            True),
        Row("500 utilities: own routes beside a start, 99th percentile",
            f"{milliseconds(late)}, the catalogue {milliseconds(catalogue)}", "",
            late * 1000, 50, "ms", True),
    ]


def measure() -> list[Row]:
    studio = Studio()
    try:
        pages, sockets = studio.start("pages"), studio.start("sockets")
        return [
            *(forwarding(studio, pages, connections) for connections in (1, 10)),
            beside_a_download(studio),
            abandoned_download(studio),
            *large_frame(studio, sockets),
            beside_event_streams(studio),
            *many_utilities(studio),
        ]
    finally:
        studio.end()


if __name__ == "__main__":
    print(asyncio.run(send_and_get_back(sys.argv[1])))
