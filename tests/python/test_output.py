"""What children write: relayed, kept without filling the client, and never in a stranger's file."""

from test_stderr_buffer import START

TALKER = """
import sys
sys.stdin.readline()
block = b"".join(b"%07d " % number + b"x" * 92 + b"\\n" for number in range(10000))
for start in range(200): sys.stderr.buffer.write(block)
print("last words", file=sys.stderr, flush=True)
sys.stdin.read()
"""


def test_talk_of_days_neither_fills_the_client_nor_slows_a_look(run_client):
    """200 MB."""
    run_client(
        f"""
        plugins.append(Plugin("p", [utility("talker", {TALKER!r})]))
        read_end, write_end = os.pipe()
        os.dup2(read_end, 0)
        os.dup2(os.open(os.devnull, os.O_WRONLY), 1)
        from utility_manager import utility_manager as manager
        def resident():
            return int(open("/proc/self/statm").read().split()[1]) * os.sysconf("SC_PAGE_SIZE")
        server_id = manager.start_utility_server("", "talker", {{}})["server_id"]
        lines = manager.servers[server_id]["stderr_buffer"]
        before = resident()
        os.write(write_end, b"go\\n")
        while len(lines) < 2_000_001: time.sleep(0.002)
        assert resident() - before < 2 * 2**20, resident() - before
        times = []
        for attempt in range(20):
            begin = time.perf_counter()
            snippet = manager.get_utility_stderr_snippet(server_id)
            times.append(time.perf_counter() - begin)
        assert min(times) < 0.001 and len(snippet) == 800
        assert snippet.endswith("x" * 92 + "\\nlast words") and lines[-1] == "last words"
        assert lines[0] == lines[10000] == "0000000 " + "x" * 92
        for number in (654321, 1999999): assert lines[number][:7] == "%07d" % (number % 10000)
        assert [line[:7] for line in lines[19999:20001]] == ["0009999", "0000000"]
        assert sum(1 for line in lines) == 2_000_001
        assert resident() - before < 2 * 2**20, resident() - before
        assert manager.stop_utility_server(server_id) and lines[-2][8:] == "x" * 92
        """
    )


def test_no_memory_costs_the_chunk_alone(run_client):
    output = run_client(
        START
        + """
import resource
process.terminate()
process.wait()
script.write_text("import os, sys\\nsys.stdin.readline()\\n"
                  "for i in range(1000): os.write(2, b'z' * 100_000)\\n"
                  "os.write(2, b'\\\\n'); sys.stdin.readline(); os.write(2, b'after\\\\n')\\n"
                  "sys.stdin.read()")
process, lines = manager._start_process([sys.executable, str(script)], 9000)
size = int(open("/proc/self/statm").read().split()[0]) * os.sysconf("SC_PAGE_SIZE")
_, most = resource.getrlimit(resource.RLIMIT_AS)
resource.setrlimit(resource.RLIMIT_AS, (size + 30 * 2**20, most))
say("go\\n")
wait_until(lambda: lines)
resource.setrlimit(resource.RLIMIT_AS, (most, most))
assert set(lines[0]) == {"z"} and len(lines[0]) < 100_000_000
say("go\\n")
wait_until(lambda: lines[-1] == "after")
process.terminate()
"""
    )
    assert output.endswith("[UTILITY-STDERR] after\n")


def test_client_without_standard_output_only_drains(run_client):
    """Its descriptor 1 is then whatever it opened first."""
    run_client(
        """
        if len(sys.argv) == 1:
            os.close(1)
            os.execv("/usr/bin/python3", [*sys.orig_argv, "again"])
        assert sys.__stdout__ is None
        own = os.open(fake_client.DATA / "own", os.O_RDWR | os.O_CREAT)
        assert own == 1
        body = "import sys; print('o'); print('e', file=sys.stderr); sys.stdin.read()"
        plugins.append(Plugin("p", [utility("demo", body)]))
        read_end, write_end = os.pipe()
        os.dup2(read_end, 0)
        from utility_manager import utility_manager as manager
        server_id = manager.start_utility_server("", "demo", {})["server_id"]
        assert manager.collect_utility_stderr_snippet(server_id, 60.0) == "e"
        assert manager.stop_utility_server(server_id) and os.path.getsize(own) == 0
        """
    )
