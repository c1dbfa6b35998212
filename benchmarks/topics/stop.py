"""The stop of an own instance that obeys, beside the mere end of such a child."""

import os
import signal
import subprocess
import sys
from concurrent.futures import ThreadPoolExecutor

import client
import instances
import measuring
import places
from rows import Row, milliseconds

COUNT = 40


def idle_child() -> subprocess.Popen:
    script = [sys.executable, "-su", str(client.directory / instances.SCRIPT)]
    child = subprocess.Popen(script, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
    child.stderr.readline()
    return child


def end(child: subprocess.Popen) -> None:
    os.kill(child.pid, signal.SIGTERM)
    os.waitpid(child.pid, 0)
    child.returncode = -signal.SIGTERM


def measure() -> list[Row]:
    client.install(places.DIRECTORY, utilities=COUNT)
    from utility_manager import utility_manager as manager

    stops, ends = [], []
    with ThreadPoolExecutor(COUNT) as starts, \
         instances.own_instances(manager, starts, COUNT) as server_ids:
        children = [idle_child() for _ in server_ids]
        for server_id, child in zip(server_ids, children):
            stops.append(measuring.seconds_of(lambda: manager.stop_utility_server(server_id)))
            ends.append(measuring.seconds_of(lambda: end(child)))
        assert not manager.servers
    stop, own = measuring.quantile(stops), measuring.quantile(ends)
    return [
        Row("Stop of an instance that obeys, beyond its own exit", milliseconds(stop),
            f"{milliseconds(own)} signal and wait alone", (stop - own) * 1000, 0.2, "ms",
            at_most=True)
    ]
