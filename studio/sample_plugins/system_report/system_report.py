"""Shows the computer, the interpreter and everything that the Studio told this utility."""

import os
import platform
from dataclasses import asdict
from html import escape

from velmora_utility import Request, Utility

utility = Utility("系统报告", "System report")


@utility.get("")
def index(request: Request) -> str:
    facts = {
        "system": platform.platform(),
        "python": platform.python_version(),
        "working directory": os.getcwd(),
        "processors": os.cpu_count(),
        **asdict(utility.options),
    }
    rows = "".join(
        f"<tr><th>{escape(name)}</th><td>{escape(str(value))}</td></tr>"
        for name, value in facts.items()
    )
    return f"<table>{rows}</table>"


utility.run()
