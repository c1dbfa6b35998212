"""The server table with its state files, listings and views."""

import json
import os
import threading
import time
from glob import glob
from typing import Any

from plain.catalogue import with_icon
from plain.processes import is_process_alive
from velmora_client.com.organization import get_org_list
from velmora_client.utils.local import get_gui_addr

NAVBAR = ("navbar", "nav", "topnav", "top", "header")


def build_mapped_url(utility_name: str, group_name: str | None, require_group_name: bool) -> str:
    address = get_gui_addr() or {}
    host, port = address.get("server_addr", "127.0.0.1"), address.get("port", 6886)
    if require_group_name and group_name:
        return f"http://{host}:{port}/group_utility/{group_name}/{utility_name}"
    return f"http://{host}:{port}/utility/{utility_name}"


class PlainManager:
    def __init__(self, state_dir: str, registry: dict[str, dict[str, Any]]) -> None:
        self.state_dir = state_dir
        self.registry = registry
        self.servers: dict[str, dict[str, Any]] = {}
        self.used_ports: set[int] = set()
        self.lock = threading.Lock()

    def load_persisted_states(self) -> None:
        with self.lock:
            known = set(self.servers)
        stale: list[str] = []
        found: list[dict[str, Any]] = []
        for path in glob(os.path.join(self.state_dir, "*.json")):
            try:
                with open(path, encoding="utf-8") as file:
                    state = json.load(file)
            except (OSError, ValueError):
                continue
            server_id = state.get("server_id")
            if not (server_id and state.get("pid") and state.get("port")):
                stale.append(server_id or os.path.basename(path).removesuffix(".json"))
            elif not is_process_alive(state["pid"]):
                stale.append(server_id)
            elif server_id not in known:
                found.append(self.reloaded(state))
        if not stale and not found:
            return
        with self.lock:
            for server_id in stale:
                self.forget(server_id)
            for record in found:
                if record["server_id"] not in self.servers:
                    self.servers[record["server_id"]] = record
                    self.used_ports.add(record["port"])

    @staticmethod
    def reloaded(state: dict[str, Any]) -> dict[str, Any]:
        record = {key: state[key] for key in ("server_id", "utility_name", "port", "pid")}
        record["process"] = None
        record["config"] = state.get("config") or {}
        record["create_time"] = state.get("create_time", int(time.time()))
        for key in ("lang", "studio_url"):
            if state.get(key):
                record[key] = state[key]
        if state.get("require_group_name") and state.get("group_name"):
            record["group_name"] = state["group_name"]
        return record

    def forget(self, server_id: str) -> None:
        record = self.servers.pop(server_id, None)
        if record:
            self.used_ports.discard(record["port"])
        path = os.path.join(self.state_dir, f"{server_id}.json")
        if os.path.exists(path):
            os.remove(path)

    def sweep_dead_servers(self) -> None:
        self.load_persisted_states()
        with self.lock:
            table = list(self.servers.items())
        dead = [server_id for server_id, record in table if not self.is_alive(record)]
        if dead:
            with self.lock:
                for server_id in dead:
                    self.forget(server_id)

    @staticmethod
    def is_alive(record: dict[str, Any]) -> bool:
        if record["process"] is not None:
            return record["process"].poll() is None
        return not record["pid"] or is_process_alive(record["pid"])

    def list_utility_servers(self) -> list[dict[str, Any]]:
        self.sweep_dead_servers()
        with self.lock:
            return [self.list_entry(record) for record in self.servers.values()]

    def list_entry(self, record: dict[str, Any]) -> dict[str, Any]:
        name, port = record["utility_name"], record["port"]
        info = self.registry.get(name) or {}
        group_name = record.get("group_name")
        entry = {
            "server_id": record["server_id"],
            "utility_name": name,
            "port": port,
            "pid": record["pid"],
            "local_url": f"http://localhost:{port}",
            "url": build_mapped_url(name, group_name, info.get("require_group_name", False)),
            "default_route": info.get("default_route", "/"),
            "create_time": record["create_time"],
        }
        for key in ("lang", "studio_url", "group_name"):
            if key in record:
                entry[key] = record[key]
        entry["icon"] = with_icon(info)["icon"] if info else None
        return entry

    def list_all_running_utilities_grouped(self) -> dict[str, Any]:
        self.sweep_dead_servers()
        with self.lock:
            records = list(self.servers.values())
        without_group: list[dict[str, Any]] = []
        by_group: dict[str, list[dict[str, Any]]] = {}
        for record in records:
            entry = self.grouped_entry(record)
            if "group_name" in record:
                entry["group_name"] = record["group_name"]
                by_group.setdefault(record["group_name"], []).append(entry)
            else:
                without_group.append(entry)
        return {"without_group": without_group, "by_group": by_group}

    def grouped_entry(self, record: dict[str, Any]) -> dict[str, Any]:
        name, port = record["utility_name"], record["port"]
        info = self.registry.get(name) or {}
        url = build_mapped_url(
            name, record.get("group_name"), info.get("require_group_name", False))
        route = info.get("default_route", "/")
        location = str(info.get("display_location", "default")).strip().lower()
        entry = {
            "server_id": record["server_id"],
            "utility_name": name,
            "title": info.get("title", name),
            "en_title": info.get("en_title", ""),
            "description": info.get("description", ""),
            "en_description": info.get("en_description", ""),
            "port": port,
            "pid": record["pid"],
            "local_url": f"http://localhost:{port}",
            "url": url,
            "full_url": url + route,
            "default_route": route,
            "display_location": "navbar" if location in NAVBAR else "default",
            "create_time": record["create_time"],
        }
        for key in ("lang", "studio_url"):
            if key in record:
                entry[key] = record[key]
        entry["icon"] = with_icon(info)["icon"] if info else None
        return entry

    def find_running(self, utility_name: str) -> dict[str, Any] | None:
        self.sweep_dead_servers()
        with self.lock:
            entry = next(
                (
                    self.running_entry(record)
                    for record in self.servers.values()
                    if record["utility_name"] == utility_name and "group_name" not in record
                ),
                None,
            )
        if entry:
            info = self.registry.get(utility_name)
            entry["icon"] = with_icon(info)["icon"] if info else None
        return entry

    def running_entry(self, record: dict[str, Any]) -> dict[str, Any]:
        name, port = record["utility_name"], record["port"]
        info = self.registry.get(name) or {}
        entry = {
            "server_id": record["server_id"],
            "utility_name": name,
            "port": port,
            "local_url": f"http://localhost:{port}",
            "url": build_mapped_url(name, None, False),
            "default_route": info.get("default_route", "/"),
        }
        for key in ("lang", "studio_url"):
            if key in record:
                entry[key] = record[key]
        return entry

    def view(self) -> list[dict[str, Any]]:
        """What the user may start without a group."""
        self.load_persisted_states()
        rights = get_org_list()
        result = []
        for info in self.registry.values():
            if info["require_group_name"] or info["display_location"] == "navbar":
                continue
            if info["access_level"] == "ALL" or rights["is_system_admin"]:
                result.append(self.view_entry(info))
        return result

    def view_entry(self, info: dict[str, Any]) -> dict[str, Any]:
        running = self.find_running(info["utility_name"])
        entry = dict(info)
        entry["is_running"] = running is not None
        if running:
            for key in ("server_id", "port", "local_url", "url"):
                entry[key] = running[key]
            entry["full_url"] = running["url"] + info["default_route"]
        return with_icon(entry)
