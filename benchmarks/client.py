"""The client's services for a benchmark: in memory, as cheap as they can be, each call counted.

`install` comes before the first import of `utility_manager`.
"""

import sys
import types
from collections import Counter
from collections.abc import Callable
from pathlib import Path
from typing import Any

PLUGIN_NAME = "benchmark_plugin"

calls: Counter[str] = Counter()
plugin: "Plugin"
directory = Path()


class Plugin:
    """The one plugin."""

    plugin_name = PLUGIN_NAME

    def __init__(self, registrations: list[dict[str, Any]]) -> None:
        self.registrations = registrations

    def utility_server_register(self) -> list[dict[str, Any]]:
        return self.registrations


def _counted(name: str, answer: Callable[..., Any]) -> Callable[..., Any]:
    def service(*arguments: Any) -> Any:
        calls[name] += 1
        return answer(*arguments)

    return service


def _module(name: str, services: dict[str, Callable[..., Any]] | None = None, **names: Any) -> None:
    module = sys.modules[name] = types.ModuleType(name)
    module.__dict__.update(names)
    for service, answer in (services or {}).items():
        setattr(module, service, _counted(service, answer))


def install(in_directory: Path, utilities: int = 0) -> None:
    """Puts the services in place: a client in `in_directory` with one plugin of so many utilities,
    each with an icon of its own."""
    global directory, plugin
    directory = in_directory
    plugin = Plugin([_registration(number) for number in range(utilities)])
    plugins = [plugin]
    register = types.SimpleNamespace(
        get_plugins_by_hook=_counted("get_plugins_by_hook", lambda hook: plugins)
    )
    for package in ("", ".plugin", ".utils", ".com"):
        _module("velmora_client" + package, __path__=[])
    _module("velmora_client.plugin.plugin_register", plugin_register=register)
    _module("velmora_client.plugin.built_in", __file__=str(directory / "built_in" / "__init__.py"))
    _module("velmora_client.utils.local", {
        "get_default_config_dir": lambda: str(directory / "config"),
        "get_plugin_dir": lambda: str(directory / "plugins"),
        "get_default_language": lambda: "en",
        "get_gui_addr": lambda: {"server_addr": "127.0.0.1", "port": 6886},
    })
    _module("velmora_client.com.organization", {
        "get_org_list": lambda: {"is_system_admin": False, "organizations": []},
    })
    _module("velmora_client.com.device", {
        "get_group_detail": lambda group_name: {"organization_id": 1},
    })


def utility_name(number: int) -> str:
    return f"utility_{number:03}"


def _registration(number: int) -> dict[str, Any]:
    icon = directory / "plugins" / PLUGIN_NAME / "icons" / f"{number:03}.svg"
    icon.parent.mkdir(parents=True, exist_ok=True)
    icon.write_text(f"<svg xmlns='http://www.w3.org/2000/svg'><text>{number}</text></svg>")
    return {
        "utility_name": utility_name(number),
        "title": f"Utility {number}",
        "description": "Shows what a description of usual length looks like in a list.",
        "script_path": "utility.py",
        "icon_path": icon.name,
    }
