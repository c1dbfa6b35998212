"""One request on its way to a utility, and the answer on its way back. Both stream at once."""

import asyncio
from typing import Protocol

from velmora_studio.forward_connection import BrowserConnection
from velmora_studio.forward_cookies import Cookies
from velmora_studio.forward_heads import answer_head, request_head
from velmora_studio.forward_targets import Targets
from velmora_studio.forward_visit import Visit
from velmora_studio.http_answer import HIGHEST_STATUS, LOWEST_STATUS, AnswerHead, AnswerReader
from velmora_studio.http_body import LAST_CHUNK, chunk
from velmora_studio.http_fields import CHUNKED, BadMessage
from velmora_studio.instances import Instance
from velmora_studio.notice_page import Cause, NotForwarded
from velmora_studio.upstream import Pool, Upstream

REPEATABLE = {b"GET", b"HEAD", b"OPTIONS"}


class Forwarder(Protocol):
    """What exchanges share."""

    targets: Targets
    cookies: Cookies
    pool: Pool
    framing_policy: bytes


class Exchange:
    """Handles a request of `connection`, and uses a connection to the utility."""

    def __init__(
        self, forwarder: Forwarder, connection: BrowserConnection, visit: Visit
    ) -> None:
        self._forwarder = forwarder
        self._connection = connection
        self._visit = visit
        self._request = request = visit.request
        self._address = visit.address
        self._instance: Instance
        self._upstream: Upstream | None = None
        self._reader = AnswerReader(request.method)
        self._heard = self._is_answering = False
        self._keeps_prefix = False  # the utility has a base path of its own
        self._is_sent = not request.length
        self._chunks = False  # the answer goes out in chunks
        self._task: asyncio.Task | None = None

    def begin(self) -> None:
        connection, address = self._connection, self._address
        connection.handler, connection.place = self, (address.utility_name, address.group_name)
        instance = self._forwarder.targets.find_now(self._address)
        if instance:
            self._open(instance)
        else:
            self._task = asyncio.create_task(self._find())

    async def _find(self) -> None:
        targets = self._forwarder.targets
        try:
            instance = await targets.find(self._address)
        except NotForwarded as reason:
            self._answer_notice(reason)
        else:
            self._open(instance)

    def _open(self, instance: Instance) -> None:
        self._instance = instance
        self._keeps_prefix = self._forwarder.targets.keeps_prefix(instance)
        kept = self._forwarder.pool.take(instance) if self._may_be_repeated() else None
        if kept:
            self._use(kept)
        else:
            self._task = asyncio.create_task(self._connect())

    async def _connect(self) -> None:
        try:
            upstream = await self._forwarder.pool.connect(self._instance)
        except OSError:
            await self._answer_failure(Cause.silent)
        else:
            self._use(upstream)

    def _use(self, upstream: Upstream) -> None:
        self._upstream, upstream.user = upstream, self
        upstream.write(self._head())
        self._connection.accept_body()

    def _head(self) -> bytes:
        cookies = self._forwarder.cookies.own(self._address.prefix, self._request.headers)
        return request_head(self._visit, self._instance.port, self._keeps_prefix, cookies)

    def _may_be_repeated(self) -> bool:
        """Then a kept connection is good enough, even if the utility is about to end it."""
        return self._request.method in REPEATABLE and self._is_sent

    # What the connection to the browser tells.

    def body(self, content: bytes, last: bool) -> None:
        self._is_sent = last
        if not self._upstream:
            return
        if self._request.length == CHUNKED:
            content = (chunk(content) if content else b"") + (LAST_CHUNK if last else b"")
        self._upstream.write(content)

    def browser_is_full(self, full: bool) -> None:
        if self._upstream:
            self._upstream.pause(full)

    def abandon(self) -> None:
        if self._task:
            self._task.cancel()
        upstream, self._upstream = self._upstream, None
        if upstream:
            upstream.abort()

    # What the connection to the utility tells.

    def utility_is_full(self, full: bool) -> None:
        self._connection.hold(full)

    def received(self, data: bytes) -> None:
        self._heard = True
        try:
            content = self._reader.feed(data)
            head = b"" if self._is_answering or not self._reader.head else self._begin_answer()
        except BadMessage:
            self._fail(Cause.malformed)
            return
        if content and self._chunks:
            content = chunk(content)
        if self._reader.done:
            self._finish(head + content)
        elif head or content:
            self._connection.write(head + content if head else content)

    def lost(self, error: Exception | None) -> None:
        upstream, self._upstream = self._upstream, None
        if not self._heard and upstream and not upstream.is_fresh:  # it was about to end anyway
            self._task = asyncio.create_task(self._connect())
            return
        try:
            if error:
                raise BadMessage(502, "the connection failed")
            self._reader.end()
        except BadMessage:
            self._fail(Cause.malformed if self._heard and not error else Cause.silent)
        else:
            self._finish(b"")

    def _begin_answer(self) -> bytes:
        head = self._reader.head
        if not LOWEST_STATUS <= head.status <= HIGHEST_STATUS:
            raise BadMessage(502, "no proper answer")
        self._is_answering = True
        forwarder = self._forwarder
        forwarder.cookies.note(self._address.prefix, head.headers)
        policy, port = forwarder.framing_policy, self._instance.port
        lines, self._chunks = answer_head(self._visit, head, port, policy)
        return lines

    def _finish(self, data: bytes) -> None:
        data = data + LAST_CHUNK if self._chunks else data
        if data:
            self._connection.write(data)
        self._part(self._reader.head)
        self._connection.finish()

    def _part(self, head: AnswerHead) -> None:
        """From the connection to the utility, which may be of use once more."""
        upstream, self._upstream = self._upstream, None
        if not upstream:
            return
        if head.keep_alive and self._is_sent and not self._reader.rest:
            self._forwarder.pool.give_back(upstream)
        else:
            upstream.abort()

    def _fail(self, cause: Cause) -> None:
        upstream, self._upstream = self._upstream, None
        if upstream:
            upstream.abort()
        if self._is_answering:  # no clean end for what broke off
            self._connection.abort()
        else:
            self._task = asyncio.create_task(self._answer_failure(cause))

    async def _answer_failure(self, cause: Cause) -> None:
        targets = self._forwarder.targets
        self._answer_notice(await targets.why_silent(self._address, self._instance, cause))

    def _answer_notice(self, reason: NotForwarded) -> None:
        notice = self._forwarder.targets.notice(self._address, reason)
        self._connection.answer(*notice.answer(self._request.headers))
