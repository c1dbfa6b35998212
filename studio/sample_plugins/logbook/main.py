"""A persistent utility: it goes on running when the Studio closes, and the next Studio finds it."""

__VELMORA_PLUGIN_NAME__ = "logbook"


def utility_server_register() -> dict:
    # A plugin with a single utility may give its mapping without a list around it.
    return {
        "utility_name": "logbook",
        "title": "实验日志",
        "en_title": "Logbook",
        "description": "关闭客户端后继续运行的日志。",
        "en_description": "Notes that stay while the Studio is closed.",
        "script_path": "logbook.py",
        "icon_path": "logbook.svg",
        "persistent": True,
    }
