"""How processes have ended."""

import contextlib
import os
import signal


def exit_of(descriptor: int) -> dict[str, str | int]:
    """How a child has ended: `signal` by name, or `exit_code`. Empty where that isn't known."""
    with contextlib.suppress(OSError):  # no child, or collected by now
        flags = os.WEXITED | os.WNOHANG | os.WNOWAIT
        result = os.waitid(os.P_PIDFD, descriptor, flags)
        if result:
            killed = result.si_code != os.CLD_EXITED
            return exit_from_code(-result.si_status if killed else result.si_status)
    return {}


def exit_from_code(code: int | None) -> dict[str, str | int]:
    """The same from a return code: negative is a signal's number."""
    if code is None:
        return {}
    if code >= 0:
        return {"exit_code": code}
    try:
        return {"signal": signal.Signals(-code).name}
    except ValueError:
        return {"signal": f"SIG{-code}"}
