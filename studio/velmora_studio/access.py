"""What the current user may use: what the manager's views show to him.

One decision serves the lists, a start, a stop and the forwarding.
"""

import threading
from typing import Any

from velmora_client.com.device import get_groups
from velmora_client.data_directory import data_directory

MOST_GROUPS = 200  # remembered at a time


class Access:
    """Remembers what the views have shown until `forget` or a change of the file that holds the
    users' rights. May be used on any thread; a look that is not remembered can block."""

    def __init__(self, manager: Any) -> None:
        self._manager = manager
        self._lock = threading.Lock()
        self._generation = 0
        self._state: tuple | None = None  # what the memory below belongs to
        self._shown: dict[str | None, frozenset[str]] = {}

    def forget(self) -> None:
        """To be called when user, catalogue or language have changed."""
        with self._lock:
            self._generation += 1

    def may_use(self, utility_name: str, group_name: str | None) -> bool:
        """Whether the utility is shown to the user, without group or for this group."""
        places: list[str | None] = [None] if group_name is None else [None, group_name]
        return any(utility_name in self._shown_at(place) for place in places)

    def remembers(self, group_name: str | None) -> bool:
        """True when `may_use` will answer for this group without blocking."""
        state = self._present_state()
        with self._lock:
            return state == self._state and {None, group_name} <= self._shown.keys()

    def _shown_at(self, group_name: str | None) -> frozenset[str]:
        while True:
            state = self._present_state()
            with self._lock:
                if state == self._state and group_name in self._shown:
                    return self._shown[group_name]
            shown = self._ask(group_name)
            if state == self._present_state():  # else the user has changed on the way
                self._remember(state, group_name, shown)
                return shown

    def _remember(self, state: tuple, group_name: str | None, shown: frozenset[str]) -> None:
        with self._lock:
            if state != self._state or len(self._shown) >= MOST_GROUPS:
                self._state, self._shown = state, {}
            self._shown[group_name] = shown

    def _present_state(self) -> tuple:
        file = (data_directory() / "organizations.json").stat()
        return self._generation, file.st_mtime_ns, file.st_size

    def _ask(self, group_name: str | None) -> frozenset[str]:
        manager = self._manager
        if group_name is not None:
            shown = manager.get_utilities_with_group_name(group_name)
            shown += manager.get_create_exp_utilities(group_name)
        else:
            shown = manager.get_utilities_without_group_name() + manager.get_navbar_utilities()
            for group in get_groups():
                # A navigation bar utility that asks for its group itself runs without one, and is
                # shown for groups alone.
                entries = manager.get_create_exp_utilities(group["group_name"])
                shown += [item for item in entries if item["display_location"] == "navbar"]
        return frozenset(item["utility_name"] for item in shown)
