"""Addresses of utilities: /utility/<name>/... and /group_utility/<group>/<name>/..."""

from dataclasses import dataclass
from typing import Any
from urllib.parse import quote, unquote_to_bytes

NAMES_BY_KIND = {b"utility": 1, b"group_utility": 2}


@dataclass(frozen=True)
class Address:
    """What an address means, and the part of it that is the utility's own business."""

    utility_name: str
    group_name: str | None
    prefix: str  # the Studio's part of the path as it was sent, without a slash at its end
    path: bytes  # the rest, as it was sent; empty where even the slash is missing


def prefix_of(utility_name: str, group_name: str | None) -> str:
    """The prefix to send the user to."""
    names = [utility_name] if group_name is None else [group_name, utility_name]
    kind = "utility" if group_name is None else "group_utility"
    return "/".join(["", kind, *(quote(name, safe="") for name in names)])


def told_prefix(registration: dict[str, Any], group_name: str) -> dict[str, str]:
    """What a utility whose registration asks for it finds in its configuration."""
    if not registration.get("prefix_in_config"):
        return {}
    in_navbar = registration.get("display_location") == "navbar"
    runs_per_group = registration.get("require_group_name") and not in_navbar
    name = registration["utility_name"]
    return {"forward_prefix": prefix_of(name, group_name if runs_per_group else None)}


def parse_address(raw_path: bytes) -> Address | None:
    """None for a path that belongs to the Studio itself, or that names nothing."""
    kind, _, rest = raw_path.removeprefix(b"/").partition(b"/")
    count = NAMES_BY_KIND.get(kind)
    if count is None or not raw_path.startswith(b"/"):
        return None
    pieces = rest.split(b"/", count)
    try:
        names = [unquote_to_bytes(piece).decode() for piece in pieces[:count]]
    except UnicodeDecodeError:
        return None
    if len(names) < count or not all(names):
        return None
    path = b"/" + pieces[count] if len(pieces) > count else b""
    # Prefixes go into cookies, where a semicolon would end them.
    prefix = raw_path.removesuffix(path).replace(b";", b"%3B").decode("latin-1")
    return Address(names[-1], names[0] if count == 2 else None, prefix, path)
