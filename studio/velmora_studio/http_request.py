"""Requests of HTTP/1, read strictly."""

import re
from dataclasses import dataclass
from functools import lru_cache

from velmora_studio.answers import Headers
from velmora_studio.http_fields import (
    CHUNKED,
    LENGTH,
    LONGEST_REMEMBERED,
    TOKEN,
    BadMessage,
    connection_tokens,
    fields,
    tokens_of,
)

LONGEST_HEAD = 65536  # bytes
LINE = re.compile(rb"(%s) ([\x21-\x7e]+) HTTP/1\.([01])" % TOKEN)
FIELD = re.compile(rb"(%s):([\t\x20-\x7e\x80-\xff]*)" % TOKEN)


@dataclass(slots=True, frozen=True, eq=False)
class Request:
    """Its head. Two that came with the same bytes may be the same object."""

    method: bytes
    path: bytes  # as it was sent
    query: bytes  # with its question mark, where there is one
    headers: Headers  # names in lower case
    length: int  # of the body, or CHUNKED
    keep_alive: bool
    is_http_1_1: bool
    wants_websocket: bool

    def value(self, name: bytes) -> bytes:
        return next((value for key, value in self.headers if key == name), b"")


def parse_request(head: bytes) -> Request:
    """`head` is without the empty line at its end. Fails with `BadMessage`."""
    parse = _parse if len(head) <= LONGEST_REMEMBERED else _parse.__wrapped__
    return parse(head)


@lru_cache(256)
def _parse(head: bytes) -> Request:
    first, _, lines = head.partition(b"\r\n")
    line = LINE.fullmatch(first)
    if not line:
        raise BadMessage(400, "no request line of HTTP/1")
    method, target, minor = line.groups()
    path, mark, query = target.partition(b"?")
    parse = _parse_lines if len(lines) <= LONGEST_REMEMBERED else _parse_lines.__wrapped__
    return Request(method, path, mark + query, *parse(lines, minor == b"1"))


@lru_cache(256)  # most requests of a browser differ in their first line alone
def _parse_lines(lines: bytes, is_http_1_1: bool) -> tuple[Headers, int, bool, bool, bool]:
    headers = fields(lines.split(b"\r\n") if lines else [], FIELD)
    if [name for name, _ in headers].count(b"host") != 1:
        raise BadMessage(400, "not one Host")
    tokens = connection_tokens(headers)
    keep_alive = is_http_1_1 and b"close" not in tokens
    wants_websocket = b"upgrade" in tokens and tokens_of(headers, b"upgrade") == [b"websocket"]
    length = _length(headers, is_http_1_1)
    return headers, length, keep_alive, is_http_1_1, wants_websocket


def _length(headers: Headers, is_http_1_1: bool) -> int:
    lengths = [value for name, value in headers if name == b"content-length"]
    codings = [value for name, value in headers if name == b"transfer-encoding"]
    if codings:
        if lengths or not is_http_1_1 or len(codings) > 1:
            raise BadMessage(400, "the body's length is in doubt")
        if codings[0].lower() != b"chunked":
            raise BadMessage(501, "an unknown transfer coding")
        return CHUNKED
    if not lengths:
        return 0
    if len(lengths) > 1 or not LENGTH.fullmatch(lengths[0]):
        raise BadMessage(400, "the body's length is in doubt")
    return int(lengths[0])
