"""Taking times: alternately, so that both sides of a comparison meet the same machine."""

import contextlib
import sys
import threading
import time
from collections.abc import Callable, Iterator
from typing import Any

Work = Callable[[], Any]


def seconds_of(work: Work, calls: int = 1) -> float:
    """Of one call; of several in a row, their mean."""
    start = time.perf_counter()
    for _ in range(calls):
        work()
    return (time.perf_counter() - start) / calls


def alternate(*works: Work, rounds: int, calls: int = 1, part: float = 0.25) -> list[float]:
    """The seconds of each work, as `quantile` gives them. A first round doesn't count."""
    times: list[list[float]] = [[] for _ in works]
    for work in works:
        work()
    for _ in range(rounds):
        for work, taken in zip(works, times):
            taken.append(seconds_of(work, calls))
    return [quantile(taken, part) for taken in times]


def quantile(times: list[float], part: float = 0.25) -> float:
    """The lower quartile: what else the machine does only ever adds. With a half, the median: for
    what varies by itself, as the wait for a busy interpreter does."""
    return sorted(times)[int(part * (len(times) - 1))]


@contextlib.contextmanager
def busy_interpreter() -> Iterator[None]:
    """One Python thread that spins."""
    stop = False

    def spin() -> None:
        while not stop:
            pass

    thread = threading.Thread(target=spin, daemon=True)
    thread.start()
    try:
        yield
    finally:
        stop = True
        thread.join()


def hand_over_limit() -> float:
    """The seconds that a busy interpreter may add: one hand-over from a thread that spins, and a
    fifth for what the spinning itself takes from the machine."""
    return 1.2 * sys.getswitchinterval()


def wait_for(condition: Callable[[], Any], limit: float = 60) -> None:
    deadline = time.monotonic() + limit
    while not condition():
        if time.monotonic() > deadline:
            raise TimeoutError("what the benchmark waits for doesn't come")
        time.sleep(0.005)
