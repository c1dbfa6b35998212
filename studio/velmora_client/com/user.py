"""The users of the Studio, and who is using it now.

Users, organisations and device groups stand in one file, `organizations.json` in the data
directory. It is read at each call, so a change of the file counts at once.
"""

import json
from typing import Any

from velmora_client.data_directory import data_directory

_chosen_user: str | None = None


def read_organization_file() -> dict[str, Any]:
    """The whole file: `organizations`, `groups`, `users` and `current_user`."""
    path = data_directory() / "organizations.json"
    try:
        content = json.loads(path.read_text(encoding="utf-8"))
    except ValueError as error:
        raise ValueError(f"{path} is no valid JSON: {error}") from error
    if not isinstance(content, dict):
        raise ValueError(f"{path} holds no JSON object")
    return content


def get_users() -> list[dict[str, Any]]:
    """All users, in the order of the file."""
    return read_organization_file().get("users", [])


def get_current_user() -> dict[str, Any]:
    """The chosen user; before a choice the one that the file names. Fails with `LookupError`."""
    return current_user_of(read_organization_file())


def current_user_of(content: dict[str, Any]) -> dict[str, Any]:
    """The same from the content of the file."""
    name = _chosen_user or content.get("current_user")
    for user in content.get("users", []):
        if user.get("user_name") == name:
            return user
    raise LookupError(f"there is no user '{name}'")


def set_current_user(user_name: str) -> None:
    """Makes this user the current one for as long as the Studio runs. Fails with `LookupError`."""
    global _chosen_user
    if user_name not in [user.get("user_name") for user in get_users()]:
        raise LookupError(f"there is no user '{user_name}'")
    _chosen_user = user_name
