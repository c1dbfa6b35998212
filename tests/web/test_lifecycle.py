"""How a Studio begins and ends, and what it leaves to the next one."""

import asyncio
import contextlib
import signal
import socket
import sys
import time
from types import SimpleNamespace
from unittest.mock import Mock

import httpx
import pytest
import websockets
from studio_process import PATIENCE, ROOT, Studio

sys.path.insert(0, str(ROOT / "studio"))
from velmora_studio import server  # noqa: E402


def test_persistent_utilities_pass_from_studio_to_studio(tmp_path):
    with Studio(tmp_path) as first:
        first.start("board", "greenhouse")
        with Studio(tmp_path) as second:  # takes the next free port, and says so
            assert second.port != first.port
            assert second.get("studio")["gui"] == second.url
            assert second.start("raw")["url"].startswith(second.forward_url)
            lasting = second.start("lasting")
            assert first.pages.get("/utility/lasting/").status_code == 200
            assert second.end(signal.SIGTERM) == ["Stopped: raw", "Goes on running: lasting"]
        assert [entry["adopted"] for entry in first.get("utility/running")] == [False, True]
        assert first.end() == ["Stopped: board (greenhouse)", "Goes on running: lasting"]
    with Studio(tmp_path) as next_one:
        assert "Still running from an earlier Studio: lasting" in next_one.lines
        (adopted,) = next_one.get("utility/running")
        assert adopted["adopted"] and adopted["persistent"] and adopted["pid"] == lasting["pid"]
        assert next_one.pages.get("/utility/lasting/").status_code == 200
        assert next_one.pages.get("/utility/lasting/die").status_code == 502
        next_one.wait_until(lambda: not next_one.names())  # its parent may collect it late
        page = next_one.pages.get("/utility/lasting/", headers={"accept": "text/html"})
        assert page.status_code == 502 and "has ended by itself" in page.text
        assert next_one.end() == ["Stopped: nothing was left to stop"]


@contextlib.contextmanager
def watchers(studio: Studio):
    """Streams with no end of their own: of the Studio, of a utility, one that nobody reads."""
    head = f"GET /utility/streams/endless HTTP/1.1\r\nHost: {studio.forward_host}\r\n\r\n".encode()
    with (
        studio.client.stream("GET", "/api/events") as events,
        studio.pages.stream("GET", "/utility/streams/events") as forwarded,
        socket.create_connection(("127.0.0.1", studio.forward_port), PATIENCE) as stalled,
    ):
        next(studio.states(events))
        assert forwarded.status_code == 200
        stalled.sendall(head)
        assert stalled.recv(1)
        yield


@pytest.mark.parametrize("number", [signal.SIGINT, signal.SIGTERM, signal.SIGHUP])
def test_streams_do_not_hold_up_the_end(tmp_path, number):
    async def end_with_websocket(studio):
        address = f"ws://{studio.forward_host}/utility/streams/ws"
        async with websockets.connect(address) as open_socket:
            began = time.monotonic()
            said = await asyncio.to_thread(studio.end, number)
            with pytest.raises(websockets.ConnectionClosed):
                await open_socket.recv()
        return said, time.monotonic() - began

    with Studio(tmp_path) as studio:
        studio.start("streams")
        with watchers(studio):
            said, seconds = asyncio.run(end_with_websocket(studio))
    assert said == ["Stopped: streams"]
    assert seconds < 5  # a server that waits for streams would wait for ever


def test_who_holds_a_connection_without_a_request_is_cut_off(monkeypatch):
    now = 0.0
    monkeypatch.setattr(server.time, "monotonic", lambda: now)
    done, busy = (SimpleNamespace(response_complete=each) for each in (True, False))
    mute, asks, _ = connections = [Mock(cycle=cycle) for cycle in (None, done, busy)]
    silence = server.Silence()
    for now in (0.0, 15.0, 25.0, 50.0):
        cut_off = silence.too_long(connections)
        assert cut_off == ([mute] if now > server.LONGEST_SILENCE else [])
        asks.cycle = SimpleNamespace(response_complete=True)


def test_a_start_under_way_is_not_left_behind(tmp_path):
    with Studio(tmp_path) as studio:
        with studio.client.stream("GET", "/api/events") as events:
            states = studio.states(events)
            next(states)
            body = '{"utility_name":"raw"}'
            head = [f"Host: {studio.host}", "Content-Type: application/json", "Content-Length: 22"]
            request = "\r\n".join(["POST /api/utility/start HTTP/1.1", *head, "", body])
            with socket.create_connection(("127.0.0.1", studio.port), PATIENCE) as connection:
                connection.sendall(request.encode())
                assert next(state for state in states if state["starting"])
        assert studio.end(signal.SIGTERM) == ["Stopped: raw"]


def test_a_wrong_client_file_is_told_and_not_fatal(tmp_path):
    with Studio(tmp_path) as studio:
        file = tmp_path / "organizations.json"
        kept = file.read_text()
        file.write_text("{")
        answer = studio.client.get("/api/studio")
        assert answer.status_code == 503 and "organizations.json" in answer.json()["detail"]
        with pytest.raises(httpx.ReadTimeout):
            with studio.client.stream("GET", "/api/events", timeout=0.5) as events:
                next(studio.states(events))
        file.write_text(kept)
        assert studio.get("studio")["user"] == "admin"


def test_only_those_with_the_token_come_in(tmp_path):
    with Studio(tmp_path, token=True) as studio:
        studio.start("raw")
        assert "token" not in studio.pages.get("/utility/raw/x").text  # which shows its request
        assert studio.pages.get("/utility/raw/x").status_code == 200
        moved = studio.client.get("/view/plugins?a=1&" + studio.address.partition("?")[2])
        assert moved.headers["location"] == "/view/plugins?a=1"
        cookie = moved.headers["set-cookie"]
        assert cookie.startswith(f"velmora_token_{studio.port}=") and "HttpOnly; SameSite" in cookie
        with httpx.Client(trust_env=False) as stranger:
            for path in ("/", "/?token=x", "/api/studio", "/api/events", "/page/js/main.js"):
                assert stranger.get(studio.url + path).status_code == 403, path
            assert stranger.get(f"{studio.forward_url}/utility/raw/").status_code == 403
            page = stranger.get(studio.url, headers={"accept": "text/html"})
            assert page.status_code == 403 and "the address that it printed" in page.text
            handshake = {"connection": "upgrade", "upgrade": "websocket"}
            socket = stranger.get(f"{studio.forward_url}/utility/raw/ws", headers=handshake)
            assert socket.status_code == 403
        assert (tmp_path / "config" / "access_token").stat().st_mode & 0o777 == 0o600
        address = studio.address
    with Studio(tmp_path, token=True) as again:
        assert again.address == address
