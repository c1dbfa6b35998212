"""A clock in the navigation bar. Built in, so its paths are relative to the directory above."""

__VELMORA_PLUGIN_NAME__ = "builtin_clock"


def utility_server_register() -> list[dict]:
    return [
        {
            "utility_name": "world_clock",
            "title": "世界时钟",
            "en_title": "World clock",
            "description": "各合作实验室的当地时间。",
            "en_description": "The time at the laboratories we work with.",
            "script_path": "builtin_clock/world_clock.py",
            "icon_path": "builtin_clock/world_clock.svg",
            "display_location": "navbar",
            "builtin": True,
        }
    ]
