"""A failure of the client or a plugin comes out as itself; what is no Exception passes guards."""

RAISING = """
import traceback
from utility_manager import utility_manager as manager

class Own(Exception):
    def __str__(self): raise ValueError("no text")
class OwnBase(BaseException): pass

thrown = None
def fail(*arguments):
    try:
        raise KeyError("cause")
    except KeyError as cause:
        raise thrown from cause

def comes_out(failure, work, *arguments):
    global thrown
    thrown = failure
    try:
        work(*arguments)
    except BaseException as raised:
        assert raised is failure and isinstance(raised.__cause__, KeyError), repr(raised)
        assert traceback.extract_tb(raised.__traceback__)[-1].name == "fail"
        assert traceback.extract_tb(raised.__traceback__)[0].name == "comes_out"
        return True
    return False

ordinary = [ValueError("text"), Own(), UnicodeError("\\udcff"), OSError(5, "text"), KeyError(1)]
interrupts = [SystemExit(3), KeyboardInterrupt(), GeneratorExit(), OwnBase("text")]
"""


def test_failures_come_out_as_themselves(run_client):
    run_client(
        RAISING
        + """
plugins.append(Plugin("p", [utility("demo"), utility("grp", require_group_name=True)]))
manager.refresh_utility_registry()
services["get_default_language"] = fail
for failure in ordinary + interrupts:
    assert comes_out(failure, manager.start_utility_server, "", "demo", {})
assert manager.servers == {} and manager.used_ports == set()

services["get_default_config_dir"] = fail
for failure in ordinary + interrupts:
    assert comes_out(failure, manager._get_state_dir)
    guarded = failure in ordinary
    assert comes_out(failure, manager._get_plugin_path_from_includes, "p") != guarded

for service in ("get_org_list", "get_group_detail"):
    services[service] = fail
for failure in ordinary + interrupts:
    guarded = failure in ordinary
    assert comes_out(failure, manager._get_user_permissions) != guarded
    assert comes_out(failure, manager._check_org_admin_for_group, "g") != guarded

class Lying(dict):
    def items(self): fail()
class Fussy:
    def __bool__(self): fail()
for failure in ordinary + interrupts:
    assert comes_out(failure, manager._utility_is_navbar, Lying())
    assert comes_out(failure, manager._get_plugin_base_path, "p", Fussy())
"""
    )


def test_guards_of_a_walk_stop_ordinary_failures_only(run_client):
    run_client(
        RAISING
        + """
class Raises:
    plugin_name = property(fail)
def walk(hook):
    yield Plugin("p", [utility("kept")])
    fail()
for given, register in [
    ([Plugin("p", fail), Plugin("q", [utility("kept")])], None),
    ([Raises(), Plugin("q", [utility("kept")])], None),
    ([], walk),
]:
    plugins[:] = given
    services["get_plugins_by_hook"] = register or (lambda hook: plugins)
    for failure in ordinary + interrupts:
        guarded = failure in ordinary
        manager.refresh_utility_registry()
        assert comes_out(failure, manager._get_all_utilities) != guarded
        assert comes_out(failure, manager._get_utility_info, "none", True) != guarded
        assert comes_out(failure, manager._get_utility_info, "none") != guarded
        assert manager.used_ports == set()  # the lock is free again
        assert list(manager.utility_registry) == (["kept"] if guarded else [])
"""
    )


