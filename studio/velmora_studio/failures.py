"""What has gone wrong and isn't dismissed yet: starts that failed, instances that have died."""

import itertools
import time
from typing import Any

from velmora_studio.last_words import End

START_FAILED = "Failed to start utility server: "  # the manager's words, before its digest
MOST_FAILURES = 50


class Failures:
    """Belongs to the event loop's thread."""

    def __init__(self) -> None:
        self._failures: dict[str, dict[str, Any]] = {}  # by id, the oldest first
        self._numbers = itertools.count(1)

    def all(self) -> list[dict[str, Any]]:
        return list(self._failures.values())

    def note_start(self, utility_name: str, group_name: str, message: str) -> None:
        digest = message.removeprefix(START_FAILED)
        self._add("start", utility_name, group_name, message=message, digest=digest)

    def note_end(self, end: End) -> None:
        """Takes the place of what was told of the same end before."""
        instance = end.instance
        for failure in self.all():
            if failure.get("server_id") == instance.server_id:
                failure = failure | {"digest": end.text} | end.exit
                self._failures[failure["id"]] = failure
                return
        told = {
            "message": f"Utility '{instance.utility_name}' has ended by itself.",
            "digest": end.text,
            "server_id": instance.server_id,
        }
        self._add("end", instance.utility_name, instance.group_name or "", **told, **end.exit)

    def dismiss(self, failure_id: str) -> None:
        self._failures.pop(failure_id, None)

    def forget(self, utility_name: str, group_name: str) -> None:
        """It has been started since, so what went wrong before is no news any more."""
        for failure in self.all():
            if (failure["utility_name"], failure["group_name"]) == (utility_name, group_name):
                self.dismiss(failure["id"])

    def get(self, failure_id: str) -> dict[str, Any] | None:
        return self._failures.get(failure_id)

    def _add(self, kind: str, utility_name: str, group_name: str, **told: Any) -> None:
        failure_id = str(next(self._numbers))
        place = {"utility_name": utility_name, "group_name": group_name}
        about = {"id": failure_id, "kind": kind, "time": time.time()}
        self._failures[failure_id] = about | place | told
        if len(self._failures) > MOST_FAILURES:
            self.dismiss(next(iter(self._failures)))
