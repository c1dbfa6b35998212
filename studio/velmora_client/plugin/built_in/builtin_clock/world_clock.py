"""A clock dashboard: the time at several places."""

from datetime import datetime, timedelta, timezone

from velmora_utility import Request, Utility

PLACES = [("北京", "Beijing", 8), ("协调世界时", "UTC", 0), ("巴西利亚", "Brasília", -3)]

utility = Utility("世界时钟", "World clock")


@utility.get("")
def index(request: Request) -> str:
    rows = "".join(
        f"<tr><th>{utility.text(zh, en)}</th>"
        f"<td class='big' data-hours='{hours}'>{_time(hours)}</td></tr>"
        for zh, en, hours in PLACES
    )
    return f"<table>{rows}</table>{SCRIPT}"


def _time(hours: int) -> str:
    return datetime.now(timezone(timedelta(hours=hours))).strftime("%H:%M:%S")


SCRIPT = """<script>
setInterval(() => document.querySelectorAll("[data-hours]").forEach(cell => {
  const time = new Date(Date.now() + cell.dataset.hours * 3600e3);
  cell.textContent = time.toISOString().slice(11, 19);
}), 1000);
</script>"""

utility.run()
