"""Where the Studio keeps its data: configuration, plugins, organisations.

The directory is named by the environment variable VELMORA_DATA_DIR; without it, it is `.data` in
the Studio's own directory:

    organizations.json           users, organisations and device groups
    config/settings.json         the language
    config/plugin_includes.txt   directories of further plugins, one a line
    plugins/                     plugins of the user; optional
"""

import functools
import os
import threading
from pathlib import Path

STUDIO_DIRECTORY = Path(__file__).resolve().parents[1]


def data_directory() -> Path:
    """The data directory, absolute. What is missing in it is written on the first call."""
    named = os.environ.get("VELMORA_DATA_DIR")
    directory = Path(named).expanduser().absolute() if named else STUDIO_DIRECTORY / ".data"
    _seed(directory)
    return directory


def write_file(path: Path, text: str) -> None:
    """Writes the whole file in one step, so that no reader meets half of it."""
    new = path.with_name(f".{path.name}.{os.getpid()}.{threading.get_ident()}")
    try:
        new.write_text(text, encoding="utf-8")
        os.replace(new, path)
    finally:
        new.unlink(missing_ok=True)


@functools.cache
def _seed(directory: Path) -> None:
    """Adds what is missing, once per process; what is there stays as the user left it."""
    samples = STUDIO_DIRECTORY / "sample_data"
    contents = {
        "organizations.json": (samples / "organizations.json").read_text(encoding="utf-8"),
        "config/settings.json": (samples / "settings.json").read_text(encoding="utf-8"),
        "config/plugin_includes.txt": f"{STUDIO_DIRECTORY / 'extra_plugins' / 'lab_timer'}\n",
    }
    for name, text in contents.items():
        path = directory / name
        if not path.exists():
            path.parent.mkdir(parents=True, exist_ok=True)
            write_file(path, text)
