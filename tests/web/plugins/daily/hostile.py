"""A page that tries what no utility's page may: to read, change or replace the Studio's."""

from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer

from velmora_utility.command_line import parse_command_line

options = parse_command_line()
PAGE = """<!doctype html><title>hostile</title><h1>hostile</h1><script>
const studio = "%s";
const json = {method: "POST", headers: {"Content-Type": "application/json"}, body: "{}"};
const plain = {method: "POST", mode: "no-cors", headers: {"Content-Type": "text/plain"}};
const attempts = {
  document: async () => parent.document.title,
  location: async () => parent.location.href,
  top: async () => { top.location = "about:blank"; },
  cookies: async () => { if (!document.cookie.includes("velmora")) throw Error("none"); },
  read: () => fetch(studio + "/api/studio").then((answer) => answer.text()),
  stop: () => fetch(studio + "/api/utility/stop_all", json),
  blind: () => fetch(studio + "/api/utility/stop_all", {...plain, body: "{}"}).then(refused),
  user: () => fetch(studio + "/api/studio/user", {...plain, body: '{"user":"max"}'}).then(refused),
  events: () => new Promise((good, bad) => {
    const source = new EventSource(studio + "/api/events");
    source.onopen = good;
    source.onerror = bad;
  }),
  worker: () => navigator.serviceWorker.register("worker.js", {scope: "/"}),
};
const refused = () => { throw Error("no answer to be read"); };
const tell = async ([name, attempt]) => {
  try { await attempt(); return name; } catch { return ""; }
};
open(studio + "/", "_top");
Promise.all(Object.entries(attempts).map(tell)).then((done) => {
  document.body.dataset.succeeded = done.filter(Boolean).join(" ");
});
</script>
<form action="%s/api/utility/stop_all" method="post" target="_parent"><button></button></form>
<script>document.forms[0].submit()</script>"""


class Handler(BaseHTTPRequestHandler):
    def do_GET(self) -> None:
        is_worker = self.path.endswith("worker.js")
        studio = options.config.get("studio", "")
        body = b"" if is_worker else (PAGE % (studio, studio)).encode()
        self.send_response(200)
        self.send_header("Content-Type", "text/javascript" if is_worker else "text/html")
        self.send_header("Service-Worker-Allowed", "/")
        self.end_headers()
        self.wfile.write(body)

    def log_message(self, *arguments) -> None:
        pass


ThreadingHTTPServer(("127.0.0.1", options.port), Handler).serve_forever()
