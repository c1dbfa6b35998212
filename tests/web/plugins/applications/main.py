"""Applications as people have them, in their own ways of serving, below the Studio's addresses."""

__VELMORA_PLUGIN_NAME__ = "applications"

BASED = {"forward_whole_path": True, "prefix_in_config": True}


def utility_server_register() -> list[dict]:
    names = ["http_server", "flask_app", "aiohttp_app", "tornado_app", "socketio_app"]
    entries = [{"utility_name": name, "script_path": f"{name}.py"} for name in names]
    entries[1]["persistent"] = True
    based = [{"utility_name": n, "script_path": f"{n}.py", **BASED} for n in ("jupyter", "vite_app")]
    return [*entries, *based, {"utility_name": "novnc", "script_path": "novnc.py"}]
