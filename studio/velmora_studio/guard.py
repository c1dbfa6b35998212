"""Who may talk to the Studio: programs of this computer, and pages that come from the Studio.

Any page in the user's browser can send requests to this computer, or give a name of its own this
computer's address. So the host that a request names must be one of the Studio's, and so must the
origin, where one is sent.
"""

from typing import Any

from velmora_studio.answers import answer_json
from velmora_studio.upstream import Headers

CONTENT_POLICY = (
    "default-src 'self'; img-src 'self' data:; object-src 'none'; base-uri 'none'; "
    "form-action 'self'; frame-ancestors 'self'"
)
OWN_PAGE_HEADERS: Headers = [
    (b"content-security-policy", CONTENT_POLICY.encode()),
    (b"x-content-type-options", b"nosniff"),
    (b"referrer-policy", b"same-origin"),
    (b"cross-origin-resource-policy", b"same-origin"),
    (b"cache-control", b"no-cache"),  # or an update meets the scripts of the page before it
]
READING = {"GET", "HEAD", "OPTIONS"}


class Guard:
    """Stands before the whole application, WebSockets included."""

    def __init__(self, application: Any, port: int) -> None:
        self._application = application
        self._hosts = {f"{name}:{port}".encode() for name in ("127.0.0.1", "localhost")}
        self._origins = {b"http://" + host for host in self._hosts}

    async def __call__(self, scope: dict, receive: Any, send: Any) -> None:
        refusal = self._refusal(scope)
        if refusal:
            status, message = refusal
            await answer_json(scope, send, status, {"detail": message})
        else:
            await self._application(scope, receive, send)

    def _refusal(self, scope: dict) -> tuple[int, str] | None:
        headers = scope["headers"]
        hosts = [value.lower() for name, value in headers if name == b"host"]
        if len(hosts) != 1 or hosts[0] not in self._hosts:
            return 421, "The Studio does not answer to this host name."
        if any(value not in self._origins for name, value in headers if name == b"origin"):
            return 403, "Requests from other sites are refused."
        if _comes_from_elsewhere(scope, dict(headers)):
            return 403, "Requests from other sites are refused."
        return None


def _comes_from_elsewhere(scope: dict, headers: dict[bytes, bytes]) -> bool:
    """What the browser says of a request's source. A link on another site may lead here, but no
    other site may change, embed or read anything."""
    if headers.get(b"sec-fetch-site") not in (b"cross-site", b"same-site"):
        return False
    is_link = headers.get(b"sec-fetch-mode") == b"navigate"
    is_page = headers.get(b"sec-fetch-dest", b"document") == b"document"
    return not (is_link and is_page and scope.get("method") in READING)


def with_own_page_headers(application: Any) -> Any:
    """Adds the headers of the Studio's own pages, unless an answer has its own form of them."""

    async def guarded(scope: dict, receive: Any, send: Any) -> None:
        async def send_with_headers(message: dict) -> None:
            if message["type"] == "http.response.start":
                present = {name for name, _ in message["headers"]}
                added = [pair for pair in OWN_PAGE_HEADERS if pair[0] not in present]
                message = message | {"headers": [*message["headers"], *added]}
            await send(message)

        await application(scope, receive, send_with_headers)

    return guarded
