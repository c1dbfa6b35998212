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


def test_small_stacks_carry_every_operation(run_client):
    run_client(
        """
        icon = fake_client.DATA / "i.svg"
        icon.write_text("x" * 200_000)
        loud = "import sys; sys.stderr.write('x' * 200_000 + chr(10)); sys.stderr.flush()\\n"
        plugins.append(Plugin("p", [
            utility("own", loud + fake_client.IDLE, icon_path=str(icon), persistent=True),
            utility("dies", "raise ValueError('x' * 200_000)")]))
        import utility_manager as module
        from utility_manager import UtilityRegistration as Record, utility_manager as manager
        (fake_client.DATA / "config" / "plugin_includes.txt").write_text("/nowhere/\\n" * 1000)
        config = {"deep": []}
        for _ in range(40): config = {"deep": [config]}
        threading.stack_size(64 * 1024)
        def small(work, *given):
            results = []
            def run():
                try: results.append(work(*given))
                except Exception as failure: results.append(failure)
            thread = threading.Thread(target=run)
            thread.start()
            thread.join()
            return results[0]
        assert isinstance(small(manager.start_utility_server, "", "dies", {}), RuntimeError)
        server_id = small(manager.start_utility_server, "", "own", config)["server_id"]
        info = small(lambda: manager.servers[server_id])
        record = {"icon_path": str(icon), "plugin_name": "p", "access_level": "ORG_ADMIN"}
        for name, *given in [
            ("collect_utility_stderr_snippet", server_id, 60.0, 10**6),
            *[(view,) for view in dir(manager) if view.startswith(("get_n", "get_utilities_without",
                "list_", "refresh_", "_get_all", "_get_av", "_get_user_p", "_collect", "_load_p"))],
            ("get_create_exp_utilities", "g"), ("get_utilities_with_group_name", "g"), ("_find_running_utility", "own"),
            ("_get_utility_info", "none"), ("_get_utility_script_path", "own"),
            ("_get_plugin_path_from_includes", "p"), ("_load_icon_as_base64", icon, {}),
            ("_add_icon_to_utility_info", record), ("_check_utility_permission", record, {}, "g"),
            ("_build_process_args", "s", "i", "u", 1, "", False, config),
            ("_persist_server_state", info, False), ("_start_process", ["/bin/true"], 1),
            ("_format_utility_start_error", "m", ["Error: " + "x" * 10_000] * 100),
        ]:
            result = small(getattr(manager, name), *given)
            assert name == "_start_process" or not isinstance(result, Exception), (name, result)
        assert small(lambda: Record("u", extra=config) == Record("u", extra=config)) is True
        adopting = small(module.UtilityServerManager)
        assert server_id in adopting.servers and small(module._build_mapped_url, "u", None, False)
        assert small(manager.stop_utility_server, server_id) is True
        assert small(info["process"].stderr.read) == small(info["process"].stdout.read) == b""
        small(adopting.cleanup_all_servers)
        small(manager.cleanup_all_servers)
        small(manager.monitor_thread.join, float("inf"))
        assert not manager.monitor_thread.is_alive()
        """
    )
