"""Vite's server for development, which has a base path, over a project of one script."""

import json
import os
import sys
from pathlib import Path

port = sys.argv[sys.argv.index("--port") + 1]
config = json.loads(sys.argv[sys.argv.index("--config") + 1])
project = Path(config["project"])
(project / "index.html").write_text('<script type="module" src="/main.js"></script>')
(project / "main.js").write_text("document.title = 'before';\n")
os.chdir(project)
options = ["--base", config["forward_prefix"] + "/", "--port", port, "--strictPort"]
os.execvp("vite", ["vite", "--host", "127.0.0.1", *options])
