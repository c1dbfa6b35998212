"""Forwards HTTP requests to utilities. Bodies stream both ways, for as long as it takes."""

from typing import Any

import h11

from velmora_studio.answers import answer
from velmora_studio.forward_address import Address
from velmora_studio.forward_headers import CookieNames, from_utility, to_utility
from velmora_studio.forward_targets import Targets
from velmora_studio.instances import Instance
from velmora_studio.notice_page import Cause, NotForwarded
from velmora_studio.upstream import Upstream, until_first_ends

HIGHEST_STATUS = 599  # that the web server can send


class HttpForwarder:
    def __init__(self, targets: Targets, cookies: CookieNames) -> None:
        self._targets = targets
        self._cookies = cookies

    async def __call__(self, address: Address, scope: dict, receive: Any, send: Any) -> None:
        if not address.path:  # utilities use relative links, which need the slash
            await self._add_slash(address, scope, send)
            return
        try:
            instance = await self._targets.find(address)
            await self._forward(address, instance, scope, receive, send)
        except NotForwarded as reason:
            await self._targets.notice(address, reason).send(scope, receive, send)

    async def _add_slash(self, address: Address, scope: dict, send: Any) -> None:
        query = scope["query_string"]
        location = address.prefix.encode() + b"/" + (b"?" + query if query else b"")
        await answer(scope, send, 307, b"", [(b"location", location)])

    async def _forward(
        self, address: Address, instance: Instance, scope: dict, receive: Any, send: Any
    ) -> None:
        exchange = _Exchange(address, instance, self._cookies, send)
        try:
            await exchange.run(scope, receive)
        except (OSError, h11.RemoteProtocolError) as error:
            if exchange.answering:  # the browser's connection breaks off too: no clean end
                return
            cause = Cause.silent if isinstance(error, OSError) else Cause.malformed
            raise await self._targets.why_silent(address, instance, cause) from error
        except h11.LocalProtocolError as error:
            if not exchange.answering:
                raise NotForwarded(Cause.bad_request) from error


class _Exchange:
    """One request and its answer. Ends as soon as either side has gone."""

    def __init__(
        self, address: Address, instance: Instance, cookies: CookieNames, send: Any
    ) -> None:
        self._address = address
        self._port = instance.port
        self._cookies = cookies
        self._send = send
        self.answering = False  # the browser has got the head of the answer

    async def run(self, scope: dict, receive: Any) -> None:
        query = scope["query_string"]
        target = self._address.path + (b"?" + query if query else b"")
        headers = to_utility(scope, self._address, self._port, self._cookies)
        upstream = await Upstream.connect(self._port)
        try:
            await upstream.send_head(scope["method"], target, headers)
            await until_first_ends(self._relay_answer(upstream), _relay_body(receive, upstream))
        finally:
            upstream.close()

    async def _relay_answer(self, upstream: Upstream) -> None:
        head = await upstream.next_event()
        while isinstance(head, h11.InformationalResponse) and head.status_code != 101:
            head = await upstream.next_event()
        if not isinstance(head, h11.Response) or head.status_code > HIGHEST_STATUS:
            raise h11.RemoteProtocolError("no proper answer")
        headers = from_utility(head.headers, self._address, self._port, self._cookies)
        start = {"type": "http.response.start", "status": head.status_code, "headers": headers}
        self.answering = True
        await self._send(start)
        while isinstance(event := await upstream.next_event(), h11.Data):
            body = {"type": "http.response.body", "body": bytes(event.data), "more_body": True}
            await self._send(body)
        if not isinstance(event, h11.EndOfMessage):
            raise h11.RemoteProtocolError("the answer broke off")
        await self._send({"type": "http.response.body", "body": b""})


async def _relay_body(receive: Any, upstream: Upstream) -> None:
    """Sends the request's body, then waits for the browser to go."""
    more = True
    while more:
        message = await receive()
        if message["type"] == "http.disconnect":
            return
        more = message.get("more_body", False)
        await upstream.send_body(message.get("body", b""), last=not more)
    while (await receive())["type"] != "http.disconnect":
        pass
