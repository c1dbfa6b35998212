"""Who may show a utility's page in a frame: its own origin, and the Studio's page.

A utility that allows its own origin means the page that shows it.
"""

import re

from velmora_studio.answers import Headers

POLICY, OPTIONS = b"content-security-policy", b"x-frame-options"
ANCESTORS = re.compile(rb"(?i)(frame-ancestors[^;,]*)'self'")


def framed(headers: Headers, policy: bytes, is_frame: bool) -> Headers:
    """The headers of an answer. `policy` names those who may; with it nobody else can frame what
    is asked for by a frame."""
    options = {value.strip().lower() for name, value in headers if name == OPTIONS}
    if options == {b"sameorigin"}:
        headers = [pair for pair in headers if pair[0] != OPTIONS]
        is_frame, options = True, set()
    allowed = policy.removeprefix(b"frame-ancestors ")
    headers = [
        (name, ANCESTORS.sub(rb"\1" + allowed, value) if name == POLICY else value)
        for name, value in headers
    ]
    if is_frame and not options:
        headers.append((POLICY, policy))
    return headers
