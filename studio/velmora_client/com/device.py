"""Device groups."""

from typing import Any

from velmora_client.com.user import read_organization_file


def get_groups() -> list[dict[str, Any]]:
    """All device groups, in the order of the file."""
    return read_organization_file().get("groups", [])


def get_group_detail(group_name: str) -> dict[str, Any]:
    """The group, with `organization_id`: the organisation that owns it, or None.

    Fails with `LookupError` on an unknown group.
    """
    for group in get_groups():
        if group.get("group_name") == group_name:
            return group
    raise LookupError(f"there is no device group '{group_name}'")
