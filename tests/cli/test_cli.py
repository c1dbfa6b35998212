"""The operator's program over real state files and processes."""

import json
import os
import pty
import subprocess
import sys
import threading
import time
import uuid
from pathlib import Path

import pytest

BUILD = Path(os.environ["UTILITY_MANAGER_BUILD"]).resolve().parent
PYTHON_TESTS = Path(__file__).resolve().parents[1] / "python"
PROGRAM = BUILD / "utility-manager"
CLIENT = """
import fake_client, sys, utility_manager
print("ready", flush=True)
sys.stdin.read()
"""


class Directory:
    """A configuration directory, with processes that state files can name."""

    def __init__(self, path: Path) -> None:
        self.path = path
        self.states = path / "utility_states"
        self.states.mkdir(parents=True)
        self.children: list[subprocess.Popen] = []

    def spawn(self, *words: str) -> subprocess.Popen:
        child = subprocess.Popen([sys.executable, *words], stdin=subprocess.PIPE)
        self.children.append(child)
        return child

    def utility(self, is_orphan: bool = True) -> tuple[str, int]:
        """A running instance on record. One without a client is collected when it ends."""
        server_id = str(uuid.uuid4())
        child = self.spawn("-c", "import sys; sys.stdin.read()", "--server-id", server_id)
        if is_orphan:
            threading.Thread(target=child.wait, daemon=True).start()
        self.record(server_id, pid=child.pid)
        return server_id, child.pid

    def record(self, server_id: str, **fields) -> None:
        usual = {"utility_name": "logbook", "port": 8890, "create_time": int(time.time())}
        content = {"server_id": server_id} | usual | fields
        (self.states / f"{server_id}.json").write_text(json.dumps(content))

    def start(self, server_id: str, pid: int, client: int, persistent: bool = False) -> None:
        """Writes a start record, whose client has no known start time."""
        state = {"server_id": server_id, "utility_name": "notes", "port": 8891, "pid": 0}
        owner = {"pid": client, "start_ticks": 0}
        head = {"state": state, "persistent": persistent, "client": owner}
        text = f"{json.dumps(head)}\n{json.dumps({'pid': pid})}\n"
        (self.states / f".{server_id}.starting").write_text(text)

    def files(self) -> set[str]:
        return {path.stem for path in self.states.iterdir()}

    def run(self, *words: str, code: int = 0, **environment: str) -> str:
        """All that the program says."""
        command = [PROGRAM, "--config", self.path, *words]
        done = subprocess.run(
            command, capture_output=True, text=True, timeout=60, env=os.environ | environment
        )
        assert done.returncode == code, done.stderr
        return done.stdout + done.stderr

    def json(self, *words: str, code: int = 0):
        return json.loads(self.run("--json", *words, code=code))


@pytest.fixture
def directory(tmp_path):
    directory = Directory(tmp_path / "config")
    yield directory
    for child in directory.children:
        child.kill()
        child.wait()


@pytest.fixture
def all_kinds(directory):
    """One state file of each kind, by its state."""
    running, _ = directory.utility()
    directory.record("gone", pid=2**30)
    directory.record("another", pid=os.getppid(), create_time=1)
    directory.record("incomplete", pid=0)
    (directory.states / "unreadable.json").write_text("{")
    return running


def test_each_kind_is_told(directory, all_kinds):
    found = {entry["server_id"]: entry["state"] for entry in directory.json("list")}
    plain = {"gone": "gone", "incomplete": "incomplete", "unreadable": "unreadable"}
    assert found == {all_kinds: "running", "another": "another process"} | plain
    would = {entry["server_id"]: entry["would"] for entry in directory.json("adopt", "--dry-run")}
    stale = dict.fromkeys(("gone", "another", "incomplete"), "drop")
    assert would == {all_kinds: "adopt", "unreadable": "leave"} | stale
    assert len(directory.files()) == 5


