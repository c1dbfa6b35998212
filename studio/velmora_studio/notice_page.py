"""What stands in a utility's place when there is nothing to forward to."""

from dataclasses import dataclass
from enum import Enum
from html import escape
from pathlib import Path
from typing import Any

from velmora_studio.answers import answer, answer_json
from velmora_studio.forward_address import Address
from velmora_studio.guard import with_own_page_headers

PAGE = Path(__file__).resolve().parent / "page"
PLAIN_PAGE = """<!DOCTYPE html>
<html lang="{language}">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<title>{title}</title>
<link rel="stylesheet" href="/page/css/tokens.css">
<link rel="stylesheet" href="/page/css/base.css">
<link rel="stylesheet" href="/page/css/absent.css">
</head>
<body><main class="absent"><h1>{title}</h1><p>{message}</p></main></body>
</html>
"""


class Cause(Enum):
    """Why a request can't be forwarded: status, and what is said in English and in Chinese."""

    unknown = 404, "There is no utility '{name}'.", "没有名为“{name}”的工具。"
    refused = 403, "You may not use the utility '{name}'.", "您无权使用工具“{name}”。"
    bad_request = 400, "The request can't be forwarded.", "无法转发该请求。"
    stopped = 503, "The utility '{name}' is not running.", "工具“{name}”没有运行。"
    ended = 502, "The utility '{name}' has ended by itself.", "工具“{name}”已自行结束。"
    silent = 502, "The utility '{name}' runs, but does not answer.", "工具“{name}”没有应答。"
    malformed = 502, "The utility '{name}' gave no proper answer.", "工具“{name}”的应答无效。"

    @property
    def status(self) -> int:
        return self.value[0]

    @property
    def is_final(self) -> bool:
        """Neither a start nor another attempt would help."""
        return self in (Cause.unknown, Cause.refused, Cause.bad_request)


class NotForwarded(Exception):
    """Why a request can't be forwarded, and the last words of a utility that has ended."""

    def __init__(self, cause: Cause, last_words: str = "") -> None:
        super().__init__(cause)
        self.cause = cause
        self.last_words = last_words


@dataclass(frozen=True)
class Notice:
    """The answer in place of a forwarded one: a page for browsers, JSON for programs."""

    address: Address
    reason: NotForwarded
    title: str
    language: str

    async def send(self, scope: dict, receive: Any, send: Any) -> None:
        if scope["type"] == "http" and wants_page(scope):
            await with_own_page_headers(self._send_page)(scope, receive, send)
            return
        content = {"detail": self._message(1)}
        if self.reason.cause is Cause.ended:
            content["digest"] = self.reason.last_words
        await answer_json(scope, send, self.reason.cause.status, content)

    async def _send_page(self, scope: dict, receive: Any, send: Any) -> None:
        headers = [(b"content-type", b"text/html; charset=utf-8"), (b"cache-control", b"no-store")]
        await answer(scope, send, self.reason.cause.status, self._page().encode(), headers)

    def _page(self) -> str:
        message = self._message(2 if self.language == "zh" else 1)
        if self.reason.cause.is_final:
            texts = {"language": self.language, "title": self.title, "message": message}
            return PLAIN_PAGE.format(**{key: escape(text) for key, text in texts.items()})
        texts = {
            "title": self.title,
            "message": message,
            "lines": self.reason.last_words,
            "utility_name": self.address.utility_name,
            "group_name": self.address.group_name or "",
        }
        return filled((PAGE / "absent.html").read_text(encoding="utf-8"), texts)

    def _message(self, language: int) -> str:
        return self.reason.cause.value[language].format(name=self.address.utility_name)


def filled(template: str, texts: dict[str, str]) -> str:
    """The template with each `{{key}}` replaced; what looks like a key in a text stays as it is."""
    start, *rest = template.split("{{")
    parts = [piece.partition("}}") for piece in rest]
    return start + "".join(escape(texts[key]) + tail for key, _, tail in parts)


def wants_page(scope: dict) -> bool:
    """Browsers name HTML where they want a page; programs, images and scripts don't."""
    accepted = b",".join(value for name, value in scope["headers"] if name == b"accept")
    return b"text/html" in accepted.lower()
