"""Heads of messages as they go on: to the utility, and back to the browser.

Many requests are the same but for the moment, and so are their answers: what is made of the latest
is remembered.
"""

from functools import lru_cache

from velmora_studio.forward_cookies import mark_for
from velmora_studio.forward_framing import framed
from velmora_studio.forward_headers import from_utility, to_utility
from velmora_studio.forward_visit import Visit
from velmora_studio.guard import is_frame
from velmora_studio.http_answer import AnswerHead, head_of
from velmora_studio.http_fields import CHUNKED, LONGEST_REMEMBERED, UNTIL_END, lines_of

MOST_REMEMBERED = 64


@lru_cache(MOST_REMEMBERED)
def request_head(visit: Visit, port: int, whole_path: bool, cookies: bytes) -> bytes:
    """For the utility on `port`, which is asked for the whole path or its own part of it."""
    request, address = visit.request, visit.address
    path = request.path if whole_path else address.path or b"/"
    headers = to_utility(request.headers, address.prefix, port, cookies)
    return b"%b %b HTTP/1.1\r\n%b\r\n" % (request.method, path + request.query, lines_of(headers))


def answer_head(visit: Visit, head: AnswerHead, port: int, policy: bytes) -> tuple[bytes, bool]:
    """And whether the content is to follow in chunks. `policy` says who may frame it."""
    make = _answer_head if head.size <= LONGEST_REMEMBERED else _answer_head.__wrapped__
    return make(visit, head, port, policy)


@lru_cache(MOST_REMEMBERED)
def _answer_head(visit: Visit, head: AnswerHead, port: int, policy: bytes) -> tuple[bytes, bool]:
    request, address = visit.request, visit.address
    headers = from_utility(head.headers, address, port)
    headers = framed(headers, policy, is_frame(dict(request.headers)))
    headers += mark_for(request.headers, headers, address.prefix)
    chunks = head.length in (CHUNKED, UNTIL_END) and request.is_http_1_1
    if chunks:
        headers.append((b"transfer-encoding", b"chunked"))
    if not request.keep_alive:
        headers.append((b"connection", b"close"))
    return head_of(head.status, head.reason, headers) + b"\r\n", chunks
