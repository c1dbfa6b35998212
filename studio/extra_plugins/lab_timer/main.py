"""A plugin outside the plugin directory, found through a line of `plugin_includes.txt`.

That is the way to work on a plugin of your own: leave it where it is, and add its directory to the
file.
"""

__VELMORA_PLUGIN_NAME__ = "lab_timer"


def utility_server_register() -> list[dict]:
    return [
        {
            "utility_name": "lab_timer",
            "title": "实验计时器",
            "en_title": "Lab timer",
            "description": "倒计时。",
            "en_description": "Counts down.",
            "script_path": "lab_timer.py",
            "icon_path": "lab_timer.svg",
        }
    ]
