"""Answers byte for byte, well and badly, and shows what it has been sent."""

import contextlib
import os
import signal
import socketserver
import sys

PAGE = b"""<!DOCTYPE html><title>raw</title><link rel=stylesheet href=style.css>
<script src=js/app.js></script><a href=./?q=1>again</a><a href=/raw/absolute>absolute</a>"""
OK = b"HTTP/1.1 200 OK\r\n"
ANSWERS = {
    "/": OK + b"Content-Type: text/html\r\nContent-Length: %d\r\n\r\n%s" % (len(PAGE), PAGE),
    "/silent": b"",
    "/garbage": b"certainly no HTTP\r\n\r\n",
    "/broken": OK + b"Content-Length: 100\r\n\r\nhalf",
    "/broken-chunks": OK + b"Transfer-Encoding: chunked\r\n\r\n4\r\nhalf\r\n",
    "/both": OK + b"Content-Length: 3\r\nTransfer-Encoding: chunked\r\n\r\n2\r\nok\r\n0\r\n\r\n",
    "/early": b"HTTP/1.1 413 Too Large\r\nContent-Length: 4\r\n\r\nmuch",
    "/hints": b"HTTP/1.1 103 Early Hints\r\nLink: x\r\n\r\n" + OK + b"Content-Length: 2\r\n\r\nok",
    "/until-end": b"HTTP/1.0 200 OK\r\n\r\nall of it",
    "/switch": b"HTTP/1.1 101 Switching Protocols\r\nUpgrade: x\r\nConnection: Upgrade\r\n\r\n",
    "/odd": b"HTTP/1.1 777 Odd\r\nContent-Length: 0\r\n\r\n",
    "/none": b"HTTP/1.1 204 No Content\r\n\r\n",
    "/unchanged": b"HTTP/1.1 304 Not Modified\r\nContent-Length: 9\r\nETag: x\r\n\r\n",
    "/sized": OK + b"Content-Length: 9\r\n\r\n",
    "/packed": OK + b"Content-Encoding: gzip\r\nContent-Length: 5\r\n\r\n\x1f\x8b?\xff\0",
    "/hops": OK + b"Connection: X-Hop, close\r\nX-Hop: 1\r\nKeep-Alive: timeout=9\r\n"
    b"Content-Location: /c\r\nRefresh: 5; url='/r'\r\nX-Many: a\r\nX-Many: b\r\n"
    b"Service-Worker-Allowed: /\r\nClear-Site-Data: \"*\"\r\n"
    b"Set-Cookie: velmora_token_1=x; Path=/\r\n"
    b"Set-Cookie: one=1; Path=/; Domain=localhost; HttpOnly\r\n"
    b"Set-Cookie: two=2; Path=/deep; SameSite=Lax\r\n"
    b"Set-Cookie: three=3; Expires=Wed, 09 Jun 2100 10:18:14 GMT\r\nContent-Length: 2\r\n\r\nok",
}


class Connection(socketserver.StreamRequestHandler):
    def handle(self) -> None:
        head = b""
        while not head.endswith(b"\r\n\r\n"):
            head += self.rfile.readline() or exit()
        target = head.split(b" ")[1].decode()
        path, _, query = target.partition("?")
        if path == "/die":
            with contextlib.suppress(BrokenPipeError):  # of a Studio that has gone
                print("first line\n<b>last words</b>", file=sys.stderr, flush=True)
            os._exit(3)
        answer = ANSWERS.get(path, OK + b"Content-Length: %d\r\n\r\n%s" % (len(head), head))
        if path.endswith("/arguments"):
            arguments = "\n".join(sys.argv).encode()
            answer = OK + b"Content-Length: %d\r\n\r\n%s" % (len(arguments), arguments)
        if path == "/go":  # the rest of the address is what Location is to be
            answer = b"HTTP/1.1 303 See Other\r\nContent-Length: 0\r\n"
            answer += b"Location: %s\r\n\r\n" % query.encode()
        self.wfile.write(answer)


class Server(socketserver.ThreadingTCPServer):
    allow_reuse_address = daemon_threads = True
    request_queue_size = 100


if "--persistent" in sys.argv:
    signal.signal(signal.SIGINT, signal.SIG_IGN)
Server(("127.0.0.1", int(sys.argv[sys.argv.index("--port") + 1])), Connection).serve_forever()
