"""Headers on their way to a utility and back.

To a utility the Studio looks like a browser that visits the utility's own port; the browser must
not leave the utility's prefix.
"""

import re
from collections.abc import Iterable

from velmora_studio.forward_address import Address
from velmora_studio.upstream import Headers

HOP_BY_HOP = {
    *(b"connection", b"keep-alive", b"proxy-authenticate", b"proxy-authorization"),
    *(b"proxy-connection", b"te", b"trailer", b"transfer-encoding", b"upgrade"),
}
# Told anew by the Studio, or, like `expect`, settled between the Studio and the browser.
REPLACED = {b"host", b"origin", b"cookie", b"content-length", b"expect", b"forwarded", b"x-real-ip"}
LOCATIONS = {b"location", b"content-location"}
LONGEST_MEMORY = 100  # cookies of one utility


class CookieNames:
    """The names of the cookies that each utility has set. A browser sends a utility whatever it
    holds for this computer; only what is the utility's own reaches it."""

    def __init__(self) -> None:
        self._names: dict[str, set[bytes]] = {}

    def note(self, prefix: str, cookie: bytes) -> None:
        names = self._names.setdefault(prefix, set())
        if len(names) < LONGEST_MEMORY:
            names.add(_cookie_name(cookie))

    def own(self, prefix: str, header: bytes) -> bytes:
        """The cookies of `header` that the utility has set. Of two with one name the first counts:
        browsers put the longer path in front."""
        names = self._names.get(prefix, set())
        found: dict[bytes, bytes] = {}
        for cookie in header.split(b";"):
            if _cookie_name(cookie) in names:
                found.setdefault(_cookie_name(cookie), cookie.strip())
        return b"; ".join(found.values())


def to_utility(scope: dict, address: Address, port: int, cookies: CookieNames) -> Headers:
    """The headers of a request to the utility on `port`."""
    given = scope["headers"]
    values = dict(given)
    headers = [(b"host", _host(port))]
    headers += [(n, v) for n, v in _end_to_end(given) if not _is_replaced(n)]
    if b"origin" in values:  # the guard has let only the Studio's own through
        headers.append((b"origin", b"http://" + _host(port)))
    own = cookies.own(address.prefix, b"; ".join(v for n, v in given if n == b"cookie"))
    if own:
        headers.append((b"cookie", own))
    if b"transfer-encoding" in values:
        headers.append((b"transfer-encoding", b"chunked"))
    elif b"content-length" in values:
        headers.append((b"content-length", values[b"content-length"]))
    client = scope.get("client")
    return headers + [
        (b"x-forwarded-for", (client[0] if client else "127.0.0.1").encode()),
        (b"x-forwarded-host", values.get(b"host", b"")),
        (b"x-forwarded-proto", b"http"),
        (b"x-forwarded-prefix", address.prefix.encode()),
    ]


def from_utility(
    headers: Iterable[tuple[bytes, bytes]], address: Address, port: int, cookies: CookieNames
) -> Headers:
    """The headers of an answer for the browser. Repeated ones stay repeated, in their order."""
    headers = [(name.lower(), value) for name, value in headers]
    chunked = any(name == b"transfer-encoding" for name, _ in headers)
    answer = []
    for name, value in _end_to_end(headers):
        if name == b"content-length" and chunked:
            continue
        if name in LOCATIONS:
            value = moved_location(value, address.prefix, port)
        elif name == b"refresh":
            value = _moved_refresh(value, address.prefix, port)
        elif name == b"set-cookie":
            cookies.note(address.prefix, value)
            value = confined_cookie(value, address)
        answer.append((name, value))
    return answer


def moved_location(location: bytes, prefix: str, port: int) -> bytes:
    """An address within the utility, as seen from the browser; any other stays as it is."""
    own = rb"(?i)(?:https?:)?//(?:localhost|127\.0\.0\.1|\[::1\]):%d(?=[/?#]|$)" % port
    here = re.match(own, location)
    path = location[here.end() :] if here else location
    if here and not path.startswith(b"/"):
        path = b"/" + path
    start = prefix.encode()
    if not path.startswith(b"/") or path.startswith(b"//") and not here:
        return location
    if re.match(re.escape(start) + rb"(?=[/?#]|$)", path):
        return path  # a utility that heeds its prefix
    return start + path


def confined_cookie(cookie: bytes, address: Address) -> bytes:
    """The cookie, bound to the utility's prefix and to the Studio's own host."""
    pair, *attributes = cookie.split(b";")
    kept, path = [pair], b""
    for attribute in attributes:
        name, _, value = attribute.partition(b"=")
        if name.strip().lower() == b"path":
            path = value.strip().strip(b'"')
        elif name.strip().lower() != b"domain":
            kept.append(attribute)
    if not path.startswith(b"/"):  # then the directory of the request's path counts
        path = address.path[: address.path.rfind(b"/")] or b"/"
    start = address.prefix.encode()
    if path != start and not path.startswith(start + b"/"):
        path = start + path
    return b";".join([*kept, b" Path=" + path])


def _moved_refresh(value: bytes, prefix: str, port: int) -> bytes:
    found = re.match(rb"(?is)(\s*[\d.]+\s*[;,]\s*url\s*=\s*)(['\"]?)(.*?)(\2)\s*$", value)
    if not found:
        return value
    start, quote, location, end = found.groups()
    return start + quote + moved_location(location, prefix, port) + end


def _end_to_end(headers: Headers) -> Headers:
    named = {
        token.strip().lower()
        for name, value in headers
        if name == b"connection"
        for token in value.split(b",")
    }
    return [(n, v) for n, v in headers if n not in HOP_BY_HOP and n not in named]


def _is_replaced(name: bytes) -> bool:
    return name in REPLACED or name.startswith(b"x-forwarded-")


def _cookie_name(cookie: bytes) -> bytes:
    return cookie.partition(b";")[0].partition(b"=")[0].strip()


def _host(port: int) -> bytes:
    return b"localhost:%d" % port
