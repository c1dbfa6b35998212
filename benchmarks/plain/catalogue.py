"""Records of the catalogue as the interface gets them: with the icon in place of its path."""

import base64
import os
from typing import Any

from velmora_client.plugin import built_in
from velmora_client.utils.local import get_default_config_dir, get_plugin_dir

MIME_TYPES = {".png": "image/png", ".svg": "image/svg+xml", ".jpg": "image/jpeg"}


def included_directory(plugin_name: str) -> str | None:
    includes = os.path.join(get_default_config_dir(), "plugin_includes.txt")
    if not os.path.isfile(includes):  # as in every benchmark
        return None
    with open(includes, encoding="utf-8") as file:
        lines = map(str.strip, file)
        return next((line for line in lines if os.path.basename(line) == plugin_name), None)


def plugin_base_path(plugin_name: str, is_builtin: bool) -> str | None:
    if is_builtin:
        return os.path.dirname(built_in.__file__)
    included = included_directory(plugin_name)
    if included:
        return included
    path = os.path.join(get_plugin_dir(), plugin_name)
    return path if os.path.exists(path) else None


def resolve_icon_path(icon_path: str, base_path: str | None) -> str:
    if os.path.isabs(icon_path) or not base_path:
        return icon_path
    candidates = [os.path.join(base_path, icon_path)]
    if os.sep not in icon_path:
        for place in ("icons", "static/icons", "assets/icons"):
            candidates.append(os.path.join(base_path, place, icon_path))
    for candidate in candidates:
        if os.path.exists(candidate):
            return os.path.abspath(candidate)
    return icon_path


def load_icon(path: str, record: dict[str, Any]) -> str | None:
    if not os.path.exists(path):
        return None
    modified = os.path.getmtime(path)
    key = f"_icon_cache_{path}"
    cached = record.get(key)
    if cached and cached["mtime"] == modified:
        return cached["data"]
    with open(path, "rb") as file:
        text = base64.b64encode(file.read()).decode("ascii")
    mime_type = MIME_TYPES.get(os.path.splitext(path)[1].lower(), "image/png")
    data = f"data:{mime_type};base64,{text}"
    record[key] = {"data": data, "mtime": modified}
    return data


def with_icon(record: dict[str, Any]) -> dict[str, Any]:
    """A copy of the record with `icon`; what was read is cached in the record itself."""
    result = dict(record)
    icon_path = result.pop("icon_path", "")
    if icon_path:
        name = record["plugin_name"]
        is_builtin = bool(record.get("builtin")) or name.startswith("builtin_")
        path = resolve_icon_path(icon_path, plugin_base_path(name, is_builtin))
        icon = load_icon(path, record)
        if icon:
            result["icon"] = icon
    result.setdefault("icon", None)
    for key in [key for key in result if key.startswith("_icon_cache_")]:
        del result[key]
    return result
