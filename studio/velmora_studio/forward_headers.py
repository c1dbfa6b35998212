"""Headers on their way to a utility and back.

To a utility the Studio looks like a browser that visits the utility's own port; the browser must
not leave the utility's prefix.
"""

import re

from velmora_studio.answers import Headers
from velmora_studio.forward_address import Address
from velmora_studio.forward_cookies import is_refused, name_of
from velmora_studio.http_fields import connection_tokens

HOP_BY_HOP = {
    *(b"connection", b"keep-alive", b"proxy-authenticate", b"proxy-authorization"),
    *(b"proxy-connection", b"te", b"trailer", b"transfer-encoding", b"upgrade"),
}
# Told anew by the Studio, or, like `expect`, settled between the Studio and the browser.
REPLACED = {
    *(b"host", b"origin", b"cookie", b"content-length", b"expect", b"forwarded", b"x-real-ip"),
    b"sec-websocket-extensions",  # such as compression, which would cost more than it saves here
}
# They would reach beyond the utility's own part of the origin that all utilities share.
DROPPED = {
    *(b"service-worker-allowed", b"clear-site-data", b"strict-transport-security"),
    *(b"public-key-pins", b"alt-svc", b"nel", b"report-to"),
}
LOCATIONS = {b"location", b"content-location"}


def to_utility(given: Headers, prefix: str, port: int, cookies: bytes) -> Headers:
    """The headers of a request to the utility on `port`, but for those of a WebSocket. `cookies`
    are those that it may see."""
    values = dict(given)
    headers = [(b"host", _host(port))]
    headers += [(n, v) for n, v in _end_to_end(given) if not _is_replaced(n)]
    if b"origin" in values:  # the guard has let only the Studio's own through
        headers.append((b"origin", b"http://" + _host(port)))
    if cookies:
        headers.append((b"cookie", cookies))
    if b"transfer-encoding" in values:
        headers.append((b"transfer-encoding", b"chunked"))
    elif b"content-length" in values:
        headers.append((b"content-length", values[b"content-length"]))
    return [
        *headers,
        (b"x-forwarded-for", b"127.0.0.1"),
        (b"x-forwarded-host", values[b"host"]),
        (b"x-forwarded-proto", b"http"),
        (b"x-forwarded-prefix", prefix.encode()),
    ]


def from_utility(headers: Headers, address: Address, port: int) -> list[tuple[bytes, bytes]]:
    """The headers of an answer for the browser. Repeated ones stay repeated, in their order."""
    answer = []
    for name, value in _end_to_end(headers):
        if name in DROPPED:
            continue
        if name in LOCATIONS:
            value = moved_location(value, address.prefix, port)
        elif name == b"refresh":
            value = _moved_refresh(value, address.prefix, port)
        elif name == b"set-cookie":
            if is_refused(value):
                continue
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
    """The cookie, bound to the utility's prefix and to the Studio's own host. One whose name says
    that it belongs to the whole host would be refused in another form."""
    if name_of(cookie).lower().startswith(b"__host-"):
        return cookie
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
    named = connection_tokens(headers)
    dropped = HOP_BY_HOP.union(named) if named else HOP_BY_HOP
    return [pair for pair in headers if pair[0] not in dropped]


def _is_replaced(name: bytes) -> bool:
    return name in REPLACED or name.startswith(b"x-forwarded-")


def _host(port: int) -> bytes:
    return b"localhost:%d" % port
