"""Settings of this computer: directories, language, the address of the web application."""

import json
from typing import Any

from velmora_client.data_directory import STUDIO_DIRECTORY, data_directory, write_file

LANGUAGES = ("zh", "en")
DEFAULT_GUI_PORT = 6886

_gui_addr: dict[str, Any] | None = None


def get_default_config_dir() -> str:
    """The Studio's configuration directory."""
    return str(data_directory() / "config")


def get_plugin_dir() -> str:
    """The directory that holds one directory per plugin: the user's own, else the samples."""
    own = data_directory() / "plugins"
    return str(own if own.is_dir() else STUDIO_DIRECTORY / "sample_plugins")


def get_default_language() -> str:
    """The language of the settings file; English where it names none that the Studio knows."""
    language = _read_settings().get("language")
    return language if language in LANGUAGES else "en"


def set_default_language(language: str) -> None:
    """Changes the language in the settings file. Fails with `ValueError` on an unknown one."""
    if language not in LANGUAGES:
        raise ValueError(f"unknown language '{language}'")
    settings = _read_settings() | {"language": language}
    text = json.dumps(settings, ensure_ascii=False, indent=2) + "\n"
    write_file(data_directory() / "config" / "settings.json", text)


def get_gui_addr() -> dict[str, Any] | None:
    """`server_addr` and `port` of the Studio's web application; None while it doesn't run."""
    return dict(_gui_addr) if _gui_addr else None


def set_gui_addr(server_addr: str | None, port: int = DEFAULT_GUI_PORT) -> None:
    """Tells where the web application listens. It calls this when it starts; None: it has ended."""
    global _gui_addr
    _gui_addr = {"server_addr": server_addr, "port": port} if server_addr else None


def _read_settings() -> dict[str, Any]:
    path = data_directory() / "config" / "settings.json"
    try:
        settings = json.loads(path.read_text(encoding="utf-8"))
    except (OSError, ValueError):
        return {}
    return settings if isinstance(settings, dict) else {}
