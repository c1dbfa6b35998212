"""A forked child of the client: it has none of the client's threads and none of its children."""

HEAD = """
import multiprocessing, traceback, warnings
warnings.filterwarnings("ignore", ".* is multi-threaded", DeprecationWarning)  # since Python 3.12
plugins.append(Plugin("p", [utility("demo"), utility("kept", persistent=True)]))
import utility_manager as module
from utility_manager import utility_manager as manager

def forked(work):
    child = os.fork()
    if child:
        return os.waitstatus_to_exitcode(os.waitpid(child, 0)[1])
    signal.alarm(20)  # against a hang
    try:
        work()
        os._exit(0)
    except BaseException:
        traceback.print_exc()
        os._exit(1)

def refused(work, *given):
    fails_with(RuntimeError, "in a forked child", work, *given)
"""


def test_forked_child_leaves_everything_alone(run_client):
    run_client(
        HEAD
        + """
started = [manager.start_utility_server("", name, {}) for name in ("demo", "kept")]
ids = [each["server_id"] for each in started]
handle = manager.servers[ids[0]]["process"]
lines, stream = manager.servers[ids[0]]["stderr_buffer"], handle.stderr
record = module.UtilityRegistration("r")
files = os.listdir(manager.state_dir)
assert ids[1] + ".json" in files

def look():
    for name in ("servers", "used_ports", "monitor_thread", "running", "utility_registry",
                 "port_pool", "state_dir", "_utility_registry_complete"):
        refused(getattr, manager, name)
    for work in (manager.list_utility_servers, manager.cleanup_all_servers,
                 manager.stop_all_utility_servers, manager._load_persisted_states,
                 manager._start_monitoring, manager._monitor_loop, manager.get_navbar_utilities,
                 manager.refresh_utility_registry, module.UtilityServerManager,
                 handle.poll, handle.terminate, lambda: handle.wait(1), lambda: handle.returncode,
                 lambda: len(lines), lambda: list(lines), stream.read):
        refused(work)
    for server_id in ids:
        for work in (manager.stop_utility_server, manager.is_utility_server_running,
                     manager.collect_utility_stderr_snippet, manager._handle_server_died,
                     manager._remove_state_file):
            refused(work, server_id)
    for each in started:
        refused(manager._kill_process_tree, each["pid"])
        refused(manager._stop_utility_process, None, each["pid"])
        assert manager._is_process_alive(each["pid"])
    refused(manager.start_utility_server, "", "demo", {})
    assert record.to_dict()["utility_name"] == "r" and record == module.UtilityRegistration("r")
    assert module._build_mapped_url("a", None, False).endswith("/utility/a")
    child = multiprocessing.get_context("fork").Process(target=lambda: refused(handle.poll))
    child.start()
    child.join()
    assert child.exitcode == 0

assert forked(look) == 0
def drop():
    global handle, lines, manager, module
    del handle, lines, manager, module
    sys.modules.pop("utility_manager")
assert forked(drop) == 0
if not (child := os.fork()):
    try: sys.exit(0)  # by way of the exit hooks
    finally: signal.alarm(20)
assert os.waitpid(child, 0)[1] == 0
assert handle.poll() is None and files == os.listdir(manager.state_dir)
assert sorted(manager.servers) == sorted(ids) and len(manager.list_utility_servers()) == 2
assert all(manager.stop_utility_server(server_id) for server_id in ids)
assert handle.wait(10) is not None
"""
    )


def test_fork_at_any_moment_does_not_hang(run_client):
    """Other threads hold this lock or that one when the child is made."""
    run_client(
        HEAD
        + """
chatty = utility("chatty", fake_client.CHATTY)
plugins[0].registrations.append(chatty)
manager.refresh_utility_registry()
os.dup2(os.open(os.devnull, os.O_WRONLY), 1)
server_id = manager.start_utility_server("", "chatty", {})["server_id"]
info = manager.servers[server_id]
over = False
def again(work):
    while not over: work()
work = [manager.list_utility_servers, manager.refresh_utility_registry, info["process"].poll,
        lambda: list(info["stderr_buffer"]), lambda: manager.servers]
threads = [daemon(lambda work=each: again(work)) for each in work]
def try_all():
    for each in work: refused(each)
    assert module.UtilityRegistration("x").to_dict()
    module._build_mapped_url("a", None, False)
for round in range(60): assert forked(try_all) == 0
over = True
for thread in threads: thread.join()
assert manager.stop_utility_server(server_id)
"""
    )
