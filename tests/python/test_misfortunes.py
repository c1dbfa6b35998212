"""What goes wrong around a client costs it what it must, and no more."""

import os

import pytest

LASTING = "import signal; signal.pause()"


def test_child_adopted_after_an_exec_is_collected(run_client):
    """The client that has executed itself is still the parent of what it adopts."""
    run_client(
        f"""
        plugins.append(Plugin("p", [utility("kept", {LASTING!r}, persistent=True)]))
        from utility_manager import utility_manager as manager
        if len(sys.argv) == 1:
            manager.start_utility_server("", "kept", {{}})
            os.execv("/usr/bin/python3", [*sys.orig_argv, "again"])
        (server_id, record), = manager.servers.items()
        assert record["process"] is None and manager.is_utility_server_running(server_id)
        os.kill(record["pid"], signal.SIGKILL)
        while manager.list_utility_servers(): time.sleep(0.005)
        assert manager.servers == {{}} and not os.path.exists(f"/proc/{{record['pid']}}")
        assert not os.listdir(manager.state_dir) and manager.used_ports == set()
        """
    )


def test_start_succeeds_without_a_monitor(run_client):
    run_client(
        """
        import resource
        here = fake_client.DATA
        body = "import pathlib; pathlib.Path(__file__).with_suffix('.up').touch(); input()"
        plugins.append(Plugin("p", [utility("one", body), utility("two")]))
        read_end, write_end = os.pipe()
        os.dup2(read_end, 0)
        from utility_manager import utility_manager as manager
        results, most = [], resource.getrlimit(resource.RLIMIT_AS)[1]
        start = daemon(lambda: results.append(manager.start_utility_server("", "one", {})))
        while not (here / "one.up").exists(): time.sleep(0.005)
        pages = int(open("/proc/self/statm").read().split()[0])
        limit = pages * os.sysconf("SC_PAGE_SIZE") + 2**20  # no room for a thread
        resource.setrlimit(resource.RLIMIT_AS, (limit, most))
        start.join()
        resource.setrlimit(resource.RLIMIT_AS, (most, most))
        assert results[0]["server_id"] in manager.servers
        assert not manager.running and not manager.monitor_thread
        manager.start_utility_server("", "two", {})
        assert manager.running and manager.monitor_thread.is_alive()
        begin = time.monotonic()
        manager.cleanup_all_servers()
        assert time.monotonic() - begin < 1.5  # the monitor slept, and was woken
        assert manager.servers == {} and not manager.monitor_thread.is_alive()
        """
    )


@pytest.mark.parametrize("locale", ["C", "POSIX", "de_DE.ISO-8859-1"])
def test_state_directory_in_a_locale_that_is_not_utf_8(run_client, tmp_path, monkeypatch, locale):
    monkeypatch.setenv("LC_ALL", locale)
    monkeypatch.setenv("PYTHONUTF8", "0")
    monkeypatch.setenv("PYTHONCOERCECLOCALE", "0")
    directory = os.fsencode(tmp_path / "温室") + b"-\xe4"
    output = run_client(
        """
        directory = os.fsencode(fake_client.DATA) + bytes.fromhex(sys.argv[1])
        services["get_default_config_dir"] = lambda: os.fsdecode(directory)
        from utility_manager import utility_manager as manager
        assert os.fsencode(manager.state_dir) == os.path.join(directory, b"utility_states")
        assert os.path.isdir(manager.state_dir)
        child = subprocess.Popen(["sleep", "60"], stdout=subprocess.DEVNULL)
        info = {"server_id": "s", "utility_name": "\\u6e29", "pid": child.pid, "port": 9000,
                "config": {}, "create_time": int(time.time())}
        manager._persist_server_state(info, False)
        assert os.path.isfile(manager._state_file_path("s"))
        assert [each["utility_name"] for each in manager.list_utility_servers()] == ["\\u6e29"]
        child.kill()
        child.wait()
        assert manager.list_utility_servers() == [] and os.listdir(manager.state_dir) == []
        """,
        directory[len(os.fsencode(tmp_path)) :].hex(),
    )
    assert output == ""
