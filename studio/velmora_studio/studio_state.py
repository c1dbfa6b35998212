"""What the page shows: the Studio, and what runs, starts and has failed."""

import os
from typing import Any

from velmora_client.com.user import current_user_of, read_organization_file
from velmora_client.utils.local import get_default_language, get_gui_addr

from velmora_studio.access import Access
from velmora_studio.forward_address import prefix_of
from velmora_studio.instances import Entry, Instance
from velmora_studio.operations import Operations

LONGEST_DIGEST = 1000  # characters of a failure that every page is told


def describe_studio(operations: Operations) -> dict[str, Any]:
    """Fails with `OSError`, `ValueError` or `LookupError` on a file that makes no sense."""
    forward_origin = _forward_origin()
    content = read_organization_file()  # once: beside a busy loop each touch of a file takes long
    return {
        "user": current_user_of(content)["user_name"],
        "users": [_describe_user(user) for user in content.get("users", [])],
        "groups": _describe_groups(content),
        "language": get_default_language(),
        "gui": operations.own_origin or forward_origin,
        "forward_origin": forward_origin,
        "pid": os.getpid(),
        "catalogue": operations.catalogue.version(),
    }


def describe_all(operations: Operations, studio: dict[str, Any]) -> dict[str, dict[str, Any]]:
    """Everything that is told as it changes: maps whose values are told one by one. Nothing here
    waits for the manager, or for a file but that of the users' rights."""
    access = operations.access
    visible = [each for each in operations.running.table.all() if may_see(access, vars(each))]
    starting = [each for each in list(operations.running.starting) if may_see(access, each)]
    failures = [each for each in operations.running.failures.all() if may_see(access, each)]
    waits = {"waits": bool(operations.running.stopping)}
    return {
        "studio": studio,
        "running": {each.server_id: describe_instance(each, operations) for each in visible},
        "starting": {
            f"{each['group_name']}/{each['utility_name']}": each | waits
            for each in starting
        },
        "failures": {each["id"]: _shortened(each) for each in failures},
    }


def describe_instance(instance: Instance, operations: Operations) -> dict[str, Any]:
    name, group = instance.utility_name, instance.group_name
    info = operations.registration(name)
    route = str(info.get("default_route") or "/")
    described = {
        "server_id": instance.server_id,
        "utility_name": name,
        "title": info.get("title") or name,
        "en_title": info.get("en_title") or "",
        "port": instance.port,
        "pid": instance.pid,
        "local_url": f"http://localhost:{instance.port}",
        "url": instance.url,
        "default_route": route,
        "full_path": f"{prefix_of(name, group)}/{route.removeprefix('/')}",
        "create_time": instance.created,
        "icon": operations.catalogue.icons.address(info),
        "adopted": operations.running.is_adopted(instance),
        "persistent": bool(info.get("persistent")),
        "readiness": operations.running.readiness.of(instance.server_id),
        "stopping": instance.server_id in operations.running.stopping,
    }
    return described if group is None else described | {"group_name": group}


def show_running(operations: Operations, instances: list[Instance]) -> list[Entry]:
    """The instances that the user may use."""
    return [
        describe_instance(each, operations)
        for each in instances
        if may_see(operations.access, vars(each))
    ]


def show_running_grouped(operations: Operations) -> dict[str, Any]:
    grouped = operations.manager.list_all_running_utilities_grouped()

    def visible(entries: list[Entry]) -> list[Entry]:
        address = operations.catalogue.icons.address
        return [
            entry | {"icon": address(operations.registration(entry["utility_name"]))}
            for entry in entries
            if may_see(operations.access, entry)
        ]

    by_group = {group: visible(entries) for group, entries in grouped["by_group"].items()}
    return {
        "without_group": visible(grouped["without_group"]),
        "by_group": {group: entries for group, entries in by_group.items() if entries},
    }


def show_place(operations: Operations, place: str, group_name: str) -> list[Entry]:
    """The entries of a place, each with the instance that runs."""
    instances = operations.running.table.all()
    running = {(each.utility_name, each.group_name): each for each in instances}

    def with_instance(entry: Entry) -> Entry:
        bound = entry["require_group_name"] and entry["display_location"] != "navbar"
        instance = running.get((entry["utility_name"], group_name if bound else None))
        if instance is None:
            return entry | {"is_running": False}
        about = {"is_running": True, "server_id": instance.server_id, "port": instance.port}
        local_url = f"http://localhost:{instance.port}"
        urls = {"url": instance.url, "full_url": f"{instance.url}{entry['default_route']}"}
        return entry | about | {"local_url": local_url} | urls

    return [with_instance(entry) for entry in operations.catalogue.places(group_name)[place]]


def may_see(access: Access, entry: Entry) -> bool:
    """For an instance, a start or a failure."""
    return access.may_use(entry["utility_name"], entry.get("group_name"))


def _forward_origin() -> str:
    address = get_gui_addr() or {"server_addr": "127.0.0.1", "port": 6886}
    return f"http://{address['server_addr']}:{address['port']}"


def _shortened(failure: dict[str, Any]) -> dict[str, Any]:
    return failure | {key: failure[key][-LONGEST_DIGEST:] for key in ("message", "digest")}


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


def _describe_groups(content: dict[str, Any]) -> list[dict[str, Any]]:
    """Each with its own title and that of its organisation, in both languages."""
    organizations = {
        each.get("organization_id"): each for each in content.get("organizations", [])
    }

    def describe(group: dict[str, Any]) -> dict[str, Any]:
        owner = organizations.get(group.get("organization_id"), {})
        return {
            "name": group["group_name"],
            "title": group.get("title") or group["group_name"],
            "en_title": group.get("en_title") or "",
            "organization": owner.get("title"),
            "en_organization": owner.get("en_title"),
        }

    return [describe(group) for group in content.get("groups", [])]
