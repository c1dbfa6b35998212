"""A planner that lets the user choose the device group in its own page.

The Studio says so by `_deferred_group_selection` in the configuration, and gives no "--group-name".
"""

from html import escape
from urllib.parse import urlencode

from velmora_utility import Request, Utility

STEPS = [("准备样品", "Prepare the sample", 20), ("加热", "Heat", 45), ("测量", "Measure", 30)]

utility = Utility("实验规划", "Experiment planner")


@utility.get("")
def index(request: Request) -> str:
    options = utility.options
    if not options.deferred_group_selection:
        return _plan(options.group_name)
    group = request.query.get("group", "").strip()
    return _plan(group) + _other_group() if group else _choice()


def _choice() -> str:
    # Whoever starts the planner may offer groups under this key; any other name can be typed.
    offered = utility.options.config.get("groups", [])
    hints = "".join(f"<option value='{escape(str(group))}'>" for group in offered)
    return (
        f"<p>{utility.text('请选择设备组', 'Choose a device group')}</p>"
        f"<form><input name='group' list='groups' required><datalist id='groups'>{hints}</datalist>"
        f" <button>{utility.text('选择', 'Choose')}</button></form>"
    )


def _plan(group: str) -> str:
    rows = "".join(
        f"<tr><td>{utility.text(zh, en)}</td><td>{minutes} min</td></tr>"
        for zh, en, minutes in STEPS
    )
    address = "plan?" + urlencode({"group": group})
    return (
        f"<p>{utility.text('设备组', 'Device group')}: <b>{escape(group)}</b></p>"
        f"<table>{rows}</table><p><a href='{escape(address)}'>JSON</a></p>"
    )


def _other_group() -> str:
    return f"<p><a href='./'>{utility.text('更换设备组', 'Another group')}</a></p>"


@utility.get("plan")
def plan(request: Request) -> dict:
    steps = [{"step": utility.text(zh, en), "minutes": minutes} for zh, en, minutes in STEPS]
    return {"group_name": request.query.get("group", utility.options.group_name), "steps": steps}


utility.run()