def test_lines_are_plain_in_a_pipe_and_a_table_in_a_terminal(directory):
    server_id, pid = directory.utility()
    directory.record("gone", pid=2**30, utility_name="实验\x1b[2J", create_time=1)
    lines = [line.split("\t") for line in directory.run("list").splitlines()]
    assert [line[:6] for line in lines] == [
        ["gone", "实验?[2J", "-", "gone", str(2**30), "8890"],
        [server_id, "logbook", "-", "running", str(pid), "8890"],
    ]
    table = in_terminal(directory, "list", TERM="xterm")
    assert "\x1b[32mrunning\x1b[0m" in table and "\x1b[2J" not in table
    head, *rows = in_terminal(directory, "list", TERM="xterm", NO_COLOR="1").splitlines()
    assert head.split() == "ID UTILITY GROUP STATE PID PORT SINCE".split()
    assert rows[1].index("logbook") == head.index("UTILITY")


def in_terminal(directory: Directory, word: str, typed: str = "", **environment: str) -> str:
    reader, writer = pty.openpty()
    os.write(reader, typed.encode())
    command = [PROGRAM, "--config", directory.path, word]
    plain = {name: value for name, value in os.environ.items() if name != "NO_COLOR"}
    child = subprocess.Popen(command, stdin=writer, stdout=writer, env=plain | environment)
    os.close(writer)
    text = b""
    try:
        while chunk := os.read(reader, 65536):
            text += chunk
    except OSError:  # the terminal's end
        pass
    os.close(reader)
    assert child.wait() == 0
    return text.decode().replace("\r\n", "\n")


def test_why_compares_the_file_with_the_process(directory):
    server_id, pid = directory.utility()
    (directory.states / "broken.json").write_text("{")
    told = directory.run("why", server_id[:6])
    assert f"process     {pid}" in told and "--server-id" in told and "They fit" in told
    directory.record("foreign", pid=directory.spawn("-c", "input()").pid, create_time=1000)
    assert "s after the file's time" in directory.run("why", "foreign", code=1)
    assert directory.json("why", "foreign", code=1)["process"]["command_line"][1:] == ["-c", "input()"]
    directory.record("itself", pid=os.getpid())
    assert "no utility can be this process" in directory.run("why", "itself", code=1)
    assert "no instance 'x'" in directory.run("why", "x", code=1)
    directory.record("foreigner", pid=2**30)
    assert "more than one" in directory.run("why", "for", code=1)
    assert "can't be understood" in directory.run("why", "broken", code=1)
    (directory.states / "broken.json").unlink()
    (directory.states / "broken.json").mkdir()
    assert "can't be read" in directory.run("why", "broken", code=1)


def test_stop_ends_the_process_and_removes_its_file(directory, all_kinds):
    assert directory.json("stop", all_kinds)["outcome"] == "stopped"
    assert directory.children[0].wait(10) != 0
    assert directory.json("stop", "gone")["outcome"] == "had gone"
    for other in ("another", "incomplete", "unreadable"):
        assert "isn't known to run" in directory.run("stop", other, code=1)
    assert directory.files() == {"another", "incomplete", "unreadable"}


def test_start_records_count_too(directory):
    kept, ended, owned, gone = (str(uuid.uuid4()) for _ in range(4))
    for server_id, client in ((kept, 2**30), (ended, 2**30), (owned, os.getpid())):
        child = directory.spawn("-c", "import sys; sys.stdin.read()", "--server-id", server_id)
        threading.Thread(target=child.wait, daemon=True).start()
        directory.start(server_id, child.pid, client, persistent=server_id == kept)
    directory.start(gone, 2**30, 2**30)
    (directory.states / f".{uuid.uuid4()}.starting").write_text('{"state": ')
    told = {entry["server_id"]: entry for entry in directory.json("adopt", "--dry-run")}
    assert {told[kept]["state"], told[ended]["state"]} == {"orphan"}
    assert (told[owned]["state"], told[gone]["state"]) == ("running", "gone")
    would = {server_id: told[server_id]["would"] for server_id in told}
    assert would == {kept: "adopt", ended: "end", owned: "leave", gone: "drop"}
    assert "its client has gone" in directory.run("why", kept)
    directory.run("clean", "--yes")
    assert directory.json("stop", ended)["outcome"] == "stopped"
    left = {f".{server_id}" for server_id in (kept, owned)}
    assert left < directory.files() and len(directory.files()) == 3


