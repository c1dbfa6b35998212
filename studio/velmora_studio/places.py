"""The places of the interface, as the manager's views fill them.

A view also tells what runs, and so it waits for a stop under way. Who may use what is the manager's
own decision here too, of its class and not of its books: nothing here waits.
"""

from typing import Any

from velmora_studio.instances import Entry

PLACES = ("default", "group", "navbar", "create_exp")


def places_of(manager: Any, group_name: str) -> dict[str, list[Entry]]:
    """The registrations that the current user is shown at each place, for this device group."""
    rights = manager._get_user_permissions()
    places: dict[str, list[Entry]] = {place: [] for place in PLACES}
    for info in manager._get_all_utilities():
        for place, group in _candidates(manager, info, group_name):
            if manager._check_utility_permission(info, rights, group):
                places[place].append(info)
    places["create_exp"].sort(key=_folded_title)
    return places


def _candidates(manager: Any, info: Entry, group_name: str) -> list[tuple[str, str | None]]:
    """The places that a registration belongs to, each with the group whose rights count there."""
    per_group, navbar = bool(info["require_group_name"]), manager._utility_is_navbar(info)
    found: list[tuple[str, str | None]] = []
    if not navbar:
        found.append(("group", group_name) if per_group else ("default", None))
    elif not per_group:
        found.append(("navbar", None))
    group = group_name.strip()
    if manager._utility_is_create_exp_entry(info) and (group or not per_group):
        found.append(("create_exp", group if per_group else None))
    return found


def _folded_title(entry: Entry) -> str:
    return str(entry.get("title") or entry["utility_name"]).casefold()
