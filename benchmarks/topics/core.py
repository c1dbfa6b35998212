"""The core without an interpreter: stop, tree kill and spawn, beside the same in bare C."""

import json
import subprocess

import measuring
import places
from rows import Row, milliseconds


def times_by_name(names: str, repetitions: int) -> dict[str, float]:
    """The seconds of each C++ benchmark whose name this pattern finds (with a minus before it: does
    not find), by name and argument. They take turns."""
    result = places.DIRECTORY / "core.json"
    options = {
        "filter": names,
        "repetitions": repetitions,
        "enable_random_interleaving": "true",
        "out": result,
        "out_format": "json",
    }
    subprocess.run(
        [places.program("core_benchmarks"), *(f"--benchmark_{k}={v}" for k, v in options.items())],
        check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
    )
    found: dict[str, list[float]] = {}
    for benchmark in json.loads(result.read_text())["benchmarks"]:
        if benchmark["run_type"] == "iteration":
            name = benchmark["run_name"].split("/iterations")[0]
            found.setdefault(name, []).append(benchmark["real_time"] / 1e9)
    return {name: measuring.quantile(seconds) for name, seconds in found.items()}


def ratio(what: str, figure: float, beside: float, remark: str, bar: float) -> Row:
    return Row(what, milliseconds(figure), f"{milliseconds(beside)} {remark}", figure / beside, bar,
               at_most=True)


def measure() -> list[Row]:
    times = times_by_name("^tree", 200) | times_by_name("-^tree", 25)
    beyond = (times["stop"] - times["stop_in_bare_c"]) * 1000
    forks = " and ".join(milliseconds(times[f"fork_in_bare_c/{size}"]) for size in (0, 1024))
    return [
        Row("Stop of a bare child, beyond its own exit", milliseconds(times["stop"]),
            f"{milliseconds(times['stop_in_bare_c'])} in bare C", beyond, 0.2, "ms", at_most=True),
        ratio("A tree of 100 processes ended", times["tree"], times["tree_in_bare_c"], "in bare C",
              1.1),
        ratio("Spawn with 1 GiB more in the client's memory", times["spawn/1024"],
              times["spawn/0"], f"without (fork: {forks})", 1.1),
    ]
