"""A client is killed before any of its system calls: the next one finds every child."""

import json
import os
import re
import signal
import subprocess
import textwrap
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

import pytest
from conftest import command, environment

LASTING = "import time\ntime.sleep(120)"
CLIENT = f"""
import ctypes
ctypes.CDLL(None).prctl(0x59616d61, -1)  # may be traced by a process that isn't its parent
body, persistent, work = {LASTING!r}, sys.argv[1] == "persistent", sys.argv[2]
offer = lambda persistent: Plugin("p", [utility("u", body, persistent=persistent)])
plugins.append(offer(persistent and work != "cleanup"))
from utility_manager import utility_manager as manager
start = lambda: manager.start_utility_server("", "u", {{}})["server_id"]
if work != "start": server_id = start()
if work == "cleanup" and persistent:  # by now: what a cleanup keeps it writes down
    plugins[:] = [offer(True)]
    manager.refresh_utility_registry()
import select
go = select.epoll()
go.register(0)
print("ready", flush=True)
go.poll()  # by a system call that the work has none of
if work == "start": start()
elif work == "stop": manager.stop_utility_server(server_id)
else: manager.cleanup_all_servers()
os.write(1, b"done")
os._exit(0)
"""
NEXT_CLIENT = """
from utility_manager import utility_manager as manager
print(json.dumps([[record["pid"] for record in manager.servers.values()],
                  sorted(os.listdir(manager.state_dir)),
                  [server_id + ".json" for server_id in sorted(manager.servers)]]))
"""


def children_of(data: Path) -> set[int]:
    """The utilities of a client that run."""
    script = str(data / "u.py").encode()
    found = set()
    for process in Path("/proc").glob("[0-9]*"):
        try:
            if script in (process / "cmdline").read_bytes().split(b"\0"):
                found.add(int(process.name))
        except OSError:
            pass
    return found


def run_traced(data: Path, arguments: tuple[str, ...], *options: str) -> tuple[int, bool]:
    """Runs a client whose work, from where it is ready, is traced. The watch of its child takes no
    time. Gives its exit code, and whether it has done its work."""
    client = subprocess.Popen(command(CLIENT, *arguments), env=environment(data),
                              stdin=subprocess.PIPE, stdout=subprocess.PIPE)
    assert client.stdout.readline() == b"ready\n"
    tracer = subprocess.Popen(
        ["strace", *options, "-e", "inject=clock_nanosleep:retval=0", "-p", str(client.pid)],
        stderr=subprocess.PIPE)
    assert b"attached" in tracer.stderr.readline()
    output, _ = client.communicate(b"x")
    tracer.communicate()
    return client.returncode, b"done" in output


def system_calls(data: Path, arguments: tuple[str, ...]) -> list[tuple[str, int]]:
    """Those of the work, each as the how-manieth of its name; a third of those before a spawn."""
    trace = data.parent / "trace"
    assert run_traced(data, arguments, "-o", str(trace)) == (0, True)
    seen: dict[str, int] = {}
    calls = []
    for name in re.findall(r"(?m)^(\w+)\(", trace.read_text()):
        seen[name] = seen.get(name, 0) + 1
        if name not in ("clock_nanosleep", "epoll_wait"):
            calls.append((name, seen[name]))
    if ("clone3", 1) not in calls:
        return calls
    birth = calls.index(("clone3", 1))  # before it there is little to lose
    return calls[:birth:3] + calls[birth:]


def age_records(data: Path) -> None:
    """What the client left is as old as if nothing were on its way any more."""
    for file in (data / "config/utility_states").glob(".*"):
        os.utime(file, (0, 0))


@pytest.mark.parametrize("work", ["start", "stop", "cleanup"])
@pytest.mark.parametrize("kind", ["persistent", "own"])
def test_killed_client_loses_no_child(run_client, tmp_path, kind, work):
    def attempt(call: tuple[str, int]) -> int:
        name, number = call
        data = tmp_path / f"{name}-{number}"
        inject = f"inject={name}:signal=KILL:when={number}"
        code, _ = run_traced(data, (kind, work), "-o", os.devnull, "-e", inject)
        age_records(data)
        adopted, left, expected = json.loads(run_client(NEXT_CLIENT, data=data))
        after = children_of(data)
        for pid in after:
            os.kill(pid, signal.SIGKILL)
        assert after <= set(adopted), (call, "lost")
        assert left == expected, call
        if work == "start":
            assert set(adopted) == (after if kind == "persistent" else set()), call
        return code

    calls = system_calls(tmp_path / "whole" / "data", (kind, work))
    for pid in children_of(tmp_path / "whole" / "data"):
        os.kill(pid, signal.SIGKILL)
    assert len(calls) > 8
    with ThreadPoolExecutor(6) as pool:
        codes = list(pool.map(attempt, calls))
    # Threads don't meet alike every time, so that a call may not come as often.
    assert codes.count(-signal.SIGKILL) >= 0.9 * len(calls) - 1


SHARED = """
plugins.append(Plugin("p", [utility("kept", LASTING, persistent=True), utility("own", LASTING),
                            utility("each", LASTING, persistent=True, require_group_name=True)]))
from utility_manager import utility_manager as manager
print("ready", flush=True)
""".replace("LASTING", repr(LASTING))