def test_failures_of_the_system_have_their_python_types(run_client):
    run_client(
        """
        import pathlib, shutil
        from utility_manager import utility_manager as manager
        plugins.append(Plugin("p", [utility("dies", "raise ValueError('the reason')")]))
        manager.refresh_utility_registry()
        start = manager.start_utility_server
        died = fails_with(RuntimeError, "ValueError: the reason", start, "", "dies", {})
        assert str(died).startswith("Failed to start utility server: Utility 启动失败: ")
        missing = "server: [Errno 2] No such file or directory: '/no\\\\udce9'"
        fails_with(RuntimeError, missing, manager._start_process, ["/no\\udce9"], 5)
        for arguments in ([], ["a\\0b"], [""]):
            fails_with(RuntimeError, "Failed to start", manager._start_process, arguments, 5)
        assert manager._format_utility_start_error("text", [" ", None]).endswith(": text")

        info = {"server_id": "id", "create_time": "\\udcff"}
        fails_with(UnicodeEncodeError, "", manager._persist_server_state, info, True)
        shutil.rmtree(manager.state_dir)
        info["create_time"] = 1
        gone = fails_with(FileNotFoundError, "", manager._persist_server_state, info, True)
        assert gone.errno == 2 and gone.filename == manager._state_file_path("id")
        assert str(gone) == f"[Errno 2] No such file or directory: '{gone.filename}'"
        services["get_gui_addr"] = lambda: 5
        fails_with(TypeError, "get_gui_addr", start, "", "dies", {})
        """
    )


def test_interrupt_reaches_the_client_after_the_operation(run_client):
    run_client(
        """
        plugins.append(Plugin("p", [utility("demo")]))
        from utility_manager import utility_manager as manager
        threading.Timer(0.2, os.kill, (os.getpid(), signal.SIGINT)).start()
        fails_with(KeyboardInterrupt, "", manager.start_utility_server, "", "demo", {})
        assert len(manager.servers) == 1  # the start itself was not cut short
        manager.stop_all_utility_servers()
        """
    )


def test_waits_of_the_main_thread_are_interrupted(run_client):
    run_client(
        """
        plugins.append(Plugin("p", [utility("demo")]))
        from utility_manager import utility_manager as manager
        server_id = manager.start_utility_server("", "demo", {})["server_id"]
        handle = manager.servers[server_id]["process"]
        class Ended(Exception): pass
        def end(*_): raise Ended("by the handler")
        signal.signal(signal.SIGTERM, end)
        sent = []
        def wait(work, *given):  # a signal comes while the wait goes on, and each is the only one
            timer = threading.Timer(0.1, os.kill, (os.getpid(), sent.append(len(sent) % 2) or
                                    (signal.SIGINT, signal.SIGTERM)[sent[-1]]))
            timer.start()
            fails_with((KeyboardInterrupt, Ended)[sent[-1]], "", work, *given)
        for work, *given in [
            (handle.wait,), (handle.wait, 600), (handle.wait, float("inf")),
            (manager.monitor_thread.join,), (manager.monitor_thread.join, float("inf")),
            (handle.stderr.read,), (manager.collect_utility_stderr_snippet, server_id, 600),
            (manager.collect_utility_stderr_snippet, server_id, float("inf")),
        ]:
            for _ in range(2): wait(work, *given)
        assert manager.is_utility_server_running(server_id) and manager.monitor_thread.is_alive()
        manager.stop_all_utility_servers()
        assert handle.stderr.read() == b"" and handle.wait(float("inf")) == -signal.SIGTERM
        """
    )


def test_foreign_handles(run_client):
    run_client(
        """
        from utility_manager import utility_manager as manager
        class Handle:
            pid, returncode, polls = os.getpid(), None, []
            def poll(self): return self.polls.pop(0)
            def terminate(self): self.ended = True
            def wait(self, timeout): raise subprocess.TimeoutExpired("handle", timeout)
        handle = Handle()
        handle.polls = [None, 0]
        assert manager._stop_utility_process(process=handle, pid=0) and handle.ended
        broken = RuntimeError("no poll")
        class Broken(Handle):
            def poll(self): raise broken
        assert fails_with(RuntimeError, "", manager._stop_utility_process, Broken(), 0) is broken
        class Nameless: pid = None
        assert manager._stop_utility_process(Nameless(), 0)
        fails_with(TypeError, "'str' is no number", lambda: manager._stop_utility_process(
            type("Wrong", (), {"pid": "1"})(), 0))
        """
    )
