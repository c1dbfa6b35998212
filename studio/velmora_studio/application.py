"""The Studio's own pages and routes, as the web server calls them."""

from typing import Any

from velmora_studio.answers import Headers, answer, answer_json
from velmora_studio.forward_address import parse_address
from velmora_studio.guard import OwnGuard, own_page_headers
from velmora_studio.notice_page import stranger_answer
from velmora_studio.operations import Operations
from velmora_studio.routes import make_api
from velmora_studio.token import Token


class Application:
    """Stands before the API: lets in who may come, and adds the headers of the Studio's pages where
    an answer has no form of its own of them."""

    def __init__(
        self, operations: Operations, port: int, forward_port: int, token: Token
    ) -> None:
        self._api = make_api(operations)
        self._guard = OwnGuard(port)
        self._forward_port = forward_port
        self._token = token
        self._headers = own_page_headers(forward_port)

    async def __call__(self, scope: dict, receive: Any, send: Any) -> None:
        async def send_with_headers(message: dict) -> None:
            if message["type"] == "http.response.start":
                message = message | {"headers": self._with_own(message["headers"])}
            await send(message)

        refusal = self._guard.refusal(scope["method"], scope["path"], scope["headers"])
        if refusal:
            await answer_json(send_with_headers, refusal[0], {"detail": refusal[1]})
        elif (moved := self._token.moved_from(scope["query_string"])) and is_page(scope):
            await self._keep_token(scope, send_with_headers, *moved)
        elif not self._token.is_in(scope["headers"]):
            status, headers, body = stranger_answer(scope["headers"])
            await answer(send_with_headers, status, body, headers)
        elif scope["method"] in ("GET", "HEAD") and parse_address(scope["raw_path"]):
            await self._send_on(scope, send_with_headers)
        else:
            await self._api(scope, receive, send_with_headers)

    def _with_own(self, headers: Headers) -> Headers:
        present = {name for name, _ in headers}
        return [*headers, *(pair for pair in self._headers if pair[0] not in present)]

    async def _keep_token(self, scope: dict, send: Any, query: bytes, cookie: Headers) -> None:
        """As a cookie, and out of the address, which others may see."""
        location = b"/" + scope["raw_path"].lstrip(b"/") + (b"?" + query if query else b"")
        await answer(send, 303, b"", [(b"location", location), *cookie])

    async def _send_on(self, scope: dict, send: Any) -> None:
        """Whoever follows the address of a utility, to the port where utilities are shown."""
        name = dict(scope["headers"])[b"host"].rpartition(b":")[0]
        query = b"?" + scope["query_string"] if scope["query_string"] else b""
        location = b"http://%s:%d%s%s" % (name, self._forward_port, scope["raw_path"], query)
        await answer(send, 307, b"", [(b"location", location)])


def is_page(scope: dict) -> bool:
    return scope["method"] == "GET" and not scope["path"].startswith("/api")
