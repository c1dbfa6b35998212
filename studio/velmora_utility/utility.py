"""A utility: pages by path, served on the port of its command line until it is told to end."""

import json
import logging
import os
import signal
import sys
import time
from collections.abc import Callable
from dataclasses import dataclass, field
from typing import Any

from velmora_utility.command_line import parse_command_line
from velmora_utility.output import keep_output_working, when_reader_has_gone
from velmora_utility.page import page
from velmora_utility.web_server import Answer, WebServer


@dataclass(frozen=True)
class Request:
    """What a handler is given: the fields of the address and of a form, the last of each name."""

    query: dict[str, str] = field(default_factory=dict)
    form: dict[str, str] = field(default_factory=dict)


@dataclass(frozen=True)
class Redirect:
    """Sends the browser elsewhere. Give a relative address: the Studio shows a utility under a path
    of its own, such as /utility/logbook/, which the utility doesn't know."""

    location: str = "./"


Handler = Callable[[Request], "str | dict[str, Any] | Redirect"]


class Utility:
    """One running utility. Making it reads the command line and sets up output and logging.

    A handler gives HTML for the inside of a page, a dict for JSON, or a `Redirect`. Handlers run
    on a thread per connection, so what they share needs a lock.
    """

    def __init__(self, title: str, en_title: str) -> None:
        keep_output_working()
        self.options = parse_command_line()
        self.title = self.text(title, en_title)
        self._started = time.time()
        self._handlers: dict[tuple[str, str], Handler] = {("GET", "health"): self._health}
        self._details: Callable[[], dict[str, Any]] = dict
        logging.basicConfig(
            stream=sys.stderr,
            level=logging.DEBUG if self.options.config.get("verbose") else logging.INFO,
            format=f"{self.options.utility_name.replace('%', '%%')}: %(message)s",
        )

    def text(self, zh: str, en: str) -> str:
        """The text in the user's language."""
        return zh if self.options.lang.startswith("zh") else en

    def get(self, path: str) -> Callable[[Handler], Handler]:
        """Registers a handler for GET. `path` has no slash in front; "" is the first page."""
        return self._registrar("GET", path)

    def post(self, path: str) -> Callable[[Handler], Handler]:
        """Registers a handler for POST."""
        return self._registrar("POST", path)

    def health(self, details: Callable[[], dict[str, Any]]) -> Callable[[], dict[str, Any]]:
        """Registers a function whose keys join the answer of GET /health."""
        self._details = details
        return details

    def run(self) -> None:
        """Serves until the Studio, or Ctrl-C, ends the process, with code 0."""
        self._obey_signals()
        if not self.options.persistent:  # a Studio that was killed can't end it any more
            when_reader_has_gone(lambda: os.kill(os.getpid(), signal.SIGTERM))
        with WebServer(self.options.port, self._answer) as server:
            logging.info("serving on http://127.0.0.1:%d", server.server_port)
            try:
                server.serve_forever()
            finally:
                logging.info("ended")

    def _registrar(self, method: str, path: str) -> Callable[[Handler], Handler]:
        def register(handler: Handler) -> Handler:
            self._handlers[method, path] = handler
            return handler

        return register

    def _obey_signals(self) -> None:
        def end(number: int, frame: object) -> None:
            signal.signal(number, signal.SIG_IGN)
            sys.exit(0)

        signal.signal(signal.SIGTERM, end)
        # Ctrl-C in the Studio's terminal, or its closing, reaches every process started there.
        signal.signal(signal.SIGINT, signal.SIG_IGN if self.options.persistent else end)
        if self.options.persistent and hasattr(signal, "SIGHUP"):
            signal.signal(signal.SIGHUP, signal.SIG_IGN)

    def _answer(
        self, method: str, path: str, query: dict[str, str], form: dict[str, str]
    ) -> Answer:
        handler = self._handlers.get((method, path))
        if handler is None:
            text = self.text("没有这个页面。", "There is no such page.")
            return self._page(404, f"<p>{text}</p>")
        result = handler(Request(query, form))
        if isinstance(result, Redirect):
            return Answer(303, "text/plain", b"", {"Location": result.location})
        if isinstance(result, dict):
            return Answer(200, "application/json", json.dumps(result, ensure_ascii=False).encode())
        return self._page(200, result)

    def _page(self, status: int, content: str) -> Answer:
        body = page(self.options, self.title, content)
        return Answer(status, "text/html; charset=utf-8", body.encode())

    def _health(self, request: Request) -> dict[str, Any]:
        options = self.options
        return {
            "status": "ok",
            "utility_name": options.utility_name,
            "server_id": options.server_id,
            "group_name": options.group_name or None,
            "pid": os.getpid(),
            "uptime": round(time.time() - self._started, 3),
        } | self._details()
