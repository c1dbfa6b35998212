"""A timer that counts down in the process, so every browser sees the same."""

import threading
import time

from velmora_utility import Redirect, Request, Utility

utility = Utility("实验计时器", "Lab timer")
lock = threading.Lock()
# On the clock of time.monotonic(). The start may have been configured with minutes to count down.
end = time.monotonic() + 60 * utility.options.config.get("minutes", 0)


def remaining() -> int:
    with lock:
        return max(0, round(end - time.monotonic()))


@utility.get("")
def index(request: Request) -> str:
    buttons = "".join(
        f"<button name='minutes' value='{minutes}'>{minutes} min</button> "
        for minutes in (1, 5, 15)
    )
    return (
        f"<p class='big' id='left'>{remaining()} s</p>"
        f"<form method='post' action='start'>{buttons}</form>{SCRIPT}"
    )


@utility.get("remaining")
def remaining_as_json(request: Request) -> dict:
    return {"seconds": remaining()}


@utility.post("start")
def start(request: Request) -> Redirect:
    global end
    minutes = request.form.get("minutes", "")
    if minutes in ("1", "5", "15"):
        with lock:
            end = time.monotonic() + 60 * int(minutes)
    return Redirect()


SCRIPT = """<script>
setInterval(async () => {
  const answer = await (await fetch("remaining")).json();
  document.getElementById("left").textContent = answer.seconds + " s";
}, 1000);
</script>"""

utility.run()
