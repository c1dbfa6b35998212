"""Answers of HTTP/1: read as utilities write them, written as browsers expect them."""

import http
import re
from dataclasses import dataclass
from functools import lru_cache

from velmora_studio.answers import Headers
from velmora_studio.http_body import Body, body_of
from velmora_studio.http_fields import (
    CHUNKED,
    LENGTH,
    LONGEST_REMEMBERED,
    TOKEN,
    UNTIL_END,
    BadMessage,
    connection_tokens,
    fields,
    lines_of,
    tokens_of,
)

LONGEST_HEAD = 1 << 20  # bytes
LOWEST_STATUS, HIGHEST_STATUS = 200, 599  # of an answer that isn't followed by another one
SWITCHING_PROTOCOLS = 101
BODILESS = {b"204", b"304"}
STATUS_LINE = re.compile(rb"HTTP/1\.([01]) ([1-9]\d\d)(?: ([^\x00\r\n]*))?")
FIELD = re.compile(rb"(%s):([^\x00\r\n]*)" % TOKEN)


@dataclass(slots=True, frozen=True, eq=False)
class AnswerHead:
    """Two that came with the same bytes may be the same object."""

    status: int
    reason: bytes
    headers: Headers  # names in lower case; at most one content-length
    length: int  # of the body, or CHUNKED or UNTIL_END
    keep_alive: bool
    size: int  # in bytes


class AnswerReader:
    """Reads the answer to one request."""

    def __init__(self, method: bytes) -> None:
        self.head: AnswerHead | None = None
        self.done = False
        self.rest = b""  # what came after the answer
        self._is_of_head = method == b"HEAD"
        self._body: Body
        self._buffer = b""

    def feed(self, data: bytes) -> bytes:
        """Gives what is content. Fails with `BadMessage`."""
        if self.head is None:
            data = self._read_head(self._buffer + data)
            if self.head is None:
                return b""
        content, self.rest = self._body.feed(data)
        self.done = self._body.done
        return content

    def end(self) -> None:
        """The connection has ended. Fails with `BadMessage` if the answer hasn't."""
        if self.head is None or self.head.length != UNTIL_END:
            raise BadMessage(502, "the answer broke off")
        self.done = True

    def _read_head(self, data: bytes) -> bytes:
        """Gives what comes after it. What a utility says before its answer is left out."""
        while pieces := _split(data):
            head, data = parse_answer(pieces[0], self._is_of_head), pieces[1]
            if head.status >= LOWEST_STATUS or head.status == SWITCHING_PROTOCOLS:
                self.head, self._buffer = head, b""
                self._body = body_of(head.length)
                return data
        if len(data) > LONGEST_HEAD:
            raise BadMessage(502, "the head is too long")
        self._buffer = data
        return b""


def parse_answer(head: bytes, is_of_head: bool) -> AnswerHead:
    """`head` is without the empty line at its end. Fails with `BadMessage`."""
    parse = _parse if len(head) <= LONGEST_REMEMBERED else _parse.__wrapped__
    return parse(head, is_of_head)


def head_of(status: int, reason: bytes, headers: Headers) -> bytes:
    """Without the empty line at the end."""
    return b"HTTP/1.1 %d %b\r\n%b" % (status, reason, lines_of(headers))


def phrase(status: int) -> bytes:
    try:
        return http.HTTPStatus(status).phrase.encode()
    except ValueError:
        return b""


def _split(data: bytes) -> tuple[bytes, bytes] | None:
    """The head and what comes after it; None where its empty line hasn't come yet."""
    end, gap = data.find(b"\n\r\n"), 3
    bare = data.find(b"\n\n", 0, end + 1 if end >= 0 else len(data))
    if bare >= 0:
        end, gap = bare, 2
    return (data[:end].removesuffix(b"\r"), data[end + gap :]) if end >= 0 else None


@lru_cache(256)
def _parse(head: bytes, is_of_head: bool) -> AnswerHead:
    first, *lines = re.sub(rb"\r?\n[ \t]+", b" ", head).replace(b"\r\n", b"\n").split(b"\n")
    line = STATUS_LINE.fullmatch(first)
    if not line:
        raise BadMessage(502, "no status line of HTTP/1")
    minor, status, reason = line.groups()
    headers = fields(lines, FIELD)
    length, headers = _length(headers)
    lasts = minor == b"1" and length != UNTIL_END
    if is_of_head or status in BODILESS or status[0] == ord("1"):
        length, lasts = 0, minor == b"1"
    lasts = lasts and b"close" not in connection_tokens(headers)
    return AnswerHead(int(status), reason or b"", headers, length, lasts, len(head))


def _length(headers: Headers) -> tuple[int, Headers]:
    """With a coding a length doesn't count; a length that is told twice counts once."""
    codings = tokens_of(headers, b"transfer-encoding")
    lengths = set(tokens_of(headers, b"content-length"))
    rest = tuple(pair for pair in headers if pair[0] != b"content-length")
    if codings:
        if codings != [b"chunked"]:
            raise BadMessage(502, "an unknown transfer coding")
        return CHUNKED, rest
    if not lengths:
        return UNTIL_END, headers
    length = lengths.pop()
    if lengths or not LENGTH.fullmatch(length):
        raise BadMessage(502, "the body's length is in doubt")
    return int(length), (*rest, (b"content-length", length))
