"""Heads of HTTP/1 messages: requests are read strictly, answers as utilities write them.

Whatever could be read in two ways is refused, so that nobody sees another message than the Studio.
"""

import re
from dataclasses import dataclass
from functools import lru_cache

from velmora_studio.answers import Headers

LONGEST_REQUEST_HEAD = 65536  # bytes
LONGEST_ANSWER_HEAD = 1 << 20
LONGEST_REMEMBERED = 4096
CHUNKED, UNTIL_END = -1, -2  # in place of a body's length
BODILESS = {b"204", b"304"}

TOKEN = rb"[!#$%&'*+\-.^_`|~0-9A-Za-z]+"
REQUEST_LINE = re.compile(rb"(%s) ([\x21-\x7e]+) HTTP/1\.([01])" % TOKEN)
REQUEST_FIELD = re.compile(rb"(%s):([\t\x20-\x7e\x80-\xff]*)" % TOKEN)
STATUS_LINE = re.compile(rb"HTTP/1\.([01]) ([1-9]\d\d)(?: ([^\x00\r\n]*))?")
ANSWER_FIELD = re.compile(rb"(%s):([^\x00\r\n]*)" % TOKEN)
ANSWER_END = re.compile(rb"\r?\n\r?\n")
LENGTH = re.compile(rb"\d{1,18}")


class BadMessage(Exception):
    """A message that makes no sense; `status` is what a client is told."""

    def __init__(self, status: int, reason: str) -> None:
        super().__init__(reason)
        self.status = status


@dataclass(slots=True)
class Request:
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


@dataclass(slots=True, frozen=True)
class AnswerHead:
    status: int
    reason: bytes
    headers: Headers  # names in lower case; at most one content-length
    length: int  # of the body, or CHUNKED or UNTIL_END
    keep_alive: bool


def parse_request(head: bytes) -> Request:
    """`head` is without the empty line at its end. Fails with `BadMessage`."""
    first, _, lines = head.partition(b"\r\n")
    line = REQUEST_LINE.fullmatch(first)
    if not line:
        raise BadMessage(400, "no request line of HTTP/1")
    method, target, minor = line.groups()
    path, mark, query = target.partition(b"?")
    parse = _parse_lines if len(lines) <= LONGEST_REMEMBERED else _parse_lines.__wrapped__
    return Request(method, path, mark + query, *parse(lines, minor == b"1"))


@lru_cache(256)  # most requests of a browser differ in their first line alone
def _parse_lines(lines: bytes, is_http_1_1: bool) -> tuple[Headers, int, bool, bool, bool]:
    headers = _fields(lines.split(b"\r\n") if lines else [], REQUEST_FIELD)
    if [name for name, _ in headers].count(b"host") != 1:
        raise BadMessage(400, "not one Host")
    tokens = connection_tokens(headers)
    keep_alive = is_http_1_1 and b"close" not in tokens
    wants_websocket = b"upgrade" in tokens and tokens_of(headers, b"upgrade") == [b"websocket"]
    length = _request_length(headers, is_http_1_1)
    return headers, length, keep_alive, is_http_1_1, wants_websocket


def parse_answer(head: bytes, method: bytes) -> AnswerHead:
    """The answer to a request with this method. Fails with `BadMessage`."""
    parse = _parse_answer if len(head) <= LONGEST_REMEMBERED else _parse_answer.__wrapped__
    return parse(head, method == b"HEAD")


@lru_cache(256)
def _parse_answer(head: bytes, is_of_head: bool) -> AnswerHead:
    first, *lines = re.sub(rb"\r?\n[ \t]+", b" ", head).replace(b"\r\n", b"\n").split(b"\n")
    line = STATUS_LINE.fullmatch(first)
    if not line:
        raise BadMessage(502, "no status line of HTTP/1")
    minor, status, reason = line.groups()
    headers = _fields(lines, ANSWER_FIELD)
    length, headers = _answer_length(headers)
    lasts = minor == b"1" and length != UNTIL_END
    if is_of_head or status in BODILESS or status[0] == ord("1"):
        length, lasts = 0, minor == b"1"
    lasts = lasts and b"close" not in connection_tokens(headers)
    return AnswerHead(int(status), reason or b"", headers, length, lasts)


def tokens_of(headers: Headers, wanted: bytes) -> list[bytes]:
    """The items of all headers of one name that hold a list, in lower case."""
    values = [value for name, value in headers if name == wanted]
    return [token.strip().lower() for token in b",".join(values).split(b",")] if values else []


def lines_of(headers: Headers) -> bytes:
    return b"".join([b"%b: %b\r\n" % pair for pair in headers])


def connection_tokens(headers: Headers) -> list[bytes]:
    return tokens_of(headers, b"connection")


def _fields(lines: list[bytes], pattern: re.Pattern[bytes]) -> Headers:
    headers = []
    for line in lines:
        field = pattern.fullmatch(line)
        if not field:
            raise BadMessage(400, "a header makes no sense")
        headers.append((field[1].lower(), field[2].strip(b" \t")))
    return tuple(headers)


def _request_length(headers: Headers, is_http_1_1: bool) -> int:
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


def _answer_length(headers: Headers) -> tuple[int, Headers]:
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
