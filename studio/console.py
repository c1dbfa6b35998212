"""A round through the utility manager without a browser: what happens is told line by line.

    PYTHONPATH=build/python:studio /usr/bin/python3 -m console

The first run starts utilities and leaves the persistent logbook running. The next one finds it,
shows that it kept counting, and ends it.
"""

import json
import re
import sys
import time
from typing import Any
from urllib.request import ProxyHandler, build_opener

PERSISTENT = "logbook"
PAGE_DEADLINE = 10.0  # seconds until a page must answer
_opener = build_opener(ProxyHandler({}))  # utilities run on this computer: no proxy


def main() -> int:
    from velmora_client.com.user import get_current_user
    from velmora_client.utils.local import get_default_config_dir, get_plugin_dir

    sys.stdout.reconfigure(errors="backslashreplace")  # messages can be Chinese
    say(f"Configuration: {get_default_config_dir()}")
    say(f"Plugins: {get_plugin_dir()}")
    say(f"User: {get_current_user()['user_name']}")

    # Loading the module makes the manager, which at once takes up what an earlier Studio left.
    from utility_manager import utility_manager

    names = [utility["utility_name"] for utility in utility_manager._get_all_utilities()]
    say(f"{len(names)} utilities: {', '.join(names)}")
    try:
        adopted = find(utility_manager, PERSISTENT)
        if adopted:
            end_adopted(utility_manager, *adopted)
        else:
            start_and_stop(utility_manager)
            start_persistent(utility_manager)
            show_failed_start(utility_manager)
    except RuntimeError as error:
        say(f"Failed: {error}")
        return 1
    finally:
        utility_manager.cleanup_all_servers()
    left = [f"{info['utility_name']} ({info['pid']})" for info in utility_manager.servers.values()]
    say(f"Cleaned up. Still running: {', '.join(left) or 'nothing'}")
    if left:
        say("Run this again: the next Studio finds it.")
    return 0


def start_and_stop(manager: Any) -> None:
    result = start(manager, "unit_converter")
    say(f"Its page is titled '{page_title(result['local_url'])}'")
    info = manager.servers[result["server_id"]]
    shown = {key: value for key, value in info.items() if key not in ("process", "stderr_buffer")}
    say(f"In the table: {json.dumps(shown, ensure_ascii=False)}")
    say(f"Reserved ports: {sorted(manager.used_ports)}")
    if not manager.stop_utility_server(result["server_id"]):
        raise RuntimeError("unit_converter could not be stopped")
    say(f"Stopped unit_converter; reserved ports: {sorted(manager.used_ports)}")


def start_persistent(manager: Any) -> None:
    result = start(manager, PERSISTENT)
    say(f"Its page is titled '{page_title(result['local_url'])}'")
    say(f"Page views so far: {health(result['local_url'])['views']}")


def show_failed_start(manager: Any) -> None:
    say("Starting spectrum_viewer, which lacks a module ...")
    try:
        manager.start_utility_server("", "spectrum_viewer", {})
    except RuntimeError as error:
        say(f"It failed, as it should: {str(error).replace(chr(10), ' | ')}")
    else:
        raise RuntimeError("spectrum_viewer should not have started")


def end_adopted(manager: Any, server_id: str, info: dict[str, Any]) -> None:
    kind = "adopted from its state file" if info["process"] is None else "with a handle"
    say(f"{PERSISTENT} runs already, {kind}: pid {info['pid']}, port {info['port']}")
    address = f"http://localhost:{info['port']}"
    before = health(address)["views"]
    say(f"Its page is titled '{page_title(address)}'")
    after = health(address)
    say(f"It kept counting: {before} page views before, {after['views']} now,")
    say(f"and has been running for {after['uptime']:.0f} s")
    if not manager.stop_utility_server(server_id):
        raise RuntimeError(f"{PERSISTENT} could not be stopped")
    say(f"Stopped {PERSISTENT}; run this again to begin anew.")


def start(manager: Any, utility_name: str) -> dict[str, Any]:
    say(f"Starting {utility_name} ...")
    result = manager.start_utility_server("", utility_name, {})
    say(f"Started {utility_name}: pid {result['pid']}, {result['local_url']}")
    say(f"The Studio's web application would show it at {result['url']}")
    return result


def find(manager: Any, utility_name: str) -> tuple[str, dict[str, Any]] | None:
    for server_id, info in manager.servers.items():
        if info["utility_name"] == utility_name:
            return server_id, info
    return None


def page_title(address: str) -> str:
    found = re.search("<title>(.*?)</title>", fetch(address))
    return found.group(1) if found else ""


def health(address: str) -> dict[str, Any]:
    return json.loads(fetch(f"{address}/health"))


def fetch(address: str) -> str:
    """The text at `address`. A start doesn't wait for the port, so try until it answers."""
    deadline = time.monotonic() + PAGE_DEADLINE
    while True:
        try:
            with _opener.open(address, timeout=PAGE_DEADLINE) as response:
                return response.read().decode()
        except OSError as error:
            if time.monotonic() > deadline:
                raise RuntimeError(f"{address} does not answer: {error}") from error
            time.sleep(0.1)


def say(text: str) -> None:
    print(text, flush=True)


if __name__ == "__main__":
    sys.exit(main())
