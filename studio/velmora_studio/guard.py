"""Who may talk to the Studio: programs of this computer, and pages that come from the Studio.

Any page in the user's browser can send requests to this computer, or give a name of its own this
computer's address. So the host that a request names must be one of the Studio's, and so must the
origin, where one is sent. Pages of utilities have an origin of their own, which is foreign here.
"""

from velmora_studio.answers import Headers

CONTENT_POLICY = (
    "default-src 'self'; img-src 'self' data:; object-src 'none'; base-uri 'none'; "
    "form-action 'self'; frame-ancestors 'none'; frame-src 'self' "
)
OWN_PAGE_HEADERS: Headers = [
    (b"x-content-type-options", b"nosniff"),
    (b"x-frame-options", b"DENY"),
    (b"referrer-policy", b"same-origin"),
    (b"cross-origin-opener-policy", b"same-origin"),
    (b"cross-origin-resource-policy", b"same-origin"),
    (b"cache-control", b"no-cache"),  # or an update meets the scripts of the page before it
]
READING = {"GET", "HEAD", "OPTIONS"}
Refusal = tuple[int, str]  # status and message


class Guard:
    """Judges requests to one port of the Studio."""

    def __init__(self, port: int) -> None:
        self.hosts = hosts_of(port)
        self._origins = {b"http://" + host for host in self.hosts}

    def refusal(self, method: str, path: str, headers: Headers) -> Refusal | None:
        """`headers` have names in lower case."""
        hosts = [value.lower() for name, value in headers if name == b"host"]
        if len(hosts) != 1 or hosts[0] not in self.hosts:
            return 421, "The Studio does not answer to this host name."
        if any(value not in self._origins for name, value in headers if name == b"origin"):
            return 403, "Requests from other sites are refused."
        values = dict(headers)
        site = values.get(b"sec-fetch-site")
        if site in (b"cross-site", b"same-site") and not self._is_welcome(method, path, values):
            return 403, "Requests from other sites are refused."
        return None

    def _is_welcome(self, method: str, path: str, headers: dict[bytes, bytes]) -> bool:
        """Whether this may come from another site: links may lead here, but no other site may
        change, embed or read anything."""
        is_page = headers.get(b"sec-fetch-dest", b"document") == b"document"
        return is_page and _is_navigation(method, headers)


class OwnGuard(Guard):
    """For the Studio's own page and routes. Its data is no page that a link could lead to."""

    def _is_welcome(self, method: str, path: str, headers: dict[bytes, bytes]) -> bool:
        return not path.startswith("/api") and super()._is_welcome(method, path, headers)


class ForwardGuard(Guard):
    """For the pages of utilities, which the Studio's page shows in frames. `framing_policy` keeps
    other pages of this computer from doing so."""

    def _is_welcome(self, method: str, path: str, headers: dict[bytes, bytes]) -> bool:
        is_framed = is_frame(headers) and _is_navigation(method, headers)
        return is_framed or super()._is_welcome(method, path, headers)


def hosts_of(port: int) -> set[bytes]:
    return {f"{name}:{port}".encode() for name in ("127.0.0.1", "localhost")}


def is_frame(headers: dict[bytes, bytes]) -> bool:
    """Whether a frame on a page of another origin, but the same host, asks."""
    same_site = headers.get(b"sec-fetch-site") == b"same-site"
    return same_site and headers.get(b"sec-fetch-dest") in (b"iframe", b"frame")


def framing_policy(own_origin: str) -> str:
    """That a page may be framed by pages of its own origin and by the Studio's page."""
    port = own_origin.rpartition(":")[2]
    origins = sorted(f"http://{host.decode()}" for host in hosts_of(int(port)))
    return f"frame-ancestors 'self' {' '.join(origins)}"


def _is_navigation(method: str, headers: dict[bytes, bytes]) -> bool:
    return headers.get(b"sec-fetch-mode") == b"navigate" and method in READING


def own_page_headers(forward_port: int) -> Headers:
    """Of the Studio's own pages, which show those of utilities in frames."""
    frames = " ".join(sorted(f"http://{host.decode()}" for host in hosts_of(forward_port)))
    policy = (CONTENT_POLICY + frames).encode()
    return [(b"content-security-policy", policy), *OWN_PAGE_HEADERS]
