"""The catalogue as the current user sees it, remembered until something has changed in it."""

import threading
from typing import Any

from velmora_studio.access import Access
from velmora_studio.answers import json_text
from velmora_studio.icons import Icons
from velmora_studio.instances import Entry
from velmora_studio.places import places_of

MOST_GROUPS = 200  # remembered at a time

Places = dict[str, list[Entry]]


class Catalogue:
    """May be used on any thread. Calls the plugins when they have changed."""

    def __init__(self, manager: Any, access: Access) -> None:
        self._manager = manager
        self._access = access
        self.icons = Icons(manager)
        self._lock = threading.Lock()  # held while one thread asks, and others wait for its answer
        self._version = ""
        self._places: dict[str, Places] = {}  # by group
        self._texts: dict[str, str] = {}  # of the same groups
        self._registrations: dict[str, dict[str, Any]] = {}

    def version(self) -> str:
        """Changes when something else may have to be shown."""
        return "-".join(map(str, self._access.state()))

    def places(self, group_name: str) -> Places:
        with self._lock:
            return self._known_places(group_name)

    def text(self, group_name: str) -> str:
        """`version` and `places` as JSON."""
        with self._lock:
            places = self._known_places(group_name)
            if group_name not in self._texts:
                told = {"version": self._version, "places": places}
                self._texts[group_name] = json_text(told)
            return self._texts[group_name]

    def read_ahead(self) -> None:
        """Has what takes a moment done before it is asked for, for the groups wanted so far."""
        groups = list(self._places) or [""]
        self._access.may_use("", None)
        for group_name in groups:
            self.text(group_name)

    def registration(self, utility_name: str) -> dict[str, Any]:
        """Empty for an unknown name."""
        if utility_name not in self._registrations:
            self._registrations = self._manager.utility_registry
        return self._registrations.get(utility_name, {})

    def forget_registrations(self) -> None:
        """To be called when the plugins have changed."""
        self.icons.forget()
        self._registrations = {}

    def _known_places(self, group_name: str) -> Places:
        version = self.version()
        if version != self._version or len(self._places) >= MOST_GROUPS:
            self._version, self._places, self._texts = version, {}, {}
        if group_name not in self._places:
            self._places[group_name] = self._ask(group_name)
        return self._places[group_name]

    def _ask(self, group_name: str) -> Places:
        places = places_of(self._manager, group_name)
        return {place: [self._with_icon(info) for info in infos] for place, infos in places.items()}

    def _with_icon(self, info: Entry) -> Entry:
        kept = {key: value for key, value in info.items() if key != "icon_path"}
        return kept | {"icon": self.icons.address(info)}
