"""Organisations, and the rights of the current user in them."""

from typing import Any

from velmora_client.com.user import get_current_user


def get_org_list() -> dict[str, Any]:
    """The current user's rights.

    `is_system_admin` is a boolean; `organizations` a list with `organization_id` and `user_role`
    ("ORG_ADMIN" or "ORG_MEMBER") for each organisation that the user belongs to.
    """
    user = get_current_user()
    return {
        "is_system_admin": bool(user.get("is_system_admin")),
        "organizations": user.get("organizations", []),
    }
