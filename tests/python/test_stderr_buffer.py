"""The live lines of a child's standard error."""

from pathlib import Path

STUDIO = Path(__file__).resolve().parents[2] / "studio"
WRITER = """
import sys
for line in sys.stdin: print(line, end="", file=sys.stderr, flush=True)
"""
START = f"""
from collections.abc import Sequence
import copy, pickle
script = fake_client.DATA / "writer.py"
script.write_text({WRITER!r})
read_end, write_end = os.pipe()
os.dup2(read_end, 0)
def say(text): os.write(write_end, text.encode())
def wait_until(condition):
    while not condition(): time.sleep(0.002)
from utility_manager import utility_manager as manager
process, lines = manager._start_process([sys.executable, str(script)], 9000)
"""


def test_buffer_is_a_live_list_to_read(run_client):
    run_client(
        START
        + """
assert not lines and len(lines) == 0 and lines == [] and list(lines) == [] and repr(lines) == "[]"
iterator = iter(lines)
assert next(iterator, None) is None
words = ["null", "eins", "zwei ü", "  drei", "vier"]
say("".join(word + "\\n" for word in words))
wait_until(lambda: len(lines) == 5)
assert lines and lines == words and words == lines and lines == lines and not lines != words
assert lines != words[:4] and lines != tuple(words) and lines != None and lines != "null"
assert list(lines) == list(iterator) == words and "\\n".join(lines) == "\\n".join(words)
assert repr(lines) == repr(words) and [*reversed(lines)] == words[::-1]
for index in (0, 4, -1, -5): assert lines[index] == words[index]
for index in (5, -6, 2**80, -2**80): fails_with(IndexError, "out of range", lambda: lines[index])
bounds = (None, 0, 1, 3, 5, 9, -1, -4, -9, 2**80)
for start in bounds:
    for stop in bounds:
        for step in (None, 1, 2, 7, -1, -2):
            assert lines[start:stop:step] == words[start:stop:step], (start, stop, step)
fails_with(ValueError, "zero", lambda: lines[::0])
fails_with(TypeError, "not str", lambda: lines["0"])
assert "eins" in lines and "ein" not in lines and None not in lines
assert lines.index("vier") == 4 and lines.count("eins") == 1
assert isinstance(lines, Sequence) and [*map(type, (lines[1:], lines[0]))] == [list, str]
for copied in (copy.copy(lines), copy.deepcopy(lines), pickle.loads(pickle.dumps(lines))):
    assert type(copied) is list and copied == words
for change in ("lines[0] = 'x'", "del lines[0]", "hash(lines)", "type(lines)()"):
    fails_with(TypeError, "", exec, change, {"lines": lines})
assert manager._format_utility_start_error("x", lines).endswith("eins\\nzwei ü\\ndrei\\nvier")
say("ValueError: x\\n")
wait_until(lambda: len(lines) == 6)
assert lines[-1] == next(iterator) == "ValueError: x"
assert manager._format_utility_start_error("x", lines) == "Utility 启动失败: ValueError: x"
process.terminate()
process.wait()
"""
    )


def test_servers_share_the_buffer(run_client):
    run_client(
        f"""
        plugins.append(Plugin("p", [utility("demo", {WRITER!r})]))
        read_end, write_end = os.pipe()
        os.dup2(read_end, 0)
        from utility_manager import utility_manager as manager
        server_id = manager.start_utility_server("", "demo", {{}})["server_id"]
        info = manager.servers[server_id]
        lines = info["stderr_buffer"]
        assert lines is manager.servers[server_id]["stderr_buffer"] and lines == []
        os.write(write_end, b"a word\\n")
        while not lines: time.sleep(0.002)
        manager._persist_server_state(info, False)
        manager._remove_state_file(server_id)
        assert manager.stop_utility_server(server_id) and lines == ["a word"]
        """
    )


def test_last_words_outlast_the_managers_record(run_client):
    """Whoever finds the dead instance first: the Studio still tells what it said, and how it
    ended."""
    run_client(
        f"""
        import asyncio
        sys.path.append({str(STUDIO)!r})
        from velmora_studio.instances import Instance
        from velmora_studio.last_words import LONGEST_TEXT, LastWords, end_of_lines
        body = "import sys; sys.stdin.readline(); print('o' * 70000, file=sys.stderr)"
        body += "; print('first\\\\nlast', file=sys.stderr); sys.exit(3)"
        plugins.append(Plugin("p", [utility("demo", body)]))
        read_end, write_end = os.pipe()
        os.dup2(read_end, 0)
        from utility_manager import utility_manager as manager
        started = manager.start_utility_server("", "demo", {{}})
        ends = []
        async def main():
            words = LastWords(manager, ends.append)
            words.watch(Instance(started["server_id"], "demo", None, 0, started["pid"]))
            os.write(write_end, b"go\\n")
            while manager.list_utility_servers(): time.sleep(0.005)
            assert manager.servers == {{}}
            words.collect(asyncio.get_running_loop())
            while not ends: await asyncio.sleep(0.01)
        asyncio.run(main())
        assert ends[0].text == ("o" * 70000 + "\\nfirst\\nlast")[-LONGEST_TEXT:]
        assert ends[0].exit == {{"exit_code": 3}}
        assert end_of_lines([" a", "bc", "d"], 4) == "bc\\nd" and end_of_lines([], 4) == ""
        assert end_of_lines([" a", "bc", "d"], 9) == "a\\nbc\\nd"
        """
    )
