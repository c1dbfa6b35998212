"""Bodies of HTTP/1 messages, taken from bytes as they come."""

import re
from typing import Protocol

from velmora_studio.http_fields import CHUNKED, UNTIL_END, BadMessage

LONGEST_LINE = 4096  # of a chunk's size
LONGEST_TRAILERS = 65536  # bytes
CHUNK_SIZE = re.compile(rb"([0-9A-Fa-f]{1,15})[ \t]*(?:;[\t\x20-\x7e\x80-\xff]*)?")
LAST_CHUNK = b"0\r\n\r\n"


class Body(Protocol):
    done: bool

    def feed(self, data: bytes) -> tuple[bytes, bytes]:
        """What of `data` is content, and what comes after the body. Fails with `BadMessage`."""


class SizedBody:
    def __init__(self, length: int) -> None:
        self._left = length
        self.done = length == 0

    def feed(self, data: bytes) -> tuple[bytes, bytes]:
        content, rest = data, b""
        if len(data) > self._left:
            content, rest = data[: self._left], data[self._left :]
        self._left -= len(content)
        self.done = self._left == 0
        return content, rest


class EndlessBody:
    done = False

    def feed(self, data: bytes) -> tuple[bytes, bytes]:
        return data, b""


class ChunkedBody:
    """Trailers are dropped, as is whatever a chunk says beside its size."""

    def __init__(self) -> None:
        self.done = False
        self._rest = b""  # of a line that isn't complete
        self._left = 0  # of the chunk's content
        self._is_after_content = self._is_in_trailers = False
        self._trailers = 0  # bytes

    def feed(self, data: bytes) -> tuple[bytes, bytes]:
        data, self._rest = self._rest + data, b""
        pieces, position = [], 0
        while position < len(data) and not self.done:
            if self._left:
                piece = data[position : position + self._left]
                pieces.append(piece)
                self._left -= len(piece)
                position += len(piece)
                self._is_after_content = True
                continue
            end = data.find(b"\r\n", position)
            if end < 0:
                self._rest = data[position:]
                break
            self._take_line(data[position:end])
            position = end + 2
        if len(self._rest) > LONGEST_LINE:
            raise BadMessage(400, "a chunk's size is too long")
        return b"".join(pieces), data[position:] if self.done else b""

    def _take_line(self, line: bytes) -> None:
        if self._is_in_trailers:
            self._trailers += len(line)
            if self._trailers > LONGEST_TRAILERS:
                raise BadMessage(400, "the trailers are too long")
            self.done = not line
        elif self._is_after_content:
            if line:
                raise BadMessage(400, "a chunk is longer than its size")
            self._is_after_content = False
        else:
            size = CHUNK_SIZE.fullmatch(line)
            if not size:
                raise BadMessage(400, "a chunk has no size")
            self._left = int(size[1], 16)
            self._is_in_trailers = self._left == 0


def body_of(length: int) -> Body:
    """`length` as in the heads of messages."""
    if length == CHUNKED:
        return ChunkedBody()
    return EndlessBody() if length == UNTIL_END else SizedBody(length)


def chunk(content: bytes) -> bytes:
    return b"%x\r\n%b\r\n" % (len(content), content)
