"""Icons of utilities, kept apart from what is told about them: each has an address of its own."""

import base64
import binascii
import hashlib
import os
import threading
from typing import Any

ADDRESS = "/api/icons/"


class Icons:
    """Reads an icon when its address is asked for. The address can't be guessed, so whoever knows
    it was shown the utility; it is another one when the icon may have changed. May be used on any
    thread."""

    def __init__(self, manager: Any) -> None:
        self._manager = manager
        self._lock = threading.Lock()
        self._secret = os.urandom(16)
        self._registrations: dict[str, dict[str, Any]] = {}  # by digest
        self._contents: dict[str, tuple[str, bytes] | None] = {}

    def address(self, registration: dict[str, Any]) -> str | None:
        """None for a utility without an icon."""
        if not registration.get("icon_path"):
            return None
        name = str(registration["utility_name"]).encode(errors="replace")
        digest = hashlib.blake2b(name, key=self._secret, digest_size=16).hexdigest()
        self._registrations[digest] = registration
        return ADDRESS + digest

    def forget(self) -> None:
        """Utilities may have other icons."""
        with self._lock:
            self._secret = os.urandom(16)
            self._registrations, self._contents = {}, {}

    def content(self, digest: str) -> tuple[str, bytes] | None:
        """Media type and bytes; None where there is no such address, or no image."""
        with self._lock:
            if digest not in self._contents and digest in self._registrations:
                # The manager keeps what it has read in the mapping that it is given.
                registration = dict(self._registrations[digest])
                icon = self._manager._add_icon_to_utility_info(registration)["icon"]
                self._contents[digest] = _decoded(icon or "")
            return self._contents.get(digest)


def _decoded(data_uri: str) -> tuple[str, bytes] | None:
    head, _, text = data_uri.partition(";base64,")
    media_type = head.removeprefix("data:")
    if not media_type.startswith("image/"):
        return None
    try:
        return media_type, base64.b64decode(text, validate=True)
    except binascii.Error:
        return None
