"""The Studio's services, its plugin register, and the sample utilities as real processes."""

import json
import re
import signal
import subprocess
import sys
from contextlib import contextmanager
from pathlib import Path
from urllib.request import ProxyHandler, build_opener

import pytest

STUDIO = Path(__file__).resolve().parents[2] / "studio"
sys.path.insert(0, str(STUDIO))
from velmora_client.com import device, organization, user  # noqa: E402
from velmora_client.plugin.plugin_register import PluginRegister  # noqa: E402
from velmora_client.utils import local  # noqa: E402

HOOK = "utility_server_register"
NAMED = f"__VELMORA_PLUGIN_NAME__ = '%s'\ndef {HOOK}():\n    return 1 / %d\n"
BROKEN = {  # main.py, and what standard error says of it
    "no_name": ("pass", "no __VELMORA_PLUGIN_NAME__"),
    "no_module": ("import nowhere_to_be_found", "ModuleNotFoundError"),
    "ends": ("raise SystemExit(3)", "SystemExit: 3"),
    "renamed": (NAMED % ("other", 1), "must be named 'other'"),
    "builtin_not": (NAMED % ("builtin_not", 1), "built-in plugins alone"),
}


@pytest.fixture(autouse=True)
def data(tmp_path, monkeypatch):
    monkeypatch.setenv("VELMORA_DATA_DIR", str(tmp_path / "data"))
    monkeypatch.setenv("PYTHONPATH", str(STUDIO))
    monkeypatch.setattr(user, "_chosen_user", None)
    return tmp_path / "data"


def add_plugin(directory, text):
    directory.mkdir(parents=True, exist_ok=True)
    (directory / "main.py").write_text(text)


def registrations():
    """Every shipped registration by its name, with the directory that its paths are relative to."""
    for plugin in PluginRegister().get_plugins_by_hook(HOOK):
        given = plugin.utility_server_register()
        builtin = plugin.plugin_name.startswith("builtin_")
        for item in given if isinstance(given, list) else [given]:
            yield item, plugin.directory.parent if builtin else plugin.directory


def script_of(name):
    item, base = next(pair for pair in registrations() if pair[0]["utility_name"] == name)
    return next(base.glob(f"**/{item['script_path']}"))


@contextmanager
def running(name, *options):
    """The process and its address, known from the first line of its standard error."""
    command = [sys.executable, "-s", "-u", script_of(name), "--server-id", "s", "--port", "0"]
    pipes = {"stdout": subprocess.PIPE, "stderr": subprocess.PIPE, "text": True}
    with subprocess.Popen([*command, "--utility-name", name, *options], **pipes) as process:
        try:
            yield process, re.search(r"http://\S+", process.stderr.readline()).group()
            process.terminate()
            assert process.wait(10) == 0
        finally:
            process.kill()


def fetch(address, data=None):
    with build_opener(ProxyHandler({})).open(address, data, timeout=10) as response:
        return response.read().decode()


def test_settings_keep_edits(data):
    config = Path(local.get_default_config_dir())
    local.set_default_language("zh")
    assert config == data / "config" and local.get_default_language() == "zh"
    (config / "settings.json").write_text("{")
    (config / "plugin_includes.txt").unlink()
    again = "import velmora_client.utils.local as l; print(l.get_default_config_dir())"
    assert subprocess.check_output([sys.executable, "-c", again], text=True) == f"{config}\n"
    assert (config / "settings.json").read_text() == "{" and local.get_default_language() == "en"
    assert "lab_timer" in (config / "plugin_includes.txt").read_text()


