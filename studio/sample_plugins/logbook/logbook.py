"""A logbook that outlives the Studio. Its notes live in this process and last until it is stopped.

Each view and each note is logged. When the Studio has gone nobody reads this output any more;
`Utility` sees to it that writing goes on to work.
"""

import itertools
import logging
import threading
from datetime import datetime
from html import escape

from velmora_utility import Redirect, Request, Utility

utility = Utility("实验日志", "Logbook")
lock = threading.Lock()
notes: list[tuple[str, str]] = []
views = 0


@utility.get("")
def index(request: Request) -> str:
    global views
    with lock:
        views += 1
        count, latest = views, list(itertools.islice(reversed(notes), 50))
    logging.info("view %d", count)
    rows = "".join(f"<tr><td>{time}</td><td>{escape(text)}</td></tr>" for time, text in latest)
    return (
        f"<p>{utility.text('浏览次数', 'Views so far')}: {count}</p>"
        "<form method='post' action='add'><input name='text' size='40' required>"
        f" <button>{utility.text('记录', 'Note')}</button></form><table>{rows}</table>"
    )


@utility.post("add")
def add(request: Request) -> Redirect:
    text = request.form.get("text", "").strip()
    if text:
        with lock:
            notes.append((datetime.now().strftime("%Y-%m-%d %H:%M:%S"), text))
        print(f"note: {text}")
    return Redirect()


@utility.health
def health() -> dict:
    with lock:
        return {"views": views, "notes": len(notes)}


utility.run()
