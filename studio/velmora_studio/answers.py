"""Answers that the Studio gives itself, to HTTP requests and to WebSocket handshakes."""

import json
import math
from typing import Any

from starlette.responses import Response

from velmora_studio.upstream import Headers


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


async def answer(scope: dict, send: Any, status: int, body: bytes, headers: Headers) -> None:
    """Answers a request, or refuses a WebSocket, whose client sees no more than the status."""
    kind = "websocket.http" if scope["type"] == "websocket" else "http"
    length = (b"content-length", str(len(body)).encode())
    start = {"status": status, "headers": [*headers, length]}
    await send({"type": f"{kind}.response.start", **start})
    await send({"type": f"{kind}.response.body", "body": body})


async def answer_json(scope: dict, send: Any, status: int, value: Any) -> None:
    headers = [(b"content-type", b"application/json"), (b"cache-control", b"no-store")]
    await answer(scope, send, status, json_text(value).encode(), headers)


def _finite(value: Any) -> Any:
    if isinstance(value, dict):
        return {key: _finite(item) for key, item in value.items()}
    if isinstance(value, list):
        return [_finite(item) for item in value]
    return None if isinstance(value, float) and not math.isfinite(value) else value
