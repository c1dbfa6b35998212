"""Utilities as real processes, on the process-inspection layer of the build."""

import json
import os
import signal
import time
from pathlib import Path

import pytest
from conftest import VARIANT

LASTING = "import sys, time\nprint('a word', file=sys.stderr)\ntime.sleep(60)"
TREE = """
import pathlib, signal, subprocess, sys
signal.signal(signal.SIGTERM, signal.SIG_IGN)
child = subprocess.Popen(["sleep", "60"])
pathlib.Path(sys.argv[0]).with_suffix(".pid").write_text(str(child.pid))
child.wait()
"""


def gone(pid: int) -> bool:
    """Whether a process has ended; init may take its time to collect it."""
    for _ in range(1000):
        try:
            if Path(f"/proc/{pid}/stat").read_text().rpartition(")")[2].split()[0] == "Z":
                return True
        except FileNotFoundError:
            return True
        time.sleep(0.01)
    return False


def test_stubborn_tree_is_ended_and_keeps_its_exit_code(run_client):
    output = run_client(
        f"""
        plugins.append(Plugin("p", [utility("tree", {TREE!r})]))
        from utility_manager import utility_manager as manager
        server_id = manager.start_utility_server("", "tree", {{}})["server_id"]
        process = manager.servers[server_id]["process"]
        while not (fake_client.DATA / "tree.pid").exists(): time.sleep(0.005)
        stopped = manager.stop_utility_server(server_id)
        assert not stopped or server_id not in manager.servers  # else the monitor may be quicker
        assert process.wait(10) == -signal.SIGKILL
        print(stopped, (fake_client.DATA / "tree.pid").read_text())
        """
    )
    stopped, grandchild = output.split()
    if VARIANT == "none":  # only the instance itself gets signals there
        os.kill(int(grandchild), signal.SIGKILL)
    else:
        assert stopped == "True"
    assert gone(int(grandchild))


@pytest.mark.skipif(VARIANT == "none", reason="nothing collects there")
def test_children_of_others_are_collected_too(run_client):
    run_client(
        """
        from utility_manager import utility_manager as manager
        child = subprocess.Popen(["sleep", "60"])
        assert manager._kill_process_tree(child.pid)
        assert not os.path.exists(f"/proc/{child.pid}") and child.wait() == 0
        assert manager._kill_process_tree(child.pid) and not manager._is_process_alive(child.pid)
        """
    )


def test_strangers_are_neither_adopted_nor_signalled(run_client):
    """Ids of processes that aren't the instance, or not any more, on every layer."""
    output = run_client(
        """
        from utility_manager import utility_manager as manager
        def adopt(pid, started):
            state = {"server_id": "s", "port": 9000, "pid": pid, "create_time": int(started)}
            with open(os.path.join(manager.state_dir, "s.json"), "w") as file:
                json.dump(state, file)
            manager.list_utility_servers()
            return "s" in manager.servers
        now, other = time.time(), subprocess.Popen(["true"])
        sleeper = lambda: subprocess.Popen(["sleep", "60"])
        instance = sleeper()
        for pid in (os.getpid(), os.getppid(), 1): assert not adopt(pid, now), pid
        for difference in (-3600, 3600): assert not adopt(instance.pid, now + difference)
        assert adopt(instance.pid, now) and instance.poll() is None
        time.sleep(0.05)  # start times are told in ticks
        instance.kill()
        instance.wait()
        for attempt in range(60):
            try: open("/proc/sys/kernel/ns_last_pid", "w").write(str(instance.pid - 1))
            except OSError: break
            other = sleeper()
            if other.pid == instance.pid: break
            other.kill()
            other.wait()
        if other.pid == instance.pid:
            assert manager.stop_utility_server("s") and "s" not in manager.servers
            assert other.poll() is None and not os.listdir(manager.state_dir)
        print(other.pid == instance.pid)
        other.kill()
        """
    )
    if output.strip() != "True":
        pytest.skip("the id of a process can't be chosen here")


