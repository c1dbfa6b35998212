"""A Studio as its own process, with the utilities of `plugins/`, and those who ask it."""

import contextlib
import http.client
import json
import os
import queue
import signal
import socket
import subprocess
import sys
import threading
import time
from collections.abc import Iterator
from typing import Any

import measuring
import places

PATIENCE = 60.0  # seconds


class Studio:
    """Serves until `end`."""

    def __init__(self) -> None:
        data = places.DIRECTORY / "data"
        (data / "config").mkdir(parents=True)
        (data / "config" / "plugin_includes.txt").touch()
        (data / "plugins").symlink_to(places.SOURCES / "benchmarks" / "plugins")
        environment = os.environ | {
            "VELMORA_DATA_DIR": str(data),
            "PYTHONPATH": f"{places.BUILD / 'python'}:{places.SOURCES / 'studio'}",
        }
        command = [sys.executable, "-m", "velmora_studio", "--no-token"]
        output = {"stdout": subprocess.PIPE, "stderr": subprocess.STDOUT}
        self.process = subprocess.Popen(command, env=environment, text=True, **output)
        self.lines: list[str] = []
        self._addresses: queue.Queue[str] = queue.Queue()
        threading.Thread(target=self._read, daemon=True).start()
        self.port = int(self._addresses.get(timeout=PATIENCE).rpartition(":")[2].strip("/"))
        origin = self.ask("/api/studio")["forward_origin"]
        self.forward_port = int(origin.rpartition(":")[2])

    def end(self) -> None:
        self.process.send_signal(signal.SIGINT)
        self.process.wait(PATIENCE)

    def start(self, name: str) -> int:
        """Starts a utility and gives its port, on which it answers."""
        port = self.ask("/api/utility/start", {"utility_name": name})["port"]
        measuring.wait_for(lambda: _answers(port))
        return port

    def ask(self, path: str, body: Any = None) -> Any:
        """One of the Studio's own routes."""
        with contextlib.closing(_connection(self.port)) as connection:
            method = "GET" if body is None else "POST"
            headers = {"Content-Type": "application/json"}
            connection.request(method, path, body and json.dumps(body), headers)
            answer = connection.getresponse()
            text = answer.read()
            assert answer.status == 200, text
            return json.loads(text)

    def own_lines(self) -> list[str]:
        """What it has printed, but for what utilities write."""
        return [line for line in self.lines if not line.startswith("[UTILITY-")]

    def sockets(self) -> int:
        """How many its process has open."""
        folder, count = f"/proc/{self.process.pid}/fd", 0
        for name in os.listdir(folder):
            with contextlib.suppress(FileNotFoundError):  # closed meanwhile
                count += os.readlink(f"{folder}/{name}").startswith("socket:")
        return count

    def _read(self) -> None:
        for line in self.process.stdout:
            if line.startswith("The Studio: "):
                self._addresses.put(line.split()[2])
            self.lines.append(line)


def asked(port: int, path: str) -> socket.socket:
    """A connection on which this has been asked for."""
    connection = socket.create_connection(("127.0.0.1", port), PATIENCE)
    connection.sendall(f"GET {path} HTTP/1.1\r\nHost: 127.0.0.1:{port}\r\n\r\n".encode())
    return connection


@contextlib.contextmanager
def waits(port: int, path: str) -> Iterator[list[float]]:
    """The seconds that each of many requests takes, one after the other, while the block lasts."""
    taken: list[float] = []
    stop = threading.Event()

    def go_on_asking() -> None:
        with contextlib.closing(_connection(port)) as connection:
            while not stop.wait(0.002):
                start = time.perf_counter()
                connection.request("GET", path)
                connection.getresponse().read()
                taken.append(time.perf_counter() - start)

    asking = threading.Thread(target=go_on_asking)
    asking.start()
    try:
        yield taken
    finally:
        stop.set()
        asking.join()


def _connection(port: int) -> http.client.HTTPConnection:
    return http.client.HTTPConnection("127.0.0.1", port, timeout=PATIENCE)


def _answers(port: int) -> bool:
    with contextlib.suppress(OSError), socket.create_connection(("127.0.0.1", port), 1):
        return True
    return False
