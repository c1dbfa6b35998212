"""Listens when a file exists that its configuration names, and says on standard error what a
request tells it."""

import os
import sys
import time
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer
from urllib.parse import unquote

from velmora_utility.command_line import parse_command_line


class Handler(BaseHTTPRequestHandler):
    def do_GET(self) -> None:
        word = unquote(self.path.rpartition("/")[2])
        if word == "die":
            print("these are\nlast words", file=sys.stderr, flush=True)
            os._exit(7)
        if word:
            print(word, file=sys.stderr, flush=True)
        self.send_response(200)
        self.send_header("Content-Type", "text/html; charset=utf-8")
        self.end_headers()
        self.wfile.write(b"<!doctype html><title>daily</title><h1>Daily</h1>")

    def log_message(self, *arguments) -> None:
        pass


options = parse_command_line()
until = options.config.get("until")
while until and not os.path.exists(until):
    time.sleep(0.05)
ThreadingHTTPServer(("127.0.0.1", options.port), Handler).serve_forever()
