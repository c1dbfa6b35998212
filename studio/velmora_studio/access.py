"""What the current user may use: what is shown to him at any place.

One decision serves the lists, a start, a stop and the forwarding.
"""

import os
import threading
import time
from typing import Any

from velmora_client.com.device import get_groups
from velmora_client.data_directory import data_directory

from velmora_studio.places import places_of

MOST_GROUPS = 200  # remembered at a time
RECENT_SECONDS = 0.05  # how often many requests in a row look at the file


class Access:
    """Remembers what is shown until `forget` or a change of the file that holds the
    users' rights. May be used on any thread; a look that is not remembered takes a moment."""

    def __init__(self, manager: Any) -> None:
        self._manager = manager
        self._file = str(data_directory() / "organizations.json")
        self._lock = threading.Lock()
        self._generation = 0
        self._recent_file, self._looked_at = (0, 0), float("-inf")
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
        state = self.state()
        with self._lock:
            return state == self._state and {None, group_name} <= self._shown.keys()

    def may_surely_use(self, utility_name: str, group_name: str | None) -> bool:
        """`may_use` without blocking; False where that can't be told."""
        if time.monotonic() - self._looked_at > RECENT_SECONDS:
            self._recent_file, self._looked_at = self._file_state(), time.monotonic()
        state = self._generation, *self._recent_file
        with self._lock:
            if state != self._state:
                return False
            shown = self._shown
            return utility_name in shown.get(None, ()) or utility_name in shown.get(group_name, ())

    def _shown_at(self, group_name: str | None) -> frozenset[str]:
        while True:
            state = self.state()
            with self._lock:
                if state == self._state and group_name in self._shown:
                    return self._shown[group_name]
            shown = self._ask(group_name)
            if state == self.state():  # else the user has changed on the way
                self._remember(state, group_name, shown)
                return shown

    def _remember(self, state: tuple, group_name: str | None, shown: frozenset[str]) -> None:
        with self._lock:
            if state != self._state or len(self._shown) >= MOST_GROUPS:
                self._state, self._shown = state, {}
            self._shown[group_name] = shown

    def state(self) -> tuple:
        """Changes with whatever decides what the current user may use."""
        return self._generation, *self._file_state()

    def _file_state(self) -> tuple[int, int]:
        file = os.stat(self._file)
        return file.st_mtime_ns, file.st_size

    def _ask(self, group_name: str | None) -> frozenset[str]:
        if group_name is not None:
            places = places_of(self._manager, group_name)
            shown = places["group"] + places["create_exp"]
        else:
            places = places_of(self._manager, "")
            shown = places["default"] + places["navbar"]
            for group in get_groups():
                # A navigation bar utility that asks for its group itself runs without one, and is
                # shown for groups alone.
                entries = places_of(self._manager, group["group_name"])["create_exp"]
                shown += [item for item in entries if item["display_location"] == "navbar"]
        return frozenset(item["utility_name"] for item in shown)
