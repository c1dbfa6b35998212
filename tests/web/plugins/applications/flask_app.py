"""Flask with a session, and addresses that it makes itself."""

import signal
import sys

from flask import Flask, redirect, session, url_for
from werkzeug.middleware.proxy_fix import ProxyFix

signal.signal(signal.SIGINT, signal.SIG_IGN)  # outlasts the Studio
application = Flask(__name__)
application.secret_key = "the tests'"
application.wsgi_app = ProxyFix(application.wsgi_app, x_host=1, x_prefix=1)


@application.get("/")
def count():
    session["visits"] = session.get("visits", 0) + 1
    return f"{session['visits']} {url_for('again')}"


@application.post("/again")
def again():
    return redirect(url_for("count"), 303)


application.run(port=int(sys.argv[sys.argv.index("--port") + 1]))
