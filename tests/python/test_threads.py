"""No operation holds the interpreter lock while it waits, and no two of them lock each other up.

The scripts bring about from one thread what an operation waits for on another: one that held the
interpreter lock would never see it, and the test would run into its limit.
"""

OBEYS_SLOWLY = """
import os, pathlib, signal, sys, time
here = pathlib.Path(sys.argv[0]).parent
client = os.getppid()
def wait_for(name):
    while not (here / name).exists() and os.getppid() == client: time.sleep(0.01)
def asked(*_):
    (here / "asked").touch()
    wait_for("leave")
    os._exit(7)
signal.signal(signal.SIGTERM, asked)
(here / "started").touch()
wait_for("speak")
print("the word", file=sys.stderr, flush=True)
wait_for("never")
"""
HEAD = f"""
OBEYS_SLOWLY = {OBEYS_SLOWLY!r}
here = fake_client.DATA
def seen(name):
    while not (here / name).exists(): time.sleep(0.005)
def result_of(work, *arguments):
    results = []
    return daemon(lambda: results.append(work(*arguments))), results
"""


def test_waits_leave_the_interpreter_to_others(run_client):
    run_client(
        HEAD
        + """
plugins.append(Plugin("p", [utility("slow", OBEYS_SLOWLY)]))
from utility_manager import utility_manager as manager
start, started = result_of(manager.start_utility_server, "", "slow", {})
seen("started")
assert start.is_alive() and not manager.servers  # the watch goes on meanwhile
start.join()

server_id = started[0]["server_id"]
handle = manager.servers[server_id]["process"]
collect, text = result_of(manager.collect_utility_stderr_snippet, server_id, 60.0)
end, code = result_of(handle.wait)
read, unread = result_of(handle.stdout.read)
fails_with(subprocess.TimeoutExpired, "timed out after 0.01 seconds", handle.wait, 0.01)
(here / "speak").touch()
collect.join()
assert text == ["the word"]

stop, stopped = result_of(manager.stop_utility_server, server_id)
seen("asked")
waiting = [daemon(work) for work in (
    manager.list_utility_servers, manager.refresh_utility_registry, manager.cleanup_all_servers,
    manager._load_persisted_states, manager._get_available_port, manager.get_navbar_utilities,
    lambda: manager.servers, lambda: manager._get_utility_info("x", True),
    lambda: manager._handle_server_died("x"), lambda: manager.is_utility_server_running("x"))]
for thread in waiting[:4]:
    thread.join(0.05)
    assert thread.is_alive() and stop.is_alive()  # the stop holds the lock through its wait
(here / "leave").touch()
for thread in (stop, end, read, *waiting):
    thread.join()
assert stopped == [True] and code == [7] and handle.returncode == 7 and manager.servers == {}
assert handle.stdout.closed and handle.stdout.read() == unread[0] == b""
"""
    )


def test_operations_on_many_threads_come_to_an_end(run_client):
    run_client(
        """
        calls = []
        def register():
            calls.append(1)
            return [utility(f"u{number}", title="x" * 1000) for number in range(5)]
        plugins.append(Plugin("p", register))
        from utility_manager import utility_manager as manager
        done = []
        def work(*operations):
            for _ in range(60):
                for operation in operations: operation()
            done.append(1)
        threads = [threading.Thread(target=work, args=operations) for operations in [
            (manager.list_utility_servers, manager.refresh_utility_registry),
            (manager.list_all_running_utilities_grouped, manager._get_available_port),
            (manager.get_utilities_without_group_name, lambda: manager.utility_registry),
            (lambda: manager._get_utility_info("none", True), manager._get_all_utilities),
            (lambda: manager.servers, lambda: manager._get_utility_info("u1")),
            (manager._collect_registry_from_plugins, manager.cleanup_all_servers)]]
        for thread in threads: thread.start()
        for thread in threads: thread.join()
        assert len(done) == len(threads) and len(calls) > 100
        """
    )