def test_stop_doesnt_rest_on_the_parent(directory):
    server_id, _ = directory.utility(is_orphan=False)
    assert directory.json("stop", server_id)["outcome"] == "stopped"
    assert directory.files() == set()


def test_clean_shows_first_and_keeps_what_may_live(directory, all_kinds):
    shown = directory.run("clean")
    assert "gone" in shown and all_kinds not in shown and "--yes" in shown
    assert len(directory.files()) == 5
    stale = ["another", "gone", "incomplete"]
    cleaned = directory.json("clean", "--dry-run")
    assert sorted(entry["server_id"] for entry in cleaned["stale"]) == stale
    assert cleaned["removed"] == []
    assert directory.run("clean", "--yes").endswith("Removed: 3\n")
    assert directory.files() == {all_kinds, "unreadable"}
    assert directory.run("clean") == "Nothing to clean.\n"


def test_clean_asks_at_a_terminal(directory):
    directory.record("stale", pid=2**30)
    told = in_terminal(directory, "clean", "\n")
    assert "[y/N]" in told and "Removed: 0\n" in told
    assert directory.files() == {"stale"}
    assert "Removed: 1\n" in in_terminal(directory, "clean", "y\n")
    assert "Nothing is on record" in in_terminal(directory, "list")
    assert directory.run("list") == ""


def test_nothing_is_changed_beside_a_client(directory, tmp_path):
    server_id, _ = directory.utility()
    places = {"PYTHONPATH": f"{BUILD / 'python'}:{PYTHON_TESTS}", "FAKE_CLIENT_DATA": str(tmp_path)}
    client = subprocess.Popen(
        ["/usr/bin/python3", "-c", CLIENT],
        env=places,
        stdin=subprocess.PIPE,
        stdout=subprocess.PIPE,
    )
    assert client.stdout.readline() == b"ready\n"
    directory.record("gone", pid=2**30)
    for command in (["stop", server_id], ["clean", "--yes"]):
        assert "a client uses this directory" in directory.run(*command, code=1)
    assert directory.files() == {server_id, "gone"}
    directory.run("clean", "--yes", "--force")
    assert directory.files() == {server_id}
    client.communicate()
    directory.run("stop", server_id)
    assert directory.files() == set()


@pytest.mark.parametrize(
    ("words", "told"),
    [
        (["--config", ""], "needs a directory"),
        (["--config=", "list"], "needs a directory"),
        ([], "a command is missing"),
        (["lists"], "no command 'lists'"),
        (["stop"], "needs an ID"),
        (["stop", ""], "needs an ID"),
        (["list", "x"], "too many words"),
        (["list", "--yes"], "no such option"),
        (["--yess"], "no option '--yess'"),
        (["adopt"], "--dry-run"),
        (["--config"], "needs a directory"),
    ],
)
def test_wrong_command_lines_are_refused(directory, words, told):
    assert told in directory.run(*words, code=2)


def test_help_and_place(directory, tmp_path):
    assert directory.run("--help").startswith("usage: utility-manager")
    place = {"UTILITY_MANAGER_CONFIG": str(directory.path)}
    assert subprocess.run([PROGRAM, "list"], env=place).returncode == 0
    assert "configuration directory" in directory.run("-C", str(tmp_path / "no"), "list", code=1)


@pytest.mark.parametrize("words", (["list"], ["--help"]))
def test_what_nobody_can_read_is_not_done(directory, words):
    directory.utility()
    with open("/dev/full", "w") as full:
        command = [PROGRAM, "--config", directory.path, *words]
        done = subprocess.run(command, stdout=full, stderr=subprocess.PIPE, text=True)
    assert done.returncode == 1 and "standard output" in done.stderr
