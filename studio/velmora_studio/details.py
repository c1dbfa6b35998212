"""What there is to know about one utility: its registration, and its instance if it runs."""

import shlex
from typing import Any

from velmora_client.plugin.plugin_register import plugin_register

from velmora_studio.instances import Instance
from velmora_studio.launch_config import config_of
from velmora_studio.operations import Operations
from velmora_studio.processes import command_line

TOLD = (
    *("utility_name", "title", "en_title", "description", "en_description", "plugin_name"),
    *("builtin", "script_path", "default_route", "access_level", "display_location"),
    *("require_group_name", "persistent", "icon_path", "create_exp_entry", "config_schema"),
)


def describe_utility(
    operations: Operations, utility_name: str, instance: Instance | None
) -> dict[str, Any]:
    """May block."""
    info = operations.registration(utility_name)
    directories = {each.plugin_name: each.directory for each in plugin_register.plugins()}
    return {
        "registration": {key: info[key] for key in TOLD if key in info},
        "plugin_directory": str(directories.get(info.get("plugin_name"), "")),
        "instance": instance and _describe_instance(operations, instance),
    }


def _describe_instance(operations: Operations, instance: Instance) -> dict[str, Any]:
    return {
        "server_id": instance.server_id,
        "port": instance.port,
        "pid": instance.pid,
        "url": instance.url,
        "local_url": f"http://localhost:{instance.port}",
        "config": config_of(operations.manager, instance),
        "command_line": shlex.join(command_line(instance.pid)),
    }
