"""The plugin to read first: one utility that runs once per Studio.

A plugin is a directory with this file. The Studio runs it when it starts, so it should only
describe what the plugin offers; the work is done by the scripts, each in a process of its own.
"""

# The plugin's name: in the plugin directory it is also the name of this directory.
__VELMORA_PLUGIN_NAME__ = "unit_converter"


def utility_server_register() -> list[dict]:
    """Describes the utilities of this plugin, one mapping each. Only `utility_name` is required."""
    return [
        {
            # The key of the utility: unique among all plugins, and part of its address.
            "utility_name": "unit_converter",
            # What the user reads. `title` and `description` are Chinese, their `en_` forms English.
            "title": "单位换算",
            "en_title": "Unit converter",
            "description": "温度、压力和长度单位之间的换算。",
            "en_description": "Converts temperatures, pressures and lengths.",
            # The script and the icon, relative to this directory. A bare name is also looked for in
            # `utility_servers/` and `utils/` (scripts) and in `icons/` (icons).
            "script_path": "unit_converter.py",
            "icon_path": "unit_converter.svg",
            # The page that the Studio opens first, added to the utility's address.
            "default_route": "/",
            # Further keys, with the values they have when left out:
            #   "require_group_name": False     True: one instance per device group
            #   "access_level": "ALL"           or "SYS_ADMIN" or "ORG_ADMIN"
            #   "display_location": "default"   or "navbar"
            #   "persistent": False             True: goes on running when the Studio closes
            #   "create_exp_entry": False       True: an entry of the create-experiment menu
        }
    ]
