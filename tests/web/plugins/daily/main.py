"""Utilities to test the page with."""

__VELMORA_PLUGIN_NAME__ = "daily"


def utility_server_register() -> list[dict]:
    schema = {
        "properties": {
            "until": {"type": "string", "en_title": "Waits until this file exists"},
            "count": {"type": "integer", "minimum": 1, "maximum": 5, "default": 2},
            "mode": {"enum": ["quick", "thorough"], "default": "quick"},
            "verbose": {"type": "boolean"},
        },
        "required": ["count"],
    }
    texts = {"title": "日常", "en_title": "Daily bread", "en_description": "Says what it is told"}
    return [
        {"utility_name": "daily", "script_path": "daily.py", "config_schema": schema} | texts,
        {"utility_name": "plain", "script_path": "daily.py", "persistent": True},
        {"utility_name": "hostile", "script_path": "hostile.py"},
    ]
