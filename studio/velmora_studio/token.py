"""The token that keeps other accounts of the computer out of the Studio.

It stands in the address that the Studio prints. A browser that has followed this address keeps it
as a cookie, which the Studio's two ports share, as cookies don't know of ports.
"""

import hmac
import os
import secrets
from pathlib import Path

from velmora_studio.answers import Headers
from velmora_studio.forward_cookies import RESERVED

KEPT_SECONDS = 30 * 24 * 3600


class Token:
    """Without a text everybody may come."""

    def __init__(self, text: str, port: int) -> None:
        self.text = text
        self._name = RESERVED + b"token_%d" % port

    def is_in(self, headers: Headers) -> bool:
        """Whether a request has it as a cookie."""
        if not self.text:
            return True
        start = self._name + b"="
        return any(
            self._is_right(cookie.strip().removeprefix(start))
            for name, value in headers
            if name == b"cookie"
            for cookie in value.split(b";")
            if cookie.strip().startswith(start)
        )

    def moved_from(self, query: bytes) -> tuple[bytes, Headers] | None:
        """The query without the right token, and the cookie that takes its place; None where the
        query doesn't have it."""
        pieces = query.split(b"&")
        rest = [piece for piece in pieces if not piece.startswith(b"token=")]
        given = [piece.removeprefix(b"token=") for piece in pieces if piece not in rest]
        if not self.text or len(given) != 1 or not self._is_right(given[0]):
            return None
        cookie = b"%b=%b; Path=/; HttpOnly; SameSite=Lax; Max-Age=%d"
        value = cookie % (self._name, self.text.encode(), KEPT_SECONDS)
        return b"&".join(rest), [(b"set-cookie", value)]

    def _is_right(self, given: bytes) -> bool:
        return hmac.compare_digest(given, self.text.encode())


def lasting_token(file: Path) -> str:
    """The text in `file`, which is made for the user alone if it isn't there: so bookmarks and
    open pages work on when the Studio starts again."""
    try:
        text = file.read_text(encoding="ascii").strip()
        if text and not file.stat().st_mode & 0o077:
            return text
        file.unlink()  # others may have read it
    except FileNotFoundError:
        pass
    text = secrets.token_urlsafe(24)
    with os.fdopen(os.open(file, os.O_WRONLY | os.O_CREAT | os.O_EXCL, 0o600), "w") as made:
        made.write(text + "\n")
    return text
