"""Runs the Studio's web application. Ctrl-C, or a signal to end, ends it."""

import asyncio
import socket
import sys
from collections.abc import Callable
from typing import Any

from velmora_client.data_directory import data_directory
from velmora_client.utils.local import DEFAULT_GUI_PORT, set_gui_addr
from velmora_utility.output import keep_output_working

from velmora_studio.application import Application
from velmora_studio.forward_server import ForwardServer
from velmora_studio.instances import Instance
from velmora_studio.operations import Operations
from velmora_studio.server import HOST, StudioServer, open_listener
from velmora_studio.token import Token, lasting_token

# The event loop lets go of the interpreter for moments only, so a worker thread that needs it waits
# that long each time.
SWITCH_SECONDS = 0.0005


def run(is_open: bool) -> int:
    """Serves until it is told to end; an open Studio asks for no token. Gives the exit status."""
    keep_output_working()
    try:
        own = open_listener(DEFAULT_GUI_PORT)
        forwarding = open_listener(port_of(own) + 1)
        token = Token(token_text(is_open), port_of(own))
    except OSError as error:
        return fail(str(error))
    set_gui_addr(HOST, port_of(forwarding))  # the manager's addresses are those of utilities
    try:
        # Loading the module makes the manager, which at once adopts what an earlier Studio left.
        from utility_manager import utility_manager
    except ImportError as error:
        return fail(f"the module utility_manager can't be loaded ({error}); `make build` makes it")
    sys.setswitchinterval(SWITCH_SECONDS)
    with asyncio.Runner(loop_factory=event_loop_factory()) as runner:
        runner.run(serve(utility_manager, own, forwarding, token))
    return 0


def token_text(is_open: bool) -> str:
    return "" if is_open else lasting_token(data_directory() / "config" / "access_token")


def event_loop_factory() -> Callable[[], asyncio.AbstractEventLoop] | None:
    """The quicker event loop, where it is installed."""
    try:
        import uvloop
    except ImportError:
        return None
    return uvloop.new_event_loop


async def serve(
    manager: Any, own: socket.socket, forwarding: socket.socket, token: Token
) -> None:
    operations = Operations(manager)
    operations.own_origin = f"http://{HOST}:{port_of(own)}"
    adopted = await operations.running.instances()
    operations.warm_up()

    def tell_started() -> None:
        if adopted:
            say(f"Still running from an earlier Studio: {names_of(adopted)}")
        query = f"?token={token.text}" if token.text else ""
        say(f"The Studio: {operations.own_origin}/{query}")

    application = Application(operations, port_of(own), port_of(forwarding), token)
    server = StudioServer(application, tell_started, operations.note_ending)
    forward_server = ForwardServer(operations, port_of(forwarding), token)
    await forward_server.start(forwarding)
    try:
        await server.serve(sockets=[own])
    finally:
        forward_server.close()
        ended, left = await operations.end()
        set_gui_addr(None)
    say(f"Stopped: {names_of(ended) or 'nothing was left to stop'}")
    if left:
        say(f"Goes on running: {names_of(left)}")


def port_of(listener: socket.socket) -> int:
    return listener.getsockname()[1]


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
