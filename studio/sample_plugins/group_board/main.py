"""Utilities that run once per device group; two of them in one plugin, with one script.

`require_group_name` makes the Studio start an instance for each group, with "--group-name" on its
command line. Instances of different groups run side by side and share nothing.
"""

__VELMORA_PLUGIN_NAME__ = "group_board"


def utility_server_register() -> list[dict]:
    return [
        {
            "utility_name": "group_board",
            "title": "设备组状态板",
            "en_title": "Group board",
            "description": "设备组的状态一览。",
            "en_description": "What state the devices of a group are in.",
            "script_path": "group_board.py",  # lies in utility_servers/
            "icon_path": "group_board.svg",  # lies in icons/
            "require_group_name": True,
        },
        {
            "utility_name": "group_board_admin",
            "title": "设备组管理",
            "en_title": "Group board, for administrators",
            "description": "更改设备组的状态。",
            "en_description": "Changes the states that the devices of a group are in.",
            "script_path": "group_board.py",
            "icon_path": "group_board.svg",
            "require_group_name": True,
            # Only for administrators of the organisation that owns the group.
            "access_level": "ORG_ADMIN",
        },
    ]
