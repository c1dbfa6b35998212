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
            # What a start may be configured with: the Studio makes a form of it.
            "config_schema": {
                "properties": {
                    "minutes": {
                        "type": "integer",
                        "title": "启动后立即倒计时（分钟）",
                        "en_title": "Counts down at once (minutes)",
                        "minimum": 1,
                        "maximum": 600,
                    },
                    "verbose": {
                        "type": "boolean",
                        "title": "输出更多信息",
                        "en_title": "Writes more to standard error",
                    },
                },
            },
        }
    ]
