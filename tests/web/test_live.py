"""What pages are told, and that neither many utilities nor a long stop hold it up."""

import asyncio
import base64
import contextlib
import json
import os
import signal
import socket
import subprocess
import sys
import threading

import pytest
from studio_process import BUILD, ROOT, Studio

from velmora_studio import readiness
from velmora_studio.instances import Instance

PNG = base64.b64decode("iVBORw0KGgoAAAANSUhEUgAAAAEAAAABCAYAAAAfFcSJAAAADUlEQVR42mNk+M8AAAMAAUEB")
MANY = """
__VELMORA_PLUGIN_NAME__ = "many"
def utility_server_register():
    return [{"utility_name": f"many_{n}", "description": "d" * 200, "script_path": "raw.py",
             "icon_path": f"{n}.png"} for n in range(500)]
"""


@contextlib.contextmanager
def told(studio):
    """The changes as they come, as text."""
    with studio.client.stream("GET", "/api/events") as answer:
        lines = (line.removeprefix("data:") for line in answer.iter_lines())
        yield (line for line in lines if line.startswith((" {", "{")))


def test_events_stay_small_and_icons_have_addresses(tmp_path):
    many = tmp_path / "plugins" / "many"
    many.mkdir(parents=True)
    (many / "main.py").write_text(MANY)
    (many / "raw.py").symlink_to(ROOT / "tests" / "web" / "plugins" / "probe" / "raw.py")
    for number in range(500):
        (many / f"{number}.png").write_bytes(PNG + bytes([number % 256]) * 20_000)
    with Studio(tmp_path) as studio, told(studio) as changes:
        first = next(changes)
        starts = [threading.Thread(target=studio.start, args=[f"many_{n}"]) for n in range(4)]
        for start in starts:
            start.start()
        sizes, ready = [len(first)], set()
        while len(ready) < 4:
            change = next(changes)
            sizes.append(len(change))
            running = json.loads(change).get("running", {})
            ready |= {key for key, each in running.items() if each["readiness"] == "ready"}
        assert max(sizes) < 20_000
        entries = studio.get("catalogue")["places"]["default"]
        assert len(entries) == 500 and json.loads(first)["studio"]["catalogue"]
        icon = studio.client.get(entries[7]["icon"])
        assert icon.content == PNG + bytes([7]) * 20_000
        assert "immutable" in icon.headers["cache-control"]
        assert "sandbox" in icon.headers["content-security-policy"]  # no page of the Studio's
        assert studio.client.get("/api/icons/many_7").status_code == 404
        for start in starts:
            start.join()


def test_a_long_stop_holds_nothing_else_up(studio):
    pid = studio.start("quick_2")["pid"]
    starter = threading.Thread(target=studio.start, args=["quick_3"])
    with studio.client.stream("GET", "/api/events") as answer, studio.long_stop() as lasts:
        states = studio.states(answer)
        next(state for state in states if any(each["stopping"] for each in state["running"]))
        starter.start()
        assert next(state for state in states if state["starting"])["starting"][0]["waits"]
        try:
            assert studio.post("studio/user", user="max")["user"] == "max"
            shown = studio.get("catalogue", group_name="greenhouse")["places"]["default"]
            assert "admin_only" not in [entry["utility_name"] for entry in shown]
            assert "quick_2" in studio.names()
        finally:
            studio.post("studio/user", user="admin")
        assert studio.post("studio/language", language="en")["language"] == "en"
        assert studio.pages.get("/utility/quick_2/").status_code == 200
        told = studio.get("utility/details", utility_name="quick_2")["instance"]
        assert told["pid"] == pid and "raw.py" in told["command_line"]
        output = studio.get("utility/stderr", server_id=told["server_id"])
        assert output["running"] and studio.get("utility/lines", utility_name="quick_2")["running"]
        os.kill(pid, signal.SIGKILL)
        state = next(state for state in states if failure_of(state, "quick_2"))
        assert failure_of(state, "quick_2")["signal"] == "SIGKILL"
        assert "quick_2" not in studio.names()
        assert lasts(), "something has waited for the stop"
    starter.join()
    running = {each["utility_name"]: each for each in studio.get("utility/running")}
    assert "mutes" not in running
    studio.post("utility/stop", server_id=running["quick_3"]["server_id"])


def failure_of(state, name):
    found = [each for each in state["failures"] if each["utility_name"] == name]
    return found[-1] if found else None


def test_what_has_ended_by_itself_can_be_started_at_once(studio):
    with studio.client.stream("GET", "/api/events") as answer:
        states = studio.states(answer)
        for _ in range(3):
            started = studio.start("quick_4")
            os.kill(started["pid"], signal.SIGKILL)
            next(state for state in states if failure_of(state, "quick_4"))
            again = studio.post("utility/start", utility_name="quick_4")
            next(state for state in states if not failure_of(state, "quick_4"))
            assert studio.post("utility/stop", server_id=again["server_id"])["stopped"]


COMPARE = """
from utility_manager import utility_manager as manager
from velmora_client.com.user import set_current_user
from velmora_studio.places import places_of
for user in ("admin", "olivia", "max"):
    set_current_user(user)
    for group in ("greenhouse", " furnace ", "guest_bench", "unknown", ""):
        views = {"default": manager.get_utilities_without_group_name(),
                 "group": manager.get_utilities_with_group_name(group),
                 "navbar": manager.get_navbar_utilities(),
                 "create_exp": manager.get_create_exp_utilities(group)}
        places = places_of(manager, group)
        for place, view in views.items():
            names = [entry["utility_name"] for entry in view]
            assert [entry["utility_name"] for entry in places[place]] == names, (user, group, place)
            print(len(names))
"""


def test_places_are_what_the_views_show(tmp_path):
    for plugins in ("studio/sample_plugins", "tests/web/plugins"):
        data = tmp_path / plugins.replace("/", "_")
        data.mkdir()
        (data / "plugins").symlink_to(ROOT / plugins)
        path = os.pathsep.join([BUILD, str(ROOT / "studio")])
        environment = os.environ | {"VELMORA_DATA_DIR": str(data), "PYTHONPATH": path}
        command = [sys.executable, "-c", COMPARE]
        output = subprocess.run(command, env=environment, check=True, capture_output=True).stdout
        assert sum(map(int, output.split())) > 50


@pytest.mark.parametrize("answers_late", [True, False])
def test_an_instance_that_never_answers_is_given_up(monkeypatch, answers_late):
    monkeypatch.setattr(readiness, "LONGEST_WAIT", 0.2)

    async def watch():
        changed = asyncio.Event()
        watched = readiness.Readiness(changed.set)
        with socket.socket() as port:
            port.bind(("127.0.0.1", 0))
            instance = Instance("id", "name", None, port.getsockname()[1], 1)
            watched.watch([instance])
            assert watched.of("id") == readiness.STARTING
            await changed.wait()
            assert watched.of("id") == readiness.SILENT
            changed.clear()
            if answers_late:
                port.listen()
                await changed.wait()
                assert watched.of("id") == readiness.READY
            watched.watch([])

    asyncio.run(watch())
