"""A client whose children's output is relayed to its standard output, until it is ended.

Usage: relay_client.py system|plain PROGRAM ARGUMENT ...
       relay_client.py crowd CHILDREN LINES      (with a busy interpreter and prints of its own)
"""

import sys
import time
from concurrent.futures import ThreadPoolExecutor

import client
import measuring
import places

CLIENT_LINE = "[CLIENT] " + "c" * 70


def start_with_system(arguments: list[str]) -> None:
    from utility_manager import utility_manager

    utility_manager._start_process(arguments, 0)


def start_plainly(arguments: list[str]) -> None:
    from plain.relay import start_process

    start_process(arguments)


def crowd(children: int, lines: int) -> None:
    records = [places.DIRECTORY / f"crowd-{number}" for number in range(children)]
    with measuring.busy_interpreter(), ThreadPoolExecutor(children) as starts:
        for number, record in enumerate(records):
            arguments = [places.program("emit"), f"{number:02}", str(lines), str(record)]
            starts.submit(start_with_system, arguments)
        while not all(record.exists() for record in records):
            print(CLIENT_LINE, flush=True)


def main() -> None:
    client.install(places.DIRECTORY)
    kind, *arguments = sys.argv[1:]
    if kind == "crowd":
        crowd(*map(int, arguments))
    else:
        {"system": start_with_system, "plain": start_plainly}[kind](arguments)
    time.sleep(600)


if __name__ == "__main__":
    main()
