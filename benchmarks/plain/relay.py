"""A child's output relayed by a pair of reader threads that print."""

import subprocess
import threading
from typing import BinaryIO


def relay(stream: BinaryIO, prefix: str, buffer: list[str] | None = None) -> None:
    for raw in stream:
        line = raw.decode("utf-8", "ignore").rstrip()
        if not line:
            continue
        print(f"[{prefix}] {line}", flush=True)
        if buffer is not None:
            buffer.append(line)
    stream.close()


def start_process(arguments: list[str]) -> tuple[subprocess.Popen, list[str]]:
    process = subprocess.Popen(arguments, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    buffer: list[str] = []
    for given in ((process.stdout, "UTILITY-STDOUT"), (process.stderr, "UTILITY-STDERR", buffer)):
        threading.Thread(target=relay, args=given, daemon=True).start()
    return process, buffer
