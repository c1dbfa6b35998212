"""What stands in a utility's place when there is nothing to forward to."""

from dataclasses import dataclass
from enum import Enum
from functools import cache
from html import escape
from pathlib import Path
from urllib.parse import quote

from velmora_studio.answers import JSON_HEADERS, Answer, Headers, json_text
from velmora_studio.forward_address import Address
from velmora_studio.guard import framing_policy

PAGE = Path(__file__).resolve().parent / "page"
STYLES = ("tokens", "base", "absent")
POLICY = "default-src 'none'; style-src 'unsafe-inline'; img-src data:; base-uri 'none'; "
# Both languages of each text.
LINES = "Last lines", "最近输出"
TRY_AGAIN = "Try again", "重试"
TO_STUDIO = "To the Studio", "返回 Studio"
START = "Start it in the Studio", "在 Studio 中启动"


STRANGER = (
    "Open the Studio with the address that it printed when it started.",
    "请使用 Studio 启动时显示的地址打开。",
)


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

    @property
    def may_pass(self) -> bool:
        """Another attempt may help."""
        return self in (Cause.silent, Cause.malformed)


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
    own_origin: str  # where the Studio's own page is

    def answer(self, headers: Headers) -> Answer:
        """For a request with these headers."""
        status = self.reason.cause.status
        if wants_page(headers):
            content = html_headers(framing_policy(self.own_origin))
            return status, content, self._page().encode()
        value = {"detail": self._message(0)}
        if self.reason.cause is Cause.ended:
            value["digest"] = self.reason.last_words
        return status, JSON_HEADERS, json_text(value).encode()

    def _page(self) -> str:
        language = 1 if self.language == "zh" else 0
        cause, view = self.reason.cause, self.own_origin + view_of(self.address)
        action, link, target, label = "absent-start", view, "_top", START
        if cause.is_final:
            action, link, label = "absent-studio", self.own_origin + "/", TO_STUDIO
        elif cause.may_pass:
            action, link, target, label = "absent-retry", "", "_self", TRY_AGAIN
        texts = {
            **{"language": self.language, "title": self.title, "message": self._message(language)},
            **{"lines": self.reason.last_words, "lines_label": LINES[language]},
            **{"action": action, "link": link, "target": target, "action_label": label[language]},
        }
        return filled(template(), texts)

    def _message(self, language: int) -> str:
        return self.reason.cause.value[1 + language].format(name=self.address.utility_name)


def stranger_answer(headers: Headers) -> Answer:
    """To whoever comes without the token. Which language he reads isn't known."""
    if not wants_page(headers):
        return 403, JSON_HEADERS, json_text({"detail": STRANGER[0]}).encode()
    texts = {
        **{"language": "en", "title": "Velmora Studio", "message": " ".join(STRANGER)},
        **{"lines": "", "lines_label": "", "action": "absent-retry", "link": ""},
        **{"target": "_self", "action_label": " ".join(TRY_AGAIN)},
    }
    return 403, html_headers("frame-ancestors 'none'"), filled(template(), texts).encode()


def view_of(address: Address) -> str:
    """The path at which the Studio's own page shows a utility."""
    names = [address.utility_name]
    kind = "utility"
    if address.group_name is not None:
        kind, names = "group", [address.group_name, address.utility_name]
    return "/".join(["/view", kind, *(quote(name, safe="") for name in names)])


def html_headers(frame_ancestors: str) -> Headers:
    return [
        (b"content-type", b"text/html; charset=utf-8"),
        (b"cache-control", b"no-store"),
        (b"content-security-policy", (POLICY + frame_ancestors).encode()),
        (b"x-content-type-options", b"nosniff"),
        (b"referrer-policy", b"same-origin"),
    ]


@cache
def template() -> str:
    """The page with its styles in it: where utilities are shown, the Studio serves no files."""
    style = "".join((PAGE / "css" / f"{name}.css").read_text(encoding="utf-8") for name in STYLES)
    page = (PAGE / "absent.html").read_text(encoding="utf-8")
    return page.replace("<style></style>", f"<style>\n{style}</style>")


def filled(template: str, texts: dict[str, str]) -> str:
    """The template with each `{{key}}` replaced; what looks like a key in a text stays as it is."""
    start, *rest = template.split("{{")
    parts = [piece.partition("}}") for piece in rest]
    return start + "".join(escape(texts[key]) + tail for key, _, tail in parts)


def wants_page(headers: Headers) -> bool:
    """Browsers name HTML where they want a page; programs, images and scripts don't."""
    accepted = b",".join(value for name, value in headers if name == b"accept")
    return b"text/html" in accepted.lower()
