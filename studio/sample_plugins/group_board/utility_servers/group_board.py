"""A status board for one device group. It serves two utilities, told apart by their name."""

import threading
from html import escape

from velmora_utility import Redirect, Request, Utility

STATES = {
    "idle": ("空闲", "idle"),
    "running": ("运行中", "running"),
    "maintenance": ("维护中", "under maintenance"),
}

utility = Utility("设备组状态板", "Group board")
may_change = utility.options.utility_name == "group_board_admin"

# Every request runs on a thread of its own, so what they share is changed under a lock.
lock = threading.Lock()
devices = {"pump": "idle", "heater": "running", "camera": "idle"}


@utility.get("")
def index(request: Request) -> str:
    with lock:
        rows = "".join(_row(name, state) for name, state in devices.items())
    return f"<table>{rows}</table>"


@utility.post("change")
def change(request: Request) -> Redirect:
    device, state = request.form.get("device"), request.form.get("state")
    if may_change and device in devices and state in STATES:
        with lock:
            devices[device] = state
    return Redirect()  # to the first page, "./" from here


@utility.health
def health() -> dict:
    with lock:
        return {"devices": dict(devices)}


def _row(device: str, state: str) -> str:
    style = "good" if state == "running" else "bad" if state == "maintenance" else ""
    cell = f"<span class='{style}'>{utility.text(*STATES[state])}</span>"
    return f"<tr><th>{escape(device)}</th><td>{cell}</td><td>{_form(device)}</td></tr>"


def _form(device: str) -> str:
    if not may_change:
        return ""
    options = "".join(
        f"<option value='{state}'>{utility.text(*names)}</option>"
        for state, names in STATES.items()
    )
    return (
        f"<form method='post' action='change'><input type='hidden' name='device' value='{device}'>"
        f"<select name='state'>{options}</select>"
        f" <button>{utility.text('更改', 'Change')}</button></form>"
    )


utility.run()