def test_next_client_adopts_stops_and_cleans_up(run_client):
    """The second client finds what the first left running, the third what the second left."""
    head = f"""
lasting = {{"body": {LASTING!r}, "persistent": True}}
plugins.append(Plugin("p", [utility("kept", **lasting), utility("own"),
                            utility("each", require_group_name=True, **lasting)]))
from utility_manager import utility_manager as manager
files = lambda: sorted(name[:-5] for name in os.listdir(manager.state_dir))
by_name = lambda: {{record["utility_name"]: record for record in manager.servers.values()}}
common = ["server_id", "utility_name", "port", "pid", "process", "config", "create_time", "lang",
          "studio_url", "group_name"]
"""
    first = run_client(
        head
        + """
results = {}
def start(group, name): results[name] = manager.start_utility_server(group, name, {"ü": [1]})
threads = [threading.Thread(target=start, args=names)
           for names in [("", "kept"), ("", "own"), ("g", "each")]]
for thread in threads: thread.start()
for thread in threads: thread.join()
manager.collect_utility_stderr_snippet(results["each"]["server_id"], 60.0)
each, own = by_name()["each"], by_name()["own"]
assert list(results["each"]) == ["server_id", "port", "local_url", "url", "pid"]
assert list(each) == [*common, "stderr_buffer"] and each["stderr_buffer"] == ["a word"]
assert manager.get_utility_stderr_snippet(each["server_id"], max_chars=4) == "word"
fails_with(RuntimeError, "in group 'g'", manager._check_existing_instances, "each", "g", True)
assert list(manager.list_all_running_utilities_grouped()["by_group"]) == ["g"]
assert manager.running and manager.monitor_thread.is_alive()

own["process"].terminate()
assert own["process"].wait(10) == own["process"].returncode == -signal.SIGTERM
assert not manager.is_utility_server_running(own["server_id"])
assert {entry["utility_name"] for entry in manager.list_utility_servers()} == {"each", "kept"}
assert manager.used_ports == {results["each"]["port"], results["kept"]["port"]}
manager.cleanup_all_servers()
assert not manager.running and files() == sorted(manager.servers)
print(json.dumps({name: record["pid"] for name, record in by_name().items()}))
"""
    )
    pids = json.loads(first.splitlines()[-1])
    run_client(
        head
        + """
adopted = by_name()
assert list(adopted["each"]) == common and list(adopted["kept"]) == common[:-1]
assert adopted["kept"]["process"] is None and adopted["kept"]["config"] == {"ü": [1]}
assert manager.monitor_thread is None and not manager.running
assert manager.used_ports == {record["port"] for record in adopted.values()}
assert manager._find_running_utility("each", "g")["group_name"] == "g"
fails_with(RuntimeError, "already running globally", manager.start_utility_server, "", "kept", {})
manager.cleanup_all_servers()
kept = adopted["kept"]["server_id"]
if manager.stop_utility_server(kept):  # else init was slow to collect it
    assert kept not in manager.servers and files() == [adopted["each"]["server_id"]]
"""
    )
    assert gone(pids["kept"])
    os.kill(pids["each"], signal.SIGKILL)
    assert gone(pids["each"])
    run_client(
        head
        + """
deadline = time.monotonic() + 30
while manager.list_utility_servers() and time.monotonic() < deadline: time.sleep(0.05)
assert manager.servers == {} and files() == [] and manager.used_ports == set()
"""
    )


def test_a_utility_that_the_client_runs_in_keeps_its_files(run_client):
    """It isn't adopted, and it is no stranger. Nobody but the client itself could end it."""
    around = "6f0c2a52-53f4-4c52-9d9c-0d8c6f7f9a12"
    run_client(
        """
        around = sys.argv[2]
        states = os.path.join(os.environ["FAKE_CLIENT_DATA"], "config", "utility_states")
        os.makedirs(states)
        for server_id in (around, "stranger"):
            record = {"server_id": server_id, "port": 8899, "pid": os.getpid(),
                      "create_time": int(time.time())}
            with open(os.path.join(states, server_id + ".json"), "w") as file:
                json.dump(record, file)
        with open(os.path.join(states, f".{around}.starting"), "w") as file:  # of a client that has gone
            record = {"server_id": around, "port": 8899, "pid": 0, "create_time": int(time.time())}
            print(json.dumps({"state": record, "client": {"pid": 1 << 23}}), file=file)
        from utility_manager import utility_manager as manager
        assert manager.servers == {}
        assert sorted(os.listdir(states)) == [f".{around}.starting", f"{around}.json"]
        """,
        "--server-id", around,
    )


@pytest.mark.skipif(VARIANT != "psutil", reason="the library alone may refuse to tell")
def test_an_adopted_process_that_cannot_be_asked_breaks_nothing(run_client):
    run_client(
        """
        import gc, psutil
        from utility_manager import utility_manager as manager
        sleeper = subprocess.Popen(["sleep", "60"], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        state = {"server_id": "s", "port": 9000, "pid": sleeper.pid, "create_time": int(time.time())}
        with open(os.path.join(manager.state_dir, "s.json"), "w") as file:
            json.dump(state, file)
        assert [each["server_id"] for each in manager.list_utility_servers()] == ["s"]
        class Refusing(psutil.Process):
            def is_running(self): raise psutil.AccessDenied(self.pid)
        for kept in gc.get_objects():  # the object that stands for the adopted process
            if type(kept) is psutil.Process: kept.__class__ = Refusing
        assert manager.is_utility_server_running("s")
        manager.get_navbar_utilities()
        assert [each["server_id"] for each in manager.list_utility_servers()] == ["s"]
        sleeper.kill()
        sleeper.wait()
        assert manager.list_utility_servers() == [] and manager.used_ports == set()
        """
    )
