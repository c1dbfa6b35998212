"""The command line that the Studio gives to a utility."""

import argparse
import json
import sys
from collections.abc import Iterator
from dataclasses import dataclass, field
from typing import Any


@dataclass(frozen=True)
class Options:
    """One start of a utility."""

    server_id: str
    utility_name: str
    port: int
    group_name: str = ""  # the device group; empty for a utility that runs once per Studio
    config: dict[str, Any] = field(default_factory=dict)
    lang: str = "en"
    studio_url: str = ""  # the Studio's web application; empty where that isn't known
    persistent: bool = False  # the utility goes on running when the Studio closes

    @property
    def deferred_group_selection(self) -> bool:
        """The utility works on a device group that the user chooses in its own pages."""
        return bool(self.config.get("_deferred_group_selection"))


def parse_command_line(arguments: list[str] | None = None) -> Options:
    """Reads `arguments`, as a rule those of the process. Ends the process on a wrong one."""
    parser = argparse.ArgumentParser(allow_abbrev=False)
    parser.add_argument("--server-id", required=True)
    parser.add_argument("--utility-name", required=True)
    parser.add_argument("--port", required=True, type=int)
    parser.add_argument("--group-name", default="")
    parser.add_argument("--config", default={}, type=_json_object)
    parser.add_argument("--lang", default="en")
    parser.add_argument("--studio-url", default="")
    parser.add_argument("--persistent", action="store_true")
    given = sys.argv[1:] if arguments is None else arguments
    return Options(**vars(parser.parse_args(list(_joined(given)))))


def _joined(arguments: list[str]) -> Iterator[str]:
    """Writes each option and its value as one argument: a value may begin with a hyphen."""
    rest = iter(arguments)
    for argument in rest:
        takes_value = argument.startswith("--") and argument != "--persistent"
        value = next(rest, None) if takes_value and "=" not in argument else None
        yield argument if value is None else f"{argument}={value}"


def _json_object(text: str) -> dict[str, Any]:
    try:
        value = json.loads(text)
    except ValueError as error:
        raise argparse.ArgumentTypeError(f"no valid JSON: {error}") from error
    if not isinstance(value, dict):
        raise argparse.ArgumentTypeError("no JSON object")
    return value
