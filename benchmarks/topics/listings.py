"""Sweep, reload, lists and views of 100 instances, beside the same in Python with psutil."""

from concurrent.futures import ThreadPoolExecutor
from typing import Any

import client
import instances
import measuring
import places
from rows import Row, milliseconds

COUNT = 100
ROUNDS = 15
CALLS = 5
BUSY_ROUNDS = 5

# With a busy interpreter a whole plain view would take minutes: these look-ups stand for it.
BUSY_LOOKUPS = 3


def new_plain_manager(state_dir: str, registry: dict[str, dict[str, Any]]) -> Any:
    from plain.manager import PlainManager

    return PlainManager(state_dir, registry)


def compare(what: str, system: float, plain: float, bar: float) -> Row:
    return Row(what, milliseconds(system), milliseconds(plain), plain / system, bar)


def within(what: str, seconds: float, bar_ms: float) -> Row:
    return Row(what, milliseconds(seconds), "", seconds * 1000, bar_ms, "ms", at_most=True)


def added_busily(what: str, idle: float, busy: float) -> Row:
    return Row(f"{what}: what a busy interpreter adds",
               f"{milliseconds(busy)} busy, {milliseconds(idle)} idle", "",
               (busy - idle) * 1000, measuring.hand_over_limit() * 1000, "ms", at_most=True)


def compare_lists(manager: Any, plain: Any) -> list[float]:
    return measuring.alternate(
        manager.list_utility_servers, plain.list_utility_servers, rounds=ROUNDS, calls=CALLS)


def own(manager: Any, plain: Any) -> list[Row]:
    with ThreadPoolExecutor(COUNT) as starts, \
         instances.own_instances(manager, starts, COUNT), \
         instances.sleeping_processes(COUNT) as processes:
        for number, process in enumerate(processes):
            state = instances.record(number, process.pid)
            plain.servers[state["server_id"]] = plain.reloaded(state) | {"process": process}
        assert len(manager.list_utility_servers()) == len(plain.list_utility_servers()) == COUNT
        system, beside = compare_lists(manager, plain)
    plain.servers.clear()
    return [compare(f"List of {COUNT} own instances", system, beside, 5)]


def sweep(manager: Any) -> list[Row]:
    """A look-up that finds nothing is a sweep, here over an empty state directory."""
    find = manager._find_running_utility
    [idle] = measuring.alternate(lambda: find("absent"), rounds=ROUNDS, calls=CALLS)
    with measuring.busy_interpreter():
        [busy] = measuring.alternate(lambda: find("absent"), rounds=ROUNDS, part=0.5)
    return [within(f"Sweep of {COUNT} ids", idle, 0.1),
            added_busily("Sweep", idle, busy)]


def reload(manager: Any, plain: Any) -> list[Row]:
    work = manager._load_persisted_states
    idle, beside = measuring.alternate(
        work, plain.load_persisted_states, rounds=ROUNDS, calls=CALLS)
    with measuring.busy_interpreter():
        [busy] = measuring.alternate(work, rounds=ROUNDS, part=0.5)
    row = within(f"Reload of {COUNT} state files with probe", idle, 1)
    row.beside = f"{milliseconds(beside)} in Python"
    return [row, added_busily("Reload", idle, busy)]


def view(manager: Any, plain: Any) -> list[Row]:
    work = manager.get_utilities_without_group_name
    assert work() == plain.view()
    client.calls.clear()
    work()
    asked_again = sum(count - 1 for count in client.calls.values())
    idle, beside = measuring.alternate(work, plain.view, rounds=5)
    with measuring.busy_interpreter():
        [busy] = measuring.alternate(work, rounds=BUSY_ROUNDS, part=0.5)
        [lookup] = measuring.alternate(
            lambda: plain.find_running("absent"), rounds=BUSY_LOOKUPS, part=0.5)
    what = f"View of {COUNT} utilities"
    return [
        compare(what, idle, beside, 12),
        compare(f"{what}, busy interpreter", busy, COUNT * lookup, 40),
        Row(f"{what}: services asked again", ", ".join(client.calls), "", asked_again, 0, "times",
            at_most=True),
    ]


def adopted(manager: Any, plain: Any) -> list[Row]:
    with instances.sleeping_processes(COUNT) as processes:
        records = [instances.record(number, each.pid) for number, each in enumerate(processes)]
        instances.write_state_files(client.directory / "config" / "utility_states", records)
        assert manager.list_utility_servers() == plain.list_utility_servers()
        lists = compare_lists(manager, plain)
        rows = [*reload(manager, plain), compare(f"List of {COUNT} adopted instances", *lists, 10)]
        rows += view(manager, plain)
        # Without its file an instance stays adopted.
        for state in records:
            (client.directory / "config" / "utility_states" / f"{state['server_id']}.json").unlink()
        return [*sweep(manager), *rows]


def measure() -> list[Row]:
    client.install(places.DIRECTORY, utilities=COUNT)
    from utility_manager import utility_manager as manager

    registry = {info["utility_name"]: info for info in manager._get_all_utilities()}
    plain = new_plain_manager(manager.state_dir, registry)
    return [*own(manager, plain), *adopted(manager, plain)]
