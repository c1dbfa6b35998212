"""A small web server for one utility: reads requests and writes answers, whatever they say."""

import logging
import socketserver
from collections.abc import Callable
from dataclasses import dataclass, field
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer
from urllib.parse import parse_qsl, unquote

LONGEST_BODY = 1 << 20  # bytes


@dataclass(frozen=True)
class Answer:
    status: int
    content_type: str
    body: bytes
    headers: dict[str, str] = field(default_factory=dict)


# Takes method, path without the slash in front, query and form.
Answerer = Callable[[str, str, dict[str, str], dict[str, str]], Answer]


class WebServer(ThreadingHTTPServer):
    """Serves on 127.0.0.1 alone. Fails with `OSError` when the port is taken."""

    request_queue_size = 64

    def __init__(self, port: int, answer: Answerer) -> None:
        self.answer = answer
        super().__init__(("127.0.0.1", port), _Connection)

    def server_bind(self) -> None:
        # The base class also asks the network for the computer's full name, which can take seconds.
        socketserver.TCPServer.server_bind(self)
        self.server_name, self.server_port = self.server_address[:2]

    def handle_error(self, request: object, client_address: object) -> None:
        logging.debug("connection lost", exc_info=True)


class _Connection(BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    server_version = "VelmoraUtility"
    sys_version = ""
    timeout = 60  # seconds without a byte from the browser
    server: WebServer

    def do_GET(self) -> None:
        self._respond("GET", {})

    def do_HEAD(self) -> None:
        self._respond("GET", {})

    def do_POST(self) -> None:
        length = self.headers.get("Content-Length", "")
        if not length.isascii() or not length.isdigit() or int(length) > LONGEST_BODY:
            self.close_connection = True
            self._send(Answer(413 if length.isdigit() else 411, "text/plain", b""))
            return
        self._respond("POST", _fields(self.rfile.read(int(length)).decode("utf-8", "replace")))

    def log_message(self, format: str, *arguments: object) -> None:
        logging.debug(format, *arguments)

    def _respond(self, method: str, form: dict[str, str]) -> None:
        path, _, query = self.path.partition("?")
        path = unquote(path).removeprefix("/")
        try:
            answer = self.server.answer(method, path, _fields(query), form)
        except Exception:
            logging.exception("%s /%s failed", method, path)
            answer = Answer(500, "text/plain; charset=utf-8", b"Internal error\n")
        self._send(answer)

    def _send(self, answer: Answer) -> None:
        try:
            self.send_response(answer.status)
            self.send_header("Content-Type", answer.content_type)
            self.send_header("Content-Length", str(len(answer.body)))
            self.send_header("Cache-Control", "no-store")
            for name, value in answer.headers.items():
                self.send_header(name, value)
            if self.close_connection:
                self.send_header("Connection", "close")
            self.end_headers()
            if self.command != "HEAD":
                self.wfile.write(answer.body)
        except ConnectionError:  # the browser has gone
            self.close_connection = True


def _fields(text: str) -> dict[str, str]:
    return dict(parse_qsl(text, keep_blank_values=True))
