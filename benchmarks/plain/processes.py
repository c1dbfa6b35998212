"""Liveness of processes, and free ports."""

import socket

import psutil

PORT_POOL = range(8890, 10000)


def is_process_alive(pid: int) -> bool:
    try:
        return psutil.pid_exists(pid) and psutil.Process(pid).is_running()
    except psutil.Error:
        return False


def is_port_available(port: int) -> bool:
    with socket.socket(socket.AF_INET, socket.SOCK_STREAM) as probe:
        try:
            probe.bind(("127.0.0.1", port))
        except OSError:
            return False
    return True


def available_port(used_ports: set[int]) -> int | None:
    for port in PORT_POOL:
        if port not in used_ports and is_port_available(port):
            return port
    return None
