"""Applications as people have them, each where its package is installed."""

import asyncio
import importlib.util
import json
import re
import shutil
import uuid

import pytest
import websockets
from studio_process import Studio


def needs_program(name):
    return pytest.mark.skipif(not shutil.which(name), reason=f"{name} is not installed")


def needs(package):
    missing = importlib.util.find_spec(package) is None
    return pytest.mark.skipif(missing, reason=f"{package} is not installed")


@pytest.fixture
def application(studio):
    """Starts one, and stops it."""
    ids = []

    def start(name, **config):
        started = studio.post("utility/start", utility_name=name, config=config)
        ids.append(started["server_id"])
        path = f"/utility/{name}/"
        studio.wait_until(lambda: studio.pages.get(path).status_code in (200, 302, 404))
        return path

    yield start
    for server_id in ids:
        studio.post("utility/stop", server_id=server_id)


def test_http_server(studio, application):
    path = application("http_server")
    assert "main.py" in studio.pages.get(path).text
    assert studio.pages.get(path + "main.py").text.startswith('"""Applications')
    assert studio.pages.get("/utility/http_server").status_code == 307


@needs("flask")
def test_flask_keeps_its_session_from_studio_to_studio(tmp_path):
    path = "/utility/flask_app/"
    with Studio(tmp_path) as first:
        first.start("flask_app")
        visits, address = first.pages.get(path).text.split()
        assert address == path + "again"
        sent_on = first.pages.post(address)
        assert (sent_on.status_code, sent_on.headers["location"]) == (303, path)
        cookies = {cookie.name: cookie.value for cookie in first.pages.cookies.jar}
    with Studio(tmp_path) as second:
        header = "; ".join(f"{name}={value}" for name, value in cookies.items())
        seen = second.pages.get(path, headers={"cookie": header}).text
        (running,) = second.get("utility/running")
        assert second.post("utility/stop", server_id=running["server_id"]) == {"stopped": True}
    assert int(seen.split()[0]) == int(visits) + 1


@pytest.mark.parametrize(
    "name", [pytest.param(f"{each}_app", marks=needs(each)) for each in ("aiohttp", "tornado")]
)
def test_page_and_websocket(studio, application, name):
    path = application(name)
    assert studio.pages.get(path).text == "<a href=echo>echo</a>"

    async def talk():
        address = f"ws://{studio.forward_host}{path}echo"
        async with websockets.connect(address, origin=studio.forward_url) as socket:
            await socket.send("温")
            return await socket.recv()

    assert asyncio.run(talk()) == "温"


@needs("socketio")
@needs("aiohttp")
def test_socketio(studio, application):
    import socketio

    async def talk():
        client, answers = socketio.AsyncClient(), asyncio.Queue()
        client.on("message", answers.put)
        await client.connect(studio.forward_url, socketio_path="utility/socketio_app/socket.io")
        await client.send("hello")
        answer = await asyncio.wait_for(answers.get(), 20)
        transport = client.transport()
        await client.disconnect()
        return answer, transport

    application("socketio_app")
    assert asyncio.run(talk()) == ("hello!", "websocket")


@needs("notebook")
@needs("ipykernel")
def test_jupyter_with_a_kernel(studio, application):
    path = application("jupyter")
    assert studio.pages.get(path + "tree").status_code == 200
    xsrf = {"X-XSRFToken": studio.pages.cookies.get("_xsrf") or ""}
    kernel = studio.pages.post(path + "api/kernels", json={}, headers=xsrf).json()["id"]
    header = {"msg_id": uuid.uuid4().hex, "msg_type": "execute_request", "session": "s"}
    header |= {"username": "", "version": "5.3"}
    content = {"code": "print(6 * 7)", "silent": False}
    request = {"header": header, "parent_header": {}, "metadata": {}, "content": content}

    async def run():
        address = f"ws://{studio.forward_host}{path}api/kernels/{kernel}/channels"
        async with websockets.connect(address, origin=studio.forward_url) as socket:
            await socket.send(json.dumps(request | {"channel": "shell"}))
            while True:
                message = json.loads(await socket.recv())
                if message["msg_type"] == "stream":
                    return message["content"]["text"]

    assert asyncio.run(asyncio.wait_for(run(), 30)) == "42\n"


@needs_program("vite")
def test_vite_loads_what_has_changed(studio, application, tmp_path):
    path = application("vite_app", project=str(tmp_path))
    assert f'src="{path}@vite/client"' in studio.pages.get(path).text
    assert "before" in studio.pages.get(path + "main.js").text
    client = studio.pages.get(path + "@vite/client").text
    token = re.search(r'wsToken = "(.*?)"', client)
    query = f"?token={token[1]}" if token else ""

    async def change():
        address = f"ws://{studio.forward_host}{path}{query}"
        options = {"subprotocols": ["vite-hmr"], "origin": studio.forward_url}
        async with websockets.connect(address, **options) as socket:
            assert json.loads(await socket.recv())["type"] == "connected"
            (tmp_path / "main.js").write_text("document.title = 'after';\n")
            while (news := json.loads(await socket.recv()))["type"] == "ping":
                pass
            return news["type"]

    assert asyncio.run(asyncio.wait_for(change(), 30)) in ("update", "full-reload")
    assert "after" in studio.pages.get(path + "main.js").text


@needs_program("websockify")
def test_novnc(studio, application):
    path = application("novnc")
    assert "noVNC" in studio.pages.get(path + "vnc.html").text

    async def connect():
        address = f"ws://{studio.forward_host}{path}websockify"
        options = {"subprotocols": ["binary"], "origin": studio.forward_url}
        async with websockets.connect(address, **options) as socket:
            return await socket.recv()

    assert asyncio.run(connect()) == b"RFB 003.008\n"
