"""Reading from a connection that may always have more."""

import asyncio
from typing import Any

LARGE = 65536  # bytes at once


class PacedReading:
    """Stops and resumes what a transport reads. After a large piece everybody else has a turn: a
    loop may go on reading from one connection for as long as there is something to read."""

    def __init__(self, transport: Any) -> None:
        self._transport = transport
        self._loop = asyncio.get_running_loop()
        self._is_paused = self._has_turn_off = self._is_stopped = False

    def pause(self, pause: bool) -> None:
        if pause != self._is_paused:
            self._is_paused = pause
            self._apply()

    def took_much(self) -> None:
        """A large piece has come."""
        if not self._has_turn_off:
            self._has_turn_off = True
            self._apply()
            self._loop.call_soon(self._take_turn)

    def _take_turn(self) -> None:
        self._has_turn_off = False
        self._apply()

    def _apply(self) -> None:
        stop = self._is_paused or self._has_turn_off
        if stop != self._is_stopped and not self._transport.is_closing():
            self._is_stopped = stop
            self._transport.pause_reading() if stop else self._transport.resume_reading()
