"""Answers that the Studio gives itself."""

import json
import math
from collections.abc import Sequence
from typing import Any

from starlette.responses import Response

Headers = Sequence[tuple[bytes, bytes]]
Answer = tuple[int, Headers, bytes]  # status, headers and body
JSON_HEADERS: Headers = [
    (b"content-type", b"application/json"),
    (b"cache-control", b"no-store"),
]


def json_text(value: Any) -> str:
    """JSON that every browser reads: plugins may have put in numbers that JSON doesn't know."""
    try:
        return json.dumps(value, allow_nan=False, separators=(",", ":"))
    except ValueError:
        return json.dumps(_finite(value), separators=(",", ":"))


class JsonAnswer(Response):
    media_type = "application/json"

    def render(self, content: Any) -> bytes:
        return json_text(content).encode()


async def answer(send: Any, status: int, body: bytes, headers: Headers) -> None:
    length = (b"content-length", str(len(body)).encode())
    start = {"status": status, "headers": [*headers, length]}
    await send({"type": "http.response.start", **start})
    await send({"type": "http.response.body", "body": body})


async def answer_json(send: Any, status: int, value: Any) -> None:
    await answer(send, status, json_text(value).encode(), JSON_HEADERS)


def _finite(value: Any) -> Any:
    if isinstance(value, dict):
        return {key: _finite(item) for key, item in value.items()}
    if isinstance(value, list):
        return [_finite(item) for item in value]
    return None if isinstance(value, float) and not math.isfinite(value) else value
