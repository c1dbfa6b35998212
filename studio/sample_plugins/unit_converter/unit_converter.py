"""A unit converter: a page with a form, and the same answer as JSON for other programs.

The Studio starts this script as a child process and waits for a web page on the given port.
`Utility` reads the command line, answers GET /health and ends the process when the Studio asks for
it.
"""

from html import escape

from velmora_utility import Request, Utility

# Name: (unit it is reckoned in, factor, offset). Value in that unit = factor * value + offset.
UNITS = {
    "°C": ("K", 1.0, 273.15),
    "°F": ("K", 5 / 9, 459.67 * 5 / 9),
    "K": ("K", 1.0, 0.0),
    "Pa": ("Pa", 1.0, 0.0),
    "bar": ("Pa", 100_000.0, 0.0),
    "psi": ("Pa", 6894.757, 0.0),
    "m": ("m", 1.0, 0.0),
    "in": ("m", 0.0254, 0.0),
}

utility = Utility("单位换算", "Unit converter")


def convert(value: float, source: str, target: str) -> float:
    """Fails with `ValueError` on units that don't go together, and on unknown ones."""
    if source not in UNITS or target not in UNITS or UNITS[source][0] != UNITS[target][0]:
        raise ValueError(utility.text("单位不匹配", "these units don't go together"))
    _, factor, offset = UNITS[source]
    _, target_factor, target_offset = UNITS[target]
    return (factor * value + offset - target_offset) / target_factor


@utility.get("")
def index(request: Request) -> str:
    value = request.query.get("value", "20")
    source, target = request.query.get("from", "°C"), request.query.get("to", "°F")
    # No `action`, so the form comes back to this page, wherever the Studio shows it. All links of a
    # utility must be relative for the same reason.
    return (
        f"<form><input name='value' size='8' value='{escape(value)}'> {_choice('from', source)}"
        f" &rarr; {_choice('to', target)} <button>{utility.text('换算', 'Convert')}</button></form>"
        f"{_result(value, source, target)}"
    )


@utility.get("convert")
def convert_as_json(request: Request) -> dict:
    """convert?value=20&from=°C&to=K"""
    query = request.query
    try:
        result = convert(float(query.get("value", "")), query.get("from", ""), query.get("to", ""))
    except ValueError as error:
        return {"error": str(error)}
    return {"result": result}


def _choice(name: str, chosen: str) -> str:
    options = "".join(
        f"<option{' selected' if unit == chosen else ''}>{unit}</option>" for unit in UNITS
    )
    return f"<select name='{name}'>{options}</select>"


def _result(value: str, source: str, target: str) -> str:
    try:
        result = f"{convert(float(value), source, target):.6g} {target}"
    except ValueError as error:
        return f"<p class='bad'>{escape(str(error))}</p>"
    return f"<p class='big'>{escape(result)}</p>"


utility.run()
