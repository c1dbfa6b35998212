"""Python's own server, with the files beside this script."""

import sys
from functools import partial
from http.server import SimpleHTTPRequestHandler, ThreadingHTTPServer
from pathlib import Path

port = int(sys.argv[sys.argv.index("--port") + 1])
handler = partial(SimpleHTTPRequestHandler, directory=str(Path(__file__).resolve().parent))
ThreadingHTTPServer(("127.0.0.1", port), handler).serve_forever()
