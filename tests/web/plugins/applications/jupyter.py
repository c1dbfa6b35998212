"""A notebook server, which has a base path of its own."""

import json
import os
import sys
import tempfile

port = sys.argv[sys.argv.index("--port") + 1]
config = json.loads(sys.argv[sys.argv.index("--config") + 1])
os.execvp(
    sys.executable,
    [
        *(sys.executable, "-m", "notebook", "--no-browser", "--allow-root", "--ip=127.0.0.1"),
        *(f"--port={port}", "--port-retries=0", "--NotebookApp.token=", "--NotebookApp.password="),
        f"--NotebookApp.base_url={config['forward_prefix']}/",
        f"--notebook-dir={tempfile.mkdtemp()}",
    ],
)
