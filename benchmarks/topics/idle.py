"""What an instance that does nothing costs its client."""

import threading
import time
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

import client
import instances
import places
from rows import Row

COUNT = 100
WATCHED_SECONDS = 5


def resident_kibibytes() -> int:
    for line in Path("/proc/self/smaps_rollup").read_text().splitlines():
        if line.startswith("Rss:"):
            return int(line.split()[1])
    raise LookupError("Rss")


def wake_ups() -> dict[str, int]:
    """How often each thread of this process has begun to wait."""
    counts = {}
    for task in Path("/proc/self/task").iterdir():
        for line in (task / "status").read_text().splitlines():
            if line.startswith("voluntary_ctxt_switches:"):
                counts[task.name] = int(line.split()[1])
    return counts


def wake_ups_of_others() -> list[int]:
    """Those of each thread but this one while nothing happens, ascending."""
    before = wake_ups()
    time.sleep(WATCHED_SECONDS)
    after = wake_ups()
    after.pop(str(threading.get_native_id()))
    return sorted(after[thread] - before.get(thread, 0) for thread in after)


def measure() -> list[Row]:
    client.install(places.DIRECTORY, utilities=COUNT)
    from utility_manager import utility_manager as manager

    # The threads that start the instances are there before, so that they don't count.
    with ThreadPoolExecutor(COUNT) as starts:
        everybody = threading.Barrier(COUNT)
        list(starts.map(lambda _: everybody.wait(), range(COUNT)))
        before = resident_kibibytes()
        with instances.own_instances(manager, starts, COUNT):
            time.sleep(1)
            each = (resident_kibibytes() - before) / COUNT
            *others, most = wake_ups_of_others()
    return [
        Row("Memory of an idle instance in its client", f"{COUNT} instances", "", each, 40, "KiB",
            at_most=True),
        Row(f"Wake-ups of {COUNT} idle instances in {WATCHED_SECONDS} s, but the monitor's",
            f"{len(others)} threads; the monitor {most}", "", sum(others), 0, "", at_most=True),
    ]
