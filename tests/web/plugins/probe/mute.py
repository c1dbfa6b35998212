"""Lives, never listens, and is hard to stop."""

import signal

signal.signal(signal.SIGTERM, signal.SIG_IGN)
while True:
    signal.pause()
