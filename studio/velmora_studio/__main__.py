"""Runs the Studio: `python -m velmora_studio`. Ctrl-C, or a signal to end, ends it."""

import asyncio
import socket
import sys
from typing import Any

from velmora_client.utils.local import DEFAULT_GUI_PORT, set_gui_addr
from velmora_utility.output import keep_output_working

from velmora_studio.application import make_application
from velmora_studio.instances import Instance
from velmora_studio.operations import Operations
from velmora_studio.server import HOST, StudioServer, open_listener


def main() -> int:
    keep_output_working()
    try:
        listener = open_listener(DEFAULT_GUI_PORT)
    except OSError as error:
        return fail(str(error))
    port = listener.getsockname()[1]
    set_gui_addr(HOST, port)
    try:
        # Loading the module makes the manager, which at once adopts what an earlier Studio left.
        from utility_manager import utility_manager
    except ImportError as error:
        return fail(f"the module utility_manager can't be loaded ({error}); `make build` makes it")
    asyncio.run(serve(utility_manager, listener, port))
    return 0


async def serve(manager: Any, listener: socket.socket, port: int) -> None:
    operations = Operations(manager)
    adopted = await operations.instances()

    def tell_started() -> None:
        if adopted:
            say(f"Still running from an earlier Studio: {names_of(adopted)}")
        say(f"The Studio: http://{HOST}:{port}/")

    application = make_application(operations, port)
    server = StudioServer(application, tell_started, operations.note_ending)
    try:
        await server.serve(sockets=[listener])
    finally:
        ended, left = await operations.end()
        set_gui_addr(None)
    say(f"Stopped: {names_of(ended) or 'nothing was left to stop'}")
    if left:
        say(f"Goes on running: {names_of(left)}")


def names_of(instances: list[Instance]) -> str:
    """Each with its group, where it has one."""
    return ", ".join(
        f"{instance.utility_name} ({instance.group_name})"
        if instance.group_name
        else str(instance.utility_name)
        for instance in instances
    )


def say(text: str) -> None:
    print(text, flush=True)


def fail(text: str) -> int:
    print(f"velmora_studio: {text}", file=sys.stderr)
    return 1


if __name__ == "__main__":
    sys.exit(main())