def test_rights_follow_the_user(data):
    roles = {"admin": {}, "olivia": {1: "ORG_ADMIN", 2: "ORG_MEMBER"}, "max": {1: "ORG_MEMBER"}}
    for name, expected in roles.items():
        user.set_current_user(name)
        given = organization.get_org_list()
        assert given["is_system_admin"] is (name == "admin")
        assert {o["organization_id"]: o["user_role"] for o in given["organizations"]} == expected
    owners = {g["group_name"]: g["organization_id"] for g in device.get_groups()}
    assert owners == {name: device.get_group_detail(name)["organization_id"] for name in owners}
    for failing in (device.get_group_detail, user.set_current_user):
        with pytest.raises(LookupError):
            failing("nobody")


def test_register_survives_broken_plugins(data, capsys, monkeypatch):
    monkeypatch.setattr(sys, "dont_write_bytecode", False)  # a reload must not meet old bytecode
    for name, (text, _) in BROKEN.items():
        add_plugin(data / "plugins" / name, text)
    for parent in ("plugins", "included"):
        add_plugin(data / parent / "sound", NAMED % ("sound", 0))
    includes = Path(local.get_default_config_dir(), "plugin_includes.txt")
    includes.write_text(f"\n {data}/x/../included/sound/ \n/nowhere\n")
    register = PluginRegister()
    assert register.get_plugins_by_hook("no_such_hook") == []
    builtin, sound = register.get_plugins_by_hook(HOOK)
    assert sound.directory == data / "included" / "sound"
    for _ in range(2):
        with pytest.raises(ZeroDivisionError):
            sound.utility_server_register()
    told = capsys.readouterr().err.splitlines()
    expected = [text for _, text in BROKEN.values()] + ["/nowhere", "same name", "ZeroDivision"]
    assert [sum(text in line for line in told) for text in expected] == [1] * len(told)
    add_plugin(sound.directory, NAMED % ("sound", 1))
    register.reload()
    assert register.get_plugins_by_hook(HOOK)[1].utility_server_register() == 1


def test_every_shipped_utility_serves_or_says_why():
    for item, base in registrations():
        assert all(item[key] for key in ("title", "en_title", "description", "en_description"))
        assert "<svg" in next(base.glob(f"**/{item['icon_path']}")).read_text()
        name = item["utility_name"]
        if name == "spectrum_viewer":
            result = subprocess.run([sys.executable, script_of(name)], capture_output=True)
            assert result.stderr.splitlines()[-1].startswith(b"ModuleNotFoundError")
            continue
        with running(name, "--group-name", "-g", "--lang", "zh", "--config", "{}") as (_, address):
            page = fetch(address)
            assert re.search("<title>[\u4e00-\u9fff]+</title>", page)  # and all links are relative
            assert not re.search(r"""(href|src|action)=["']?(/|http)|fetch\(["']/""", page)
            health = json.loads(fetch(f"{address}/health"))
            assert (health["utility_name"], health["group_name"]) == (name, "-g")


def test_persistent_outlives_its_reader():
    with running("logbook", "--persistent") as (process, address):
        process.stdout.close()
        process.stderr.close()
        process.send_signal(signal.SIGINT)
        process.send_signal(signal.SIGHUP)
        for count in (1, 3, 5):  # each view logs, each note prints
            assert f"Views so far: {count}<" in fetch(address)
            assert "<td>&lt;b&gt;</td>" in fetch(f"{address}/add", b"text=<b>")
        assert json.loads(fetch(f"{address}/health"))["notes"] == 3


def test_pages_heed_configuration_and_rights():
    config = json.dumps({"_deferred_group_selection": True, "groups": ["温"]})
    with running("experiment_planner", "--config", config) as (_, address):
        assert "<option value='温'>" in fetch(address) and "<b>g</b>" in fetch(f"{address}?group=g")
    for name, state in (("group_board", "idle"), ("group_board_admin", "running")):
        with running(name, "--group-name", "g") as (_, address):
            fetch(f"{address}/change", b"device=pump&state=running")
            assert json.loads(fetch(f"{address}/health"))["devices"]["pump"] == state


def test_others_end_when_the_studio_was_killed():
    with running("unit_converter") as (process, _):
        process.stdout.close()
        assert process.wait(10) == 0
