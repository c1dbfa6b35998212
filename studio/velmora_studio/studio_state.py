"""What the page shows: the Studio, the utilities of each place, and what runs."""

import os
from typing import Any

from velmora_client.com.device import get_groups
from velmora_client.com.user import get_current_user, get_users, read_organization_file
from velmora_client.utils.local import get_default_language, get_gui_addr

from velmora_studio.access import Access
from velmora_studio.forward_address import prefix_of
from velmora_studio.instances import Entry
from velmora_studio.operations import Operations


def describe_studio() -> dict[str, Any]:
    """Fails with `OSError`, `ValueError` or `LookupError` on a file that makes no sense."""
    language = get_default_language()
    address = get_gui_addr() or {"server_addr": "127.0.0.1", "port": 6886}
    return {
        "user": get_current_user()["user_name"],
        "users": [_describe_user(user) for user in get_users()],
        "groups": _describe_groups("title" if language == "zh" else "en_title"),
        "language": language,
        "gui": f"http://{address['server_addr']}:{address['port']}",
        "pid": os.getpid(),
    }


def show_places(manager: Any, group_name: str) -> dict[str, list[Entry]]:
    return {
        "default": manager.get_utilities_without_group_name(),
        "group": manager.get_utilities_with_group_name(group_name),
        "navbar": manager.get_navbar_utilities(),
        "create_exp": manager.get_create_exp_utilities(group_name),
    }


def show_running(operations: Operations, entries: list[Entry]) -> list[Entry]:
    """The entries of a listing that the user may use, with what the page needs beside them."""
    registry = operations.manager.utility_registry
    return [
        entry | _describe_entry(entry, registry.get(entry["utility_name"], {}), operations)
        for entry in entries
        if may_see(operations.access, entry)
    ]


def show_running_grouped(operations: Operations) -> dict[str, Any]:
    grouped = operations.manager.list_all_running_utilities_grouped()

    def visible(entries: list[Entry]) -> list[Entry]:
        return [entry for entry in entries if may_see(operations.access, entry)]

    by_group = {group: visible(entries) for group, entries in grouped["by_group"].items()}
    return {
        "without_group": visible(grouped["without_group"]),
        "by_group": {group: entries for group, entries in by_group.items() if entries},
    }


def may_see(access: Access, entry: Entry) -> bool:
    """For an entry of a listing, a start or a failure. May block."""
    return access.may_use(entry["utility_name"], entry.get("group_name"))


def _describe_entry(entry: Entry, info: dict[str, Any], operations: Operations) -> dict[str, Any]:
    prefix = prefix_of(entry["utility_name"], entry.get("group_name"))
    return {
        "adopted": operations.is_adopted(entry["server_id"]),
        "title": info.get("title") or entry["utility_name"],
        "en_title": info.get("en_title") or "",
        "full_path": f"{prefix}/{entry['default_route'].removeprefix('/')}",
        "persistent": bool(info.get("persistent")),
    }


def _describe_user(user: dict[str, Any]) -> dict[str, str]:
    roles = [organization.get("user_role") for organization in user.get("organizations", [])]
    administers = "ORG_ADMIN" if "ORG_ADMIN" in roles else "ORG_MEMBER"
    name = user["user_name"]
    return {
        "id": name,
        "name": user.get("title") or name,
        "en_name": user.get("en_title") or name,
        "role": "SYS_ADMIN" if user.get("is_system_admin") else administers,
    }


def _describe_groups(title: str) -> list[dict[str, str | None]]:
    organizations = read_organization_file().get("organizations", [])
    titles = {item.get("organization_id"): item.get(title) for item in organizations}
    return [
        {"name": group["group_name"], "organization": titles.get(group.get("organization_id"))}
        for group in get_groups()
    ]
