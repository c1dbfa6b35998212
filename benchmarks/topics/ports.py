"""The look for a free port behind many taken ones."""

import ctypes
import fcntl
import socket
import struct

import client
import measuring
import places
from rows import Row, milliseconds

TAKEN = 1000
ROUNDS = 15
CLONE_NEWNET = 0x40000000
SIOCSIFFLAGS, IFF_UP = 0x8914, 1


def take_network_of_its_own() -> None:
    """So that no port of anybody else counts, and nobody misses those taken here. Where the system
    refuses, the benchmark runs in the network of all."""
    if ctypes.CDLL(None).unshare(CLONE_NEWNET) == 0:
        with socket.socket() as any_socket:
            fcntl.ioctl(any_socket, SIOCSIFFLAGS, struct.pack("16sh", b"lo", IFF_UP))


def take_ports(count: int) -> list[socket.socket]:
    from plain.processes import PORT_POOL

    taken = [socket.socket() for _ in range(count)]
    for port, each in zip(PORT_POOL, taken):
        each.bind(("127.0.0.1", port))
    return taken


def measure() -> list[Row]:
    client.install(places.DIRECTORY)
    import bare_c
    from plain.processes import PORT_POOL, available_port
    from utility_manager import utility_manager as manager

    def plain() -> int | None:
        return available_port(set())

    def bare() -> int:
        return bare_c.free_port(PORT_POOL.start, PORT_POOL.stop - 1)

    system = manager._get_available_port
    take_network_of_its_own()
    taken = take_ports(TAKEN)
    assert system() == plain() == bare()
    idle, bare_idle, plain_idle = measuring.alternate(system, bare, plain, rounds=ROUNDS)
    with measuring.busy_interpreter():
        [busy] = measuring.alternate(system, rounds=ROUNDS, part=0.5)
        plain_busy = measuring.seconds_of(plain)
    for each in taken:
        each.close()
    return [
        Row(
            f"Free port behind {TAKEN:,}",
            milliseconds(idle),
            f"{milliseconds(bare_idle)} in bare C with one socket",
            idle / bare_idle,
            1.5,
            at_most=True,
        ),
        Row(
            f"Free port behind {TAKEN:,}: what a busy interpreter adds",
            f"{milliseconds(busy)} busy, {milliseconds(idle)} idle",
            f"{milliseconds(plain_busy)} busy, {milliseconds(plain_idle)} idle in Python",
            (busy - idle) * 1000,
            measuring.hand_over_limit() * 1000,
            "ms",
            at_most=True,
        ),
    ]
