"""A Studio as its own process, and what the tests ask of it."""

import contextlib
import functools
import json
import os
import re
import signal
import subprocess
import sys
import threading
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

import httpx

ROOT = Path(__file__).resolve().parents[2]
BUILD = os.environ.get("UTILITY_MANAGER_BUILD", str(ROOT / "build" / "python"))
PATIENCE = 30.0  # seconds until something counts as not coming


class Studio:
    """Runs in `data`, with the test plugins only. Ends with the `with` block, as by Ctrl-C."""

    def __init__(self, data: Path, token: bool = False) -> None:
        self.data = data
        (data / "config").mkdir(parents=True, exist_ok=True)
        (data / "config" / "plugin_includes.txt").touch()
        if not (data / "plugins").exists():
            (data / "plugins").symlink_to(Path(__file__).resolve().parent / "plugins")
        environment = os.environ | {
            "VELMORA_DATA_DIR": str(data),
            "PYTHONPATH": os.pathsep.join([BUILD, str(ROOT / "studio")]),
            "HTTP_PROXY": "http://127.0.0.1:9",  # nothing may go there
            "ALL_PROXY": "http://127.0.0.1:9",
        }
        command = [sys.executable, "-m", "velmora_studio", *([] if token else ["--no-token"])]
        pipe = {"stdin": subprocess.DEVNULL, "stdout": subprocess.PIPE, "stderr": subprocess.STDOUT}
        own_group = {"start_new_session": True}  # as a terminal gives it
        self.process = subprocess.Popen(command, env=environment, text=True, **pipe, **own_group)
        self.lines: list[str] = []
        self._new_line = threading.Condition()
        self._reader = threading.Thread(target=self._read)
        self._reader.start()
        self.address = self.wait_for_line(r"The Studio: (http://\S+)$")
        self.url = self.address.partition("/?")[0].removesuffix("/")
        self.host = self.url.removeprefix("http://")
        self.port = int(self.host.rpartition(":")[2])
        options = {"trust_env": False, "timeout": PATIENCE}
        self.client = httpx.Client(base_url=self.url, **options)
        if token:
            assert self.client.get(self.address).status_code == 303
        self.forward_url = self.get("studio")["forward_origin"]  # where utilities are shown
        self.forward_host = self.forward_url.removeprefix("http://")
        self.forward_port = int(self.forward_host.rpartition(":")[2])
        self.pages = httpx.Client(base_url=self.forward_url, **options, cookies=self.client.cookies)

    def __enter__(self) -> "Studio":
        return self

    def __exit__(self, *_) -> None:
        self.client.close()
        self.pages.close()
        if self.process.poll() is None:
            self.end()

    def end(self, number: int = signal.SIGINT) -> list[str]:
        """Ends the Studio and gives what it says of that. Ctrl-C reaches the utilities too."""
        before = len(self.lines)
        if number == signal.SIGINT:
            os.killpg(self.process.pid, number)
        else:
            self.process.send_signal(number)
        code = self.process.wait(PATIENCE)
        self._reader.join(PATIENCE)
        said = [line for line in self.lines[before:] if not line.startswith("[UTILITY-")]
        assert code == 0 and not any("Traceback" in line for line in said), "\n".join(said)
        return said

    def wait_for_line(self, pattern: str) -> str:
        def found():
            matches = [re.search(pattern, line) for line in self.lines]
            return next(filter(None, matches), None)

        with self._new_line:
            assert self._new_line.wait_for(found, PATIENCE), self.lines
            return found().group(1)

    def post(self, path: str, expect: int = 200, **body) -> dict:
        headers = {"content-type": "application/json"}
        answer = self.client.post(f"/api/{path}", content=json.dumps(body), headers=headers)
        assert answer.status_code == expect, answer.text
        return answer.json()

    def get(self, path: str, **query):
        answer = self.client.get(f"/api/{path}", params=query)
        assert answer.status_code == 200, answer.text
        return answer.json()

    def start(self, name: str, group: str = "") -> dict:
        """Starts a utility, and comes back when it answers."""
        started = self.post("utility/start", utility_name=name, group_name=group)
        path = f"/group_utility/{group}/{name}/" if group else f"/utility/{name}/"
        self.wait_until(lambda: self.pages.get(path).status_code in (200, 404))
        return started

    @contextlib.contextmanager
    def long_stop(self):
        """Keeps the manager busy with stops, one after the other, of what doesn't obey. Gives what
        tells whether it still is."""
        with ThreadPoolExecutor(6) as pool:
            start = functools.partial(self.post, "utility/start", utility_name="mutes")
            starts = [pool.submit(start, group_name=f"g{n}") for n in range(6)]
            mutes = [each.result() for each in starts]
            stop = functools.partial(self.post, "utility/stop")
            stops = [pool.submit(stop, server_id=each["server_id"]) for each in mutes]
            try:
                yield lambda: not all(each.done() for each in stops)
            finally:
                for each in mutes:
                    with contextlib.suppress(ProcessLookupError):
                        os.kill(each["pid"], signal.SIGKILL)

    def names(self) -> list[str]:
        return [entry["utility_name"] for entry in self.get("utility/running")]

    def wait_until(self, condition) -> None:
        """For what can only be asked again and again. Each question is a request of its own."""
        tick = threading.Event()
        for _ in range(int(PATIENCE / 0.05)):
            if condition():
                return
            tick.wait(0.05)
        raise AssertionError("it did not come to pass")

    def sockets(self) -> int:
        """How many the process has open."""
        folder = f"/proc/{self.process.pid}/fd"
        count = 0
        for name in os.listdir(folder):
            with contextlib.suppress(FileNotFoundError):  # closed meanwhile
                count += os.readlink(f"{folder}/{name}").startswith("socket:")
        return count

    def peak_memory(self) -> int:
        """In bytes."""
        status = Path(f"/proc/{self.process.pid}/status").read_text()
        return int(re.search(r"VmHWM:\s+(\d+)", status).group(1)) * 1024

    def states(self, answer: httpx.Response):
        """The states that the changes of a stream of events lead to."""
        state = {"studio": {}, "running": {}, "starting": {}, "failures": {}}
        for line in answer.iter_lines():
            if line.startswith("data:"):
                change = json.loads(line.removeprefix("data:"))
                for section, values in state.items():
                    values |= change.get(section, {})
                    state[section] = {k: v for k, v in values.items() if v is not None}
                if not change.get("more"):
                    lists = {key: list(state[key].values()) for key in state.keys() - {"studio"}}
                    yield {"studio": state["studio"]} | lists

    def _read(self) -> None:
        for line in self.process.stdout:
            with self._new_line:
                self.lines.append(line.rstrip("\n"))
                self._new_line.notify_all()
