"""A utility for system administrators alone: others neither see nor start it."""

__VELMORA_PLUGIN_NAME__ = "system_report"


def utility_server_register() -> list[dict]:
    return [
        {
            "utility_name": "system_report",
            "title": "系统报告",
            "en_title": "System report",
            "description": "本机与启动参数。",
            "en_description": "This computer, and how the utility was started.",
            "script_path": "system_report.py",
            "icon_path": "system_report.svg",
            "access_level": "SYS_ADMIN",
        }
    ]
