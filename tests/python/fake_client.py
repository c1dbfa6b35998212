"""The client's services, in memory, for a script in an interpreter of its own.

A script changes `plugins` and `services` and then imports `utility_manager`. Everything is looked
up at each call.
"""

import os
import sys
import threading
import types
from collections.abc import Callable
from pathlib import Path
from typing import Any

DATA = Path(os.environ["FAKE_CLIENT_DATA"])

# Bodies of utilities. They end with their client, so that no test leaves one behind.
os.environ["FAKE_CLIENT_ID"] = str(os.getpid())
IDLE = """
import os, sys, time
while os.getppid() == int(os.environ["FAKE_CLIENT_ID"]):
    time.sleep(0.02)
"""
CHATTY = IDLE + "    print('o' * 70), print('e' * 70, file=sys.stderr)\n"
STUBBORN = "import signal; signal.signal(signal.SIGTERM, signal.SIG_IGN)\n" + IDLE


class Plugin:
    """A plugin that gives `registrations`, or what the function in their place gives."""

    def __init__(self, plugin_name: str, registrations: Any) -> None:
        self.plugin_name = plugin_name
        self.registrations = registrations

    def utility_server_register(self) -> Any:
        return self.registrations() if callable(self.registrations) else self.registrations


plugins: list[Any] = []
services: dict[str, Callable[..., Any]] = {
    "get_plugins_by_hook": lambda hook: plugins,
    "get_default_config_dir": lambda: DATA / "config",
    "get_plugin_dir": lambda: DATA / "plugins",
    "get_default_language": lambda: "en",
    "get_gui_addr": lambda: {"server_addr": "127.0.0.1", "port": 7000},
    "get_org_list": lambda: {"is_system_admin": True, "organizations": []},
    "get_group_detail": lambda group_name: {"organization_id": 7},
}


def _service(name: str) -> Callable[..., Any]:
    return lambda *arguments: services[name](*arguments)


def _module(name: str, *service_names: str, **names: Any) -> None:
    module = sys.modules[name] = types.ModuleType(name)
    module.__dict__.update(names, **{service: _service(service) for service in service_names})


_LOCAL = ("get_default_config_dir", "get_plugin_dir", "get_default_language", "get_gui_addr")
for _package in ("", ".plugin", ".utils", ".com"):
    _module("velmora_client" + _package, __path__=[])
_register = types.SimpleNamespace(get_plugins_by_hook=_service("get_plugins_by_hook"))
_module("velmora_client.plugin.plugin_register", plugin_register=_register)
_module("velmora_client.plugin.built_in", __file__=str(DATA / "built_in" / "__init__.py"))
_module("velmora_client.utils.local", *_LOCAL)
_module("velmora_client.com.organization", "get_org_list")
_module("velmora_client.com.device", "get_group_detail")


def utility(name: str, body: str = IDLE, **keys: Any) -> dict[str, Any]:
    """A registration whose script, written here, runs `body`."""
    script = DATA / f"{name}.py"
    script.parent.mkdir(parents=True, exist_ok=True)
    script.write_text(body)
    return {"utility_name": name, "script_path": str(script), **keys}


def daemon(work: Callable[[], Any]) -> threading.Thread:
    thread = threading.Thread(target=work, daemon=True)
    thread.start()
    return thread


def fails_with(failure: type[BaseException], part: str, work: Callable[..., Any], *given: Any):
    """The exception that `work` must raise, with `part` in its text."""
    try:
        result = work(*given)
    except failure as raised:
        assert part in str(raised), f"{part!r} not in {raised!r}"
        return raised
    raise AssertionError(f"{failure.__name__} expected, got {result!r}")
