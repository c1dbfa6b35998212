"""Header fields of HTTP/1 messages, and what their heads and bodies share.

Whatever could be read in two ways is refused, so that nobody sees another message than the Studio.
"""

import re

from velmora_studio.answers import Headers

LONGEST_REMEMBERED = 4096  # bytes of a head
CHUNKED, UNTIL_END = -1, -2  # in place of a body's length

TOKEN = rb"[!#$%&'*+\-.^_`|~0-9A-Za-z]+"
LENGTH = re.compile(rb"\d{1,18}")


class BadMessage(Exception):
    """A message that makes no sense; `status` is what a client is told."""

    def __init__(self, status: int, reason: str) -> None:
        super().__init__(reason)
        self.status = status


def fields(lines: list[bytes], pattern: re.Pattern[bytes]) -> Headers:
    """Names in lower case. Fails with `BadMessage`."""
    headers = []
    for line in lines:
        field = pattern.fullmatch(line)
        if not field:
            raise BadMessage(400, "a header makes no sense")
        headers.append((field[1].lower(), field[2].strip(b" \t")))
    return tuple(headers)


def tokens_of(headers: Headers, wanted: bytes) -> list[bytes]:
    """The items of all headers of one name that hold a list, in lower case."""
    values = [value for name, value in headers if name == wanted]
    return [token.strip().lower() for token in b",".join(values).split(b",")] if values else []


def connection_tokens(headers: Headers) -> list[bytes]:
    return tokens_of(headers, b"connection")


def lines_of(headers: Headers) -> bytes:
    return b"".join([b"%b: %b\r\n" % pair for pair in headers])
