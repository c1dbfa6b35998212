"""Which cookies are a utility's own.

A browser sends all that it holds for this computer's name, whichever port or page they came from.
It puts those with longer paths in front, so a mark of the Studio's own tells which are bound to
utilities' addresses, and which go to every address.
"""

import json
from collections.abc import Iterator
from pathlib import Path

from velmora_client.data_directory import write_file

from velmora_studio.answers import Headers

MOST_NAMES = 100  # of one utility; the oldest go first
MOST_HOST_WIDE = 1000
RESERVED = b"velmora_"  # begins the names of the Studio's own
MARK = RESERVED + b"mark"
HOST_WIDE = ""  # in place of a prefix, among the names that are kept


class Cookies:
    """The names that utilities have set; they outlast the Studio in `file`, as the cookies do."""

    def __init__(self, file: Path) -> None:
        self._file = file
        self._names: dict[str, dict[str, str]] = {}  # by prefix; the values are for HOST_WIDE only
        self._is_changed = False
        self._load()

    def note(self, prefix: str, answer: Headers) -> None:
        """What a utility sets with this answer."""
        for header, cookie in answer:
            if header == b"set-cookie" and not is_refused(cookie):
                self._keep(prefix, _text(name_of(cookie)), "", MOST_NAMES)

    def own(self, prefix: str, headers: Headers) -> bytes:
        """The cookies of a request that its utility is sent. Of two with one name the first counts:
        it has the longer path."""
        found: dict[bytes, bytes] = {}
        given = list(_cookies(headers))
        if not given:
            return b""
        is_bound = any(name == MARK for name, _ in given)
        for name, cookie in given:
            if name == MARK:
                is_bound = False
            elif name.startswith(RESERVED) or name in found:
                continue
            elif is_bound or self._is_own(prefix, _text(name), headers):
                found[name] = cookie
        return b"; ".join(found.values())

    def save(self) -> None:
        """To be called now and then, and at the end."""
        if self._is_changed:
            self._is_changed = False
            write_file(self._file, json.dumps(self._names, ensure_ascii=True) + "\n")

    def _is_own(self, prefix: str, name: str, headers: Headers) -> bool:
        """Whether the utility has set it, or one of its pages, which was the first to send it."""
        if name in self._names.get(prefix, ()):
            return True
        owners = self._names.setdefault(HOST_WIDE, {})
        if name not in owners:
            owner = prefix if _comes_from(prefix, headers) else ""
            self._keep(HOST_WIDE, name, owner, MOST_HOST_WIDE)
        return owners[name] == prefix

    def _keep(self, prefix: str, name: str, value: str, most: int) -> None:
        names = self._names.setdefault(prefix, {})
        self._is_changed |= name not in names
        names.pop(name, None)
        names[name] = value  # as the newest
        if len(names) > most:
            del names[next(iter(names))]

    def _load(self) -> None:
        try:
            kept = json.loads(self._file.read_text(encoding="utf-8"))
            self._names = {str(prefix): dict(names) for prefix, names in kept.items()}
        except (OSError, ValueError, AttributeError, TypeError):
            self._names = {}  # then pages have to set theirs again


def mark_for(request_headers: Headers, answer_headers: Headers, prefix: str) -> Headers:
    """The mark, with a page for a browser that hasn't got it."""
    is_page = any(n == b"content-type" and v.startswith(b"text/html") for n, v in answer_headers)
    if not is_page or any(name == MARK for name, _ in _cookies(request_headers)):
        return []
    path = b"/" + prefix.split("/")[1].encode()  # of all utilities
    return [(b"set-cookie", MARK + b"=1; HttpOnly; SameSite=Lax; Path=" + path)]


def is_refused(cookie: bytes) -> bool:
    """One that would pass for the Studio's own, or for one of the whole host without being so."""
    name = name_of(cookie).lower()
    is_nameless = cookie.lstrip().startswith(b"=")
    return name.startswith(RESERVED) or is_nameless and name.startswith(b"__")


def name_of(cookie: bytes) -> bytes:
    """As whoever is sent the cookie reads it: one without a name is sent as its value alone."""
    return cookie.partition(b";")[0].lstrip(b"= \t").partition(b"=")[0].strip()


def _cookies(headers: Headers) -> Iterator[tuple[bytes, bytes]]:
    for header, value in headers:
        if header == b"cookie":
            for cookie in value.split(b";"):
                yield name_of(cookie), cookie.strip()


def _comes_from(prefix: str, headers: Headers) -> bool:
    """Whether a page of the utility has sent the request."""
    referer = next((value for name, value in headers if name == b"referer"), b"")
    path = b"/" + b"/".join(referer.split(b"/")[3:])
    return path.startswith(prefix.encode() + b"/")


def _text(name: bytes) -> str:
    return name.decode("latin-1")
