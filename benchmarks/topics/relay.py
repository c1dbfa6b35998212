"""The relay of what children write, at the speed that a child feels."""

import re
import subprocess
import sys
from typing import IO, Any

import measuring
import places
from relay_client import CLIENT_LINE
from rows import Row, quantity

CLIENT = [sys.executable, str(places.SOURCES / "benchmarks" / "relay_client.py")]
MANY_LINES = 1_000_000  # on each of the two streams
FEW_LINES = 100_000
ROUNDS = 41

CROWD = 8
CROWD_LINES = 20_000
WHOLE_LINE = re.compile(rb"\[UTILITY-STD(OUT\] \d\d o|ERR\] \d\d e)\d{8} x{66}\n")


def seconds_a_line(relay: list[str], lines: int, sink: int | IO[Any]) -> float:
    """Of a child that writes to both streams of this relay."""
    record = places.DIRECTORY / "record"
    record.unlink(missing_ok=True)
    child = [places.program("emit"), "00", str(lines), str(record)]
    with subprocess.Popen(relay + child, stdout=sink) as client:
        measuring.wait_for(lambda: record.exists() or client.poll() is not None)
        client.terminate()
    return float(record.read_text()) / (2 * lines)


def compare(sink: int | IO[Any], place: str) -> list[Row]:
    relays = {
        "system": (CLIENT + ["system"], MANY_LINES),
        "plain": (CLIENT + ["plain"], FEW_LINES),
        "bare": ([places.program("bare_relay")], MANY_LINES),
    }
    times: dict[str, list[float]] = {name: [] for name in relays}
    for _ in range(ROUNDS):
        for name, (relay, lines) in relays.items():
            times[name].append(seconds_a_line(relay, lines, sink))
    system, plain, bare = (1 / measuring.quantile(times[name]) for name in relays)
    return [
        Row(f"Relay to {place}", rate(system), f"{rate(plain)} by Python readers",
            system / plain, 20),
        Row(f"Relay to {place}", rate(system), f"{rate(bare)} in bare C", system / bare, 0.95),
    ]


def rate(lines: float) -> str:
    return quantity(lines / 1e6, "million lines/s")


def torn_lines() -> Row:
    """Reads what a crowd of children and a busy client write to one pipe."""
    wanted = 2 * CROWD * CROWD_LINES
    whole = torn = printed = 0
    command = CLIENT + ["crowd", str(CROWD), str(CROWD_LINES)]
    with subprocess.Popen(command, stdout=subprocess.PIPE) as client:
        for line in client.stdout:
            if WHOLE_LINE.fullmatch(line):
                whole += 1
            elif line.decode().rstrip("\n") == CLIENT_LINE:
                printed += 1
            else:
                torn += 1
            if whole + torn >= wanted:
                break
        client.terminate()
    what = f"Torn lines, {CROWD} children and a busy, printing client"
    return Row(what, f"{whole:,} lines whole beside {printed} prints", "", torn, 0, "torn", True)


def measure() -> list[Row]:
    rows = compare(subprocess.DEVNULL, "the null device")
    with subprocess.Popen(["cat"], stdin=subprocess.PIPE, stdout=subprocess.DEVNULL) as reader:
        rows += compare(reader.stdin, "a pipe")
    return [*rows, torn_lines()]
