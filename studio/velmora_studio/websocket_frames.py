"""Frames of WebSockets, as far as a forwarder must know them."""

import struct

CLOSE = 8
LONGEST_HEADER = 14  # bytes


class Frames:
    """Follows one direction of a WebSocket: where a frame ends, another one may be put."""

    def __init__(self) -> None:
        self.has_closed = False  # a close frame has gone through
        self._header = b""  # of a frame that has begun
        self._left = 0  # of its content

    @property
    def is_between(self) -> bool:
        return not self._left and not self._header

    def feed(self, data: bytes) -> None:
        position = 0
        while position < len(data):
            if self._left:
                step = min(self._left, len(data) - position)
                self._left -= step
                position += step
                continue
            header = self._header + data[position : position + LONGEST_HEADER]
            size = header_size(header)
            if len(header) < size:
                self._header = header
                return
            position += size - len(self._header)
            self._header = b""
            self._begin(header[:size])

    def _begin(self, header: bytes) -> None:
        self._left = content_size(header)
        self.has_closed |= header[0] & 0xF == CLOSE


def header_size(header: bytes) -> int:
    """Of the header that begins so."""
    if len(header) < 2:
        return 2
    masked, kind = header[1] & 0x80, header[1] & 0x7F
    return 2 + {126: 2, 127: 8}.get(kind, 0) + (4 if masked else 0)


def content_size(header: bytes) -> int:
    kind = header[1] & 0x7F
    if kind == 126:
        return struct.unpack("!H", header[2:4])[0]
    return struct.unpack("!Q", header[2:10])[0] if kind == 127 else kind


def close_frame(code: int, masked: bool) -> bytes:
    """A browser sends masked frames, a server doesn't. A mask of zeros changes nothing."""
    content = struct.pack("!H", code)
    if masked:
        return bytes([0x80 | CLOSE, 0x80 | len(content)]) + bytes(4) + content
    return bytes([0x80 | CLOSE, len(content)]) + content