def start_clients(data: Path, *scripts: str) -> list[subprocess.Popen]:
    """Clients over one state directory that are ready and wait for a line."""
    clients = [subprocess.Popen(command(SHARED + textwrap.dedent(script)), env=environment(data), text=True,
                                stdin=subprocess.PIPE, stdout=subprocess.PIPE)
               for script in scripts]
    for client in clients:
        assert client.stdout.readline() == "ready\n"
    return clients


def test_start_of_another_client_stands_for_name_and_port(tmp_path):
    first, second = start_clients(
        tmp_path,
        """
        input()
        threading.Thread(target=manager.start_utility_server, args=("", "kept", {})).start()
        while not [name for name in os.listdir(manager.state_dir) if name.endswith(".starting")]:
            time.sleep(0.001)
        print("spawned", flush=True)
        input()
        manager.stop_all_utility_servers()
        """,
        """
        input()
        fails_with(RuntimeError, "Utility 'kept' is already running globally. Only one global",
                   manager.start_utility_server, "", "kept", {})
        print(json.dumps([os.listdir(manager.state_dir),
                          manager.start_utility_server("", "own", {})["port"]]), flush=True)
        manager.stop_all_utility_servers()
        """)
    first.stdin.write("\n")
    first.stdin.flush()
    assert first.stdout.readline() == "spawned\n"
    output, _ = second.communicate("\n")
    files, port = json.loads(output)
    assert [name.rpartition(".")[2] for name in files] == ["starting"]  # it was still under way
    assert port != 8890
    first.communicate("\n")
    assert first.returncode == second.returncode == 0
    assert os.listdir(tmp_path / "config/utility_states") == []


def test_clients_that_start_at_once_share_nothing(tmp_path):
    groups = 24
    script = f"""
        results = []
        def start(group):
            try: results.append((group, manager.start_utility_server(group, "each", {{}})["port"]))
            except RuntimeError as failure: assert "already running in group" in str(failure)
        threads = [threading.Thread(target=start, args=(str(n),)) for n in range({groups})]
        input()
        for thread in threads: thread.start()
        for thread in threads: thread.join()
        print(json.dumps(results), flush=True)
        input()
        manager.stop_all_utility_servers()
        """
    clients = start_clients(tmp_path, script, script)
    for client in clients:
        client.stdin.write("\n")
        client.stdin.flush()
    results = [tuple(pair) for client in clients for pair in json.loads(client.stdout.readline())]
    for client in clients:
        client.communicate("\n")
    assert sorted(group for group, _ in results) == sorted(map(str, range(groups)))
    assert len({port for _, port in results}) == groups


def test_managers_of_one_client_stand_for_each_other(run_client):
    """A start under way is nobody's orphan, and its name and port are taken."""
    run_client(
        """
        import utility_manager as um
        plugins.append(Plugin("p", [utility("kept", "import time\\ntime.sleep(120)", persistent=True),
                                    utility("own", "import time\\ntime.sleep(120)")]))
        first, second = um.utility_manager, um.UtilityServerManager()
        for name in ("kept", "own"):
            results = []
            start = lambda: results.append(first.start_utility_server("", name, {}))
            starting = threading.Thread(target=start)
            before = len(os.listdir(first.state_dir))
            starting.start()
            while len(os.listdir(first.state_dir)) == before: time.sleep(0.001)
            third = um.UtilityServerManager()
            assert third.servers == {}
            if name == "kept":
                fails_with(RuntimeError, "Utility 'kept' is already running globally",
                           second.start_utility_server, "", name, {})
            port = second.start_utility_server("", "own", {})["port"]
            starting.join()
            assert results[0]["port"] != port and first.is_utility_server_running(
                results[0]["server_id"])
            second.stop_all_utility_servers()
            first.stop_all_utility_servers()
        """
    )


def test_a_client_that_runs_meets_what_the_gone_have_started(tmp_path):
    killed, running = start_clients(
        tmp_path,
        """
        input()
        threading.Thread(target=manager.start_utility_server, args=("", "kept", {})).start()
        while not [name for name in os.listdir(manager.state_dir) if name.endswith(".starting")
                   and open(os.path.join(manager.state_dir, name)).read().count("\\n") == 2]:
            time.sleep(0.001)
        os.kill(os.getpid(), signal.SIGKILL)
        """,
        """
        input()
        fails_with(RuntimeError, "Utility 'kept' is already running globally",
                   manager.start_utility_server, "", "kept", {})
        [server_id] = manager.servers
        assert os.listdir(manager.state_dir) == [server_id + ".json"]
        manager.stop_all_utility_servers()
        """)
    killed.communicate("\n")
    assert killed.returncode == -signal.SIGKILL
    running.communicate("\n")
    assert running.returncode == 0


def test_what_a_cleanup_keeps_is_found_by_the_next_client(run_client):
    """Also where it has become persistent after its start."""
    offer = """
        plugins.append(Plugin("p", [utility("u", "import time\\ntime.sleep(120)", persistent={})]))
        from utility_manager import utility_manager as manager
        """
    run_client(offer.format(False) + """
        server_id = manager.start_utility_server("", "u", {})["server_id"]
        plugins[:] = [Plugin("p", [utility("u", "", persistent=True)])]
        manager.refresh_utility_registry()
        manager.cleanup_all_servers()
        assert os.listdir(manager.state_dir) == [server_id + ".json"]
        """)
    run_client(offer.format(True) + """
        [server_id] = manager.servers
        assert manager.is_utility_server_running(server_id)
        manager.stop_all_utility_servers()
        """)
