"""Utilities for the measurements of the Studio, and many that only stand in its catalogue."""

import os
from pathlib import Path

__VELMORA_PLUGIN_NAME__ = "measured"

MANY = 500
ICON_BYTES = 20_000


def utility_server_register() -> list[dict]:
    icons = Path(os.environ["BENCHMARK_DIRECTORY"]) / "icons"
    icons.mkdir(exist_ok=True)
    return [
        {"utility_name": "pages", "script_path": "pages.py"},
        {"utility_name": "sockets", "script_path": "sockets.py"},
        *(_one_of_many(number, icons / f"{number:03}.svg") for number in range(MANY)),
    ]


def _one_of_many(number: int, icon: Path) -> dict:
    if not icon.exists():
        image = f"<svg xmlns='http://www.w3.org/2000/svg'><text>{number}</text><!--"
        icon.write_text(image + "." * (ICON_BYTES - len(image)) + "--></svg>")
    return {
        "utility_name": f"many_{number:03}",
        "title": f"Utility {number}",
        "description": "Shows what a description of usual length looks like in a list.",
        "script_path": "pages.py",
        "icon_path": str(icon),
    }
