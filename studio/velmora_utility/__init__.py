"""What a utility needs: its command line, output that outlasts the Studio, and a small web server.

    from velmora_utility import Request, Utility

    utility = Utility("问候", "Greeting")

    @utility.get("")
    def index(request: Request) -> str:
        return "<p>Hello</p>"

    utility.run()

The Studio puts the directory of this package on PYTHONPATH of all utilities. To run a script by
hand:

    PYTHONPATH=studio /usr/bin/python3 <script> --server-id x --utility-name x --port 8890
"""

from velmora_utility.command_line import Options, parse_command_line
from velmora_utility.utility import Redirect, Request, Utility

__all__ = ["Options", "Redirect", "Request", "Utility", "parse_command_line"]
