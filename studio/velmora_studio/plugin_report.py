"""Which plugins there are, and what of them didn't make it into the catalogue, with the reasons."""

import os
from typing import Any

from velmora_client.plugin.plugin_register import Plugin, plugin_register

from velmora_studio.operations import Operations

HOOK = "utility_server_register"


def describe_plugins(operations: Operations) -> dict[str, Any]:
    """Calls the hooks of all plugins. May block."""
    operations.catalogue.places("")  # fills the registry
    return {
        "plugins": [_describe_plugin(plugin, operations) for plugin in plugin_register.plugins()],
        "refused": [
            {"directory": str(directory), "reason": reason}
            for directory, reason in plugin_register.refused()
        ],
    }


def _describe_plugin(plugin: Plugin, operations: Operations) -> dict[str, Any]:
    registrations, problems = _ask(plugin)
    utilities = []
    for number, item in enumerate(registrations, 1):
        name = item.get("utility_name") if isinstance(item, dict) else None
        refusal = _refusal(item, plugin, operations)
        problem = refusal or _remark(item, operations)
        if problem:
            problems.append(f"{name or f'registration {number}'}: {problem}")
        if not refusal:
            utilities.append(str(name))
    return {
        "name": plugin.plugin_name,
        "directory": str(plugin.directory),
        "utilities": utilities,
        "problems": problems,
    }


def _ask(plugin: Plugin) -> tuple[list[Any], list[str]]:
    if not plugin.implements(HOOK):
        return [], [f"it has no function {HOOK}, so it offers no utility"]
    try:
        given = plugin.utility_server_register()
    except Exception:
        return [], [f"{HOOK} failed: {plugin.failure}"]
    if isinstance(given, list):
        return given, []
    return ([given] if given else []), []


def _refusal(item: Any, plugin: Plugin, operations: Operations) -> str:
    """Why a registration is left out of the catalogue; empty if it isn't."""
    if not isinstance(item, dict):
        return f"it is no mapping, but {type(item).__name__}"
    if not item.get("utility_name"):
        return "it has no utility_name"
    try:
        # Loading the module makes the manager, which is for the program itself to time.
        from utility_manager import UtilityRegistration

        UtilityRegistration.from_dict(item, plugin_name=plugin.plugin_name)
    except Exception as error:
        return f"{type(error).__name__}: {error}"
    kept = operations.registration(item["utility_name"])
    if not kept:
        return "a registration of the same plugin before it has failed"
    if kept["plugin_name"] != item.get("plugin_name", plugin.plugin_name):
        return f"the plugin '{kept['plugin_name']}' registers the same name, and counts"
    return ""


def _remark(item: Any, operations: Operations) -> str:
    """What will keep a registered utility from starting; empty if nothing is known to."""
    script = item.get("script_path")
    if not script:
        return "it names no script_path"
    if not os.path.exists(operations.registration(item["utility_name"])["script_path"]):
        return f"there is no script '{script}'"
    return ""
