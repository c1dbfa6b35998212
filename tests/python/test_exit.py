"""The client ends, in whatever way, while the system is at work: no crash, no hang, no message."""

import signal

import pytest

WORK = """
from fake_client import CHATTY, STUBBORN
hook_seconds = float(sys.argv[1])
at_exit, inside = threading.Event(), threading.Event()
registrations = [utility("chatty", CHATTY), utility("stubborn", STUBBORN),
                 utility("grouped", require_group_name=True)]
def linger(seconds):
    if at_exit.is_set() and threading.current_thread() is not threading.main_thread():
        inside.set()
        time.sleep(seconds)
def register():
    linger(0.01)
    return Items(registrations)
class Items(list):  # a destructor of the binding runs Python code, too
    def __del__(self): linger(hook_seconds)
plugins.append(Plugin("p", register))
from utility_manager import utility_manager as manager

start = manager.start_utility_server
starts = [threading.Thread(target=start, args=("", name, {})) for name in ("chatty", "stubborn")]
for thread in starts: thread.start()
for thread in starts: thread.join()
ids = {record["utility_name"]: server_id for server_id, record in manager.servers.items()}
handle = manager.servers[ids["chatty"]]["process"]

class Last:  # its end makes that of the interpreter long
    def __del__(self, manager=manager, sleep=time.sleep, uses_lock=hook_seconds < 1):
        sleep(0.5)
        if uses_lock: manager.refresh_utility_registry()
sys.modules["last"] = type(sys)("last")
sys.modules["last"].value = Last()

def forever(work):
    def run():
        while True: work()
    return daemon(run)

at_exit.set()
daemon(lambda: start("g", "grouped", {}))
for wait in (handle.wait, handle.stdout.read, manager._monitor_loop, manager.monitor_thread.join,
             lambda: manager.collect_utility_stderr_snippet("unknown", 60)):
    daemon(wait)
for work in (manager._collect_registry_from_plugins, lambda: manager._get_utility_info("unknown"),
             lambda: manager._get_utility_info("unknown", True), manager.list_utility_servers,
             manager.get_navbar_utilities, lambda: manager.servers):
    forever(work)
inside.wait()
if hook_seconds > 1:  # and a wait under the lock goes beyond the end
    daemon(lambda: manager.stop_utility_server(ids["stubborn"]))
"""
WAYS = {
    "return": ("pass", 0, ""),
    "failure": ("raise ValueError('the end')", 1, "ValueError: the end"),
    "sys.exit": ("sys.exit(3)", 3, ""),
    "interrupt": ("signal.raise_signal(signal.SIGINT)", -signal.SIGINT, "KeyboardInterrupt"),
    "os._exit": ("os._exit(4)", 4, ""),
    "exit in thread": ("daemon(sys.exit).join()", 0, ""),
}


@pytest.mark.parametrize("way", WAYS)
def test_end_is_clean(run_many, way):
    """With hooks that soon come back, and with hooks that are waited for in vain."""
    last_act, code, error = WAYS[way]
    trials = [(hook_seconds,) for hook_seconds in (0.01, 1.2)] * 10
    run_many(WORK + last_act, trials, code=code, error=error)


def test_exit_hooks_of_the_client_run_before_and_after_the_gate_closes(run_many):
    script = """
    import atexit
    asked = []
    def register():
        asked.append(threading.current_thread() is threading.main_thread())
        return [utility("demo")]
    def end():
        manager.cleanup_all_servers()
        manager.refresh_utility_registry()
        asked.clear()
        assert [info["utility_name"] for info in manager._get_all_utilities()] == ["demo"] and asked
        print("ended", flush=True)
    atexit.register(end)
    plugins.append(Plugin("p", register))
    from utility_manager import utility_manager as manager
    atexit.register(end)
    class Late:
        def __del__(self, manager=manager): manager.list_utility_servers()
    late = Late()
    """
    run_many(script, [()] * 10)


def test_forked_child_ends_as_any_client(run_many):
    script = """
    from utility_manager import utility_manager as manager
    child = os.fork()
    if not child: fails_with(RuntimeError, "in a forked child", manager.list_utility_servers)
    if child: assert manager.list_utility_servers() == []
    if child: sys.exit(os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]))
    """
    run_many(script, [()] * 5)
