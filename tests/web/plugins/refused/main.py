"""Registrations that don't make it into the catalogue, and one that can't be started."""

__VELMORA_PLUGIN_NAME__ = "refused"


def utility_server_register() -> list[dict]:
    return [
        {"title": "nameless"},
        {"utility_name": "scriptless", "script_path": "nowhere.py"},
        {"utility_name": "levelless", "access_level": None},
        {"utility_name": "behind"},
    ]
