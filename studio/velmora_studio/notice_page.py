"""What stands in a utility's place when there is nothing to forward to."""

import json
import secrets
from dataclasses import dataclass
from enum import Enum
from html import escape
from typing import Any

from velmora_studio.answers import answer, answer_json
from velmora_studio.forward_address import Address


class Cause(Enum):
    """Why a request can't be forwarded: status, and what is said in English and in Chinese."""

    unknown = 404, "There is no utility '{name}'.", "没有名为“{name}”的工具。"
    refused = 403, "You may not use the utility '{name}'.", "您无权使用工具“{name}”。"
    stopped = 503, "The utility '{name}' is not running.", "工具“{name}”没有运行。"
    ended = 502, "The utility '{name}' has ended by itself.", "工具“{name}”已自行结束。"
    silent = 502, "The utility '{name}' runs, but does not answer.", "工具“{name}”正在运行，但没有应答。"
    malformed = 502, "The utility '{name}' gave no proper answer.", "工具“{name}”的应答无法识别。"
    bad_request = 400, "The request can't be forwarded.", "无法转发该请求。"

    @property
    def status(self) -> int:
        return self.value[0]


OFFERS_START = {Cause.stopped, Cause.ended}
STYLE = """
body { font: 16px/1.5 system-ui, sans-serif; color: #22303c; background: #f6f8fa; margin: 0;
       display: grid; place-items: center; min-height: 100vh; }
main { background: #fff; border-radius: 10px; padding: 1.5rem 2rem; max-width: 44rem;
       box-shadow: 0 1px 4px #0002; }
h1 { font-size: 1.2rem; margin: 0 0 .75rem; }
pre { background: #f1f4f7; border-radius: 6px; padding: .75rem; overflow: auto; max-height: 50vh; }
button { font: inherit; background: #1769aa; color: #fff; border: 0; border-radius: 6px;
         padding: .4rem 1rem; cursor: pointer; } button:disabled { opacity: .6; }
#said { color: #b3261e; white-space: pre-wrap; }
"""
# With an attempt under way the page comes anew until the utility answers.
SCRIPT = """
const button = document.querySelector("button"), said = document.querySelector("#said");
if (RETRY) setTimeout(() => location.reload(), 1000);
button?.addEventListener("click", async () => {
  button.disabled = true;
  said.textContent = "";
  const answer = await fetch("/api/utility/start", {
    method: "POST", headers: {"Content-Type": "application/json"}, body: JSON.stringify(PLACE),
  }).catch(() => null);
  if (answer?.ok || answer?.status === 409) return location.reload();
  said.textContent = (await answer?.json().catch(() => null))?.detail ?? "-";
  button.disabled = false;
});
"""


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
    language: str

    async def send(self, scope: dict, send: Any) -> None:
        cause = self.reason.cause
        if scope["type"] == "http" and wants_page(scope):
            await self._send_page(scope, send)
            return
        content = {"detail": self._text(1)}
        if cause is Cause.ended:
            content["digest"] = self.reason.last_words
        await answer_json(scope, send, cause.status, content)

    async def _send_page(self, scope: dict, send: Any) -> None:
        nonce = secrets.token_urlsafe(16)
        policy = (
            f"default-src 'none'; style-src 'nonce-{nonce}'; script-src 'nonce-{nonce}'; "
            "connect-src 'self'; base-uri 'none'; frame-ancestors 'self'"
        )
        headers = [
            (b"content-type", b"text/html; charset=utf-8"),
            (b"content-security-policy", policy.encode()),
            (b"x-content-type-options", b"nosniff"),
            (b"cache-control", b"no-store"),
        ]
        await answer(scope, send, self.reason.cause.status, self._page(nonce).encode(), headers)

    def _page(self, nonce: str) -> str:
        chinese = self.language == "zh"
        text = escape(self._text(2 if chinese else 1))
        words = f"<pre>{escape(self.reason.last_words)}</pre>" if self.reason.last_words else ""
        start = f"<button>{'启动' if chinese else 'Start it'}</button>"
        return (
            f'<!DOCTYPE html>\n<html lang="{self.language}">\n<head>\n<meta charset="utf-8">\n'
            f"<title>{text}</title>\n<style nonce='{nonce}'>{STYLE}</style>\n</head>\n<body>\n<main>"
            f"<h1>{text}</h1>{words}{start if self.reason.cause in OFFERS_START else ''}"
            f"<p id='said' role='alert'></p></main>\n"
            f"<script nonce='{nonce}'>{self._constants()}{SCRIPT}</script>\n</body>\n</html>\n"
        )

    def _text(self, language: int) -> str:
        return self.reason.cause.value[language].format(name=self.address.utility_name)

    def _constants(self) -> str:
        place = {
            "utility_name": self.address.utility_name,
            "group_name": self.address.group_name or "",
        }
        retry = json.dumps(self.reason.cause is Cause.silent)
        return f"const PLACE = {json.dumps(place)}, RETRY = {retry};".replace("<", "\\u003c")


def wants_page(scope: dict) -> bool:
    """Browsers name HTML where they want a page; programs, images and scripts don't."""
    accepted = b",".join(value for name, value in scope["headers"] if name == b"accept")
    return b"text/html" in accepted.lower()
