"""The configuration that an instance was started with."""

import json
from typing import Any

from velmora_studio.instances import Instance
from velmora_studio.processes import command_line


def config_of(manager: Any, instance: Instance) -> dict[str, Any]:
    """As the instance got it. Empty where it can't be found out. May block."""
    info = manager.servers.get(instance.server_id, {})
    return info.get("config") or _config_on(command_line(instance.pid))


def _config_on(arguments: list[str]) -> dict[str, Any]:
    """Of an adopted instance only its command line tells."""
    try:
        config = json.loads(arguments[arguments.index("--config") + 1])
    except (ValueError, IndexError):
        return {}
    return config if isinstance(config, dict) else {}
