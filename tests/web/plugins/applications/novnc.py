"""noVNC's pages and its WebSocket, before a screen that says no more than its version."""

import os
import socketserver
import sys
import threading


class Screen(socketserver.StreamRequestHandler):
    def handle(self):
        self.wfile.write(b"RFB 003.008\n")
        self.rfile.read(1)


screen = socketserver.ThreadingTCPServer(("127.0.0.1", 0), Screen)
if os.fork():  # the pages are this process, which the Studio stops
    port = sys.argv[sys.argv.index("--port") + 1]
    target = f"127.0.0.1:{screen.server_address[1]}"
    os.execvp("websockify", ["websockify", "--web=/usr/share/novnc", f"127.0.0.1:{port}", target])
threading.Thread(target=screen.serve_forever).start()
