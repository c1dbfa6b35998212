"""Standard output and error that outlast their reader."""

import io
import os
import select
import stat
import sys
import threading
from collections.abc import Callable


def keep_output_working() -> None:
    """Makes writing to standard output and error safe when the Studio has gone.

    Both are pipes to the Studio. A persistent utility outlives it, and from then on a plain
    `print` fails with BrokenPipeError, in whatever request or log call it happens to stand.
    """
    sys.stdout = _open(1)
    sys.stderr = _open(2)


def when_reader_has_gone(action: Callable[[], None]) -> None:
    """Calls `action` on a thread when nobody can read standard output any more: the Studio has gone.

    Does nothing where standard output is no pipe or the system can't tell.
    """
    if not hasattr(select, "poll") or not stat.S_ISFIFO(os.fstat(1).st_mode):
        return
    pipe = os.dup(1)
    os.set_inheritable(pipe, False)

    def watch() -> None:
        poll = select.poll()
        poll.register(pipe, 0)  # only the loss of the other end wakes it
        poll.poll()
        action()

    threading.Thread(target=watch, daemon=True).start()


class _LastingFile(io.FileIO):
    """Writes everything; when nobody can read it any more, to the null device."""

    def write(self, data: bytes) -> int:
        rest = memoryview(data)
        size = len(rest)
        try:
            while len(rest):
                written = super().write(rest)
                if written is None:  # non-blocking and full: drop the rest rather than wait
                    break
                rest = rest[written:]
        except OSError:
            _point_to_null_device(self.fileno())
        return size


def _open(descriptor: int) -> io.TextIOWrapper:
    try:
        os.fstat(descriptor)
    except OSError:  # closed from the start
        _point_to_null_device(descriptor)
    file = _LastingFile(descriptor, "w", closefd=False)
    # Line buffering hands each line over in one piece, so lines of several threads stay whole.
    return io.TextIOWrapper(file, encoding="utf-8", errors="replace", line_buffering=True)


def _point_to_null_device(descriptor: int) -> None:
    """The descriptor itself is turned, so that other writers, children included, are safe too."""
    null_device = os.open(os.devnull, os.O_WRONLY)
    if null_device != descriptor:
        os.dup2(null_device, descriptor)
        os.close(null_device)
