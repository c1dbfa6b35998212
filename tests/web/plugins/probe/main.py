"""Utilities to test the forwarding with: `streams` and `raw` do what a request tells them."""

__VELMORA_PLUGIN_NAME__ = "probe"


def utility_server_register() -> list[dict]:
    quick = [{"utility_name": f"quick_{n}", "script_path": "raw.py"} for n in range(20)]
    return quick + [
        {"utility_name": "streams", "script_path": "streams.py", "title": "流"},
        {"utility_name": "streams_2", "script_path": "streams.py"},
        {"utility_name": "raw", "script_path": "raw.py", "default_route": "/app"},
        {
            "utility_name": "based",  # has a base path of its own
            "script_path": "raw.py",
            "require_group_name": True,
            "forward_whole_path": True,
            "prefix_in_config": True,
        },
        {"utility_name": "fast", "script_path": "fast.py"},
        {"utility_name": "mute", "script_path": "mute.py"},
        {"utility_name": "mutes", "script_path": "mute.py", "require_group_name": True},
        {"utility_name": "fails", "script_path": "no_such_module_inside.py"},
        {"utility_name": "lasting", "script_path": "raw.py", "persistent": True},
        {"utility_name": "board", "script_path": "raw.py", "require_group_name": True},
        {"utility_name": "streams_admin", "script_path": "streams.py", "access_level": "SYS_ADMIN"},
        {"utility_name": "admin_only", "script_path": "raw.py", "access_level": "SYS_ADMIN"},
        {  # runs without group, and is shown for groups alone
            "utility_name": "planner",
            "script_path": "raw.py",
            "require_group_name": True,
            "display_location": "navbar",
            "create_exp_entry": True,
        },
        {  # no view shows it to anybody
            "utility_name": "nowhere",
            "script_path": "raw.py",
            "require_group_name": True,
            "display_location": "navbar",
        },
    ]
