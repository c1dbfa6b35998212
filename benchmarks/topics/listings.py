"""Sweep, reload, lists and views of 100 instances, beside the same in Python with psutil."""

import contextlib
import os
import time
from collections.abc import Iterator
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

SETTLING = 2.5  # seconds until files that have just been written count as unchanged

OF_PROCESSES = ("server_id", "port", "pid", "local_url", "create_time", "studio_url", "lang")

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


def lists(manager: Any, plain: Any, whose: str, times: float) -> list[Row]:
    """The flat list and the grouped one, with icons and without."""
    rows = []
    for icons in ("", ", no icons"):
        with catalogue(manager, plain, with_icons=not icons):
            for form, name in (("", "list_utility_servers"),
                               (", grouped", "list_all_running_utilities_grouped")):
                work, plain_work = getattr(manager, name), getattr(plain, name)
                assert same_but_processes(work(), plain_work())
                what = f"List of {COUNT} {whose} instances{form}{icons}"
                system, beside = measuring.alternate(work, plain_work, rounds=ROUNDS, calls=CALLS)
                rows.append(compare(what, system, beside, times))
    return rows


@contextlib.contextmanager
def catalogue(manager: Any, plain: Any, with_icons: bool) -> Iterator[None]:
    """With icons it is as it was."""
    if with_icons:
        yield
        return
    registrations, registry = client.plugin.registrations, plain.registry
    client.plugin.registrations = [{**each, "icon_path": ""} for each in registrations]
    manager.refresh_utility_registry()
    plain.registry = {info["utility_name"]: info for info in manager._get_all_utilities()}
    yield
    client.plugin.registrations, plain.registry = registrations, registry
    manager.refresh_utility_registry()
    manager._get_all_utilities()


def same_but_processes(*results: Any) -> bool:
    """True for lists that agree in all but what tells the processes of the two sides apart."""
    def told(entry: dict[str, Any]) -> dict[str, Any]:
        return {key: value for key, value in entry.items() if key not in OF_PROCESSES}

    def flat(result: Any) -> list[dict[str, Any]]:
        if isinstance(result, list):
            return result
        return result["without_group"] + sum(result["by_group"].values(), [])

    first, second = (sorted(map(told, flat(result)), key=str) for result in results)
    return first == second and len(first) == COUNT


def bare(manager: Any, plain: Any) -> list[Row]:
    """Own instances without icons beside bare C that makes the same dicts of what it holds."""
    import bare_c

    rows = []
    with catalogue(manager, plain, with_icons=False):
        for form, work in (("", manager.list_utility_servers),
                           (", grouped", manager.list_all_running_utilities_grouped)):
            result = work()
            entries = result if isinstance(result, list) else result["without_group"]
            bare_c.hold(entries)
            assert bare_c.make() == entries
            system, beside = measuring.alternate(work, bare_c.make, rounds=ROUNDS, calls=CALLS)
            rows.append(Row(f"List of {COUNT} own instances{form}, no icons", milliseconds(system),
                            f"{milliseconds(beside)} in bare C", system / beside, 3, at_most=True))
    return rows


def own(manager: Any, plain: Any) -> list[Row]:
    with ThreadPoolExecutor(COUNT) as starts, \
         instances.own_instances(manager, starts, COUNT), \
         instances.sleeping_processes(COUNT) as processes:
        for number, process in enumerate(processes):
            state = instances.record(number, process.pid)
            plain.servers[state["server_id"]] = plain.reloaded(state) | {"process": process}
        rows = [*lists(manager, plain, "own", 8), *bare(manager, plain)]
        [view_seconds] = measuring.alternate(manager.get_utilities_without_group_name, rounds=5)
        rows.append(within(f"View of {COUNT} utilities, own instances", view_seconds, 2))
    plain.servers.clear()
    return rows


def sweep(manager: Any) -> list[Row]:
    """A look-up that finds nothing is a sweep, here over an empty state directory."""
    find = manager._find_running_utility
    [idle] = measuring.alternate(lambda: find("absent"), rounds=ROUNDS, calls=CALLS)
    with measuring.busy_interpreter():
        [busy] = measuring.alternate(lambda: find("absent"), rounds=ROUNDS, part=0.5)
    return [within(f"Sweep of {COUNT} ids", idle, 0.05),
            added_busily("Sweep", idle, busy)]


def reload(manager: Any, plain: Any) -> list[Row]:
    """Beside Python, and beside nothing but a look at each file in bare C."""
    import bare_c

    work = manager._load_persisted_states
    paths = [entry.path for entry in os.scandir(manager.state_dir) if entry.name[0] != "."]
    assert bare_c.look_at(paths) == COUNT
    idle, beside, bare_look = measuring.alternate(
        work, plain.load_persisted_states, lambda: bare_c.look_at(paths),
        rounds=ROUNDS, calls=CALLS)
    with measuring.busy_interpreter():
        [busy] = measuring.alternate(work, rounds=ROUNDS, part=0.5)
    what = f"Reload of {COUNT} state files with probe"
    return [compare(what, idle, beside, 20),
            Row(what, milliseconds(idle), f"{milliseconds(bare_look)} for a look at each in bare C",
                idle / bare_look, 1.5, at_most=True),
            added_busily("Reload", idle, busy)]


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
        within(f"{what}, adopted instances", idle, 8),
        compare(f"{what}, busy interpreter", busy, COUNT * lookup, 40),
        Row(f"{what}: services asked again", ", ".join(client.calls), "", asked_again, 0, "times",
            at_most=True),
    ]


def adopted(manager: Any, plain: Any) -> list[Row]:
    with instances.sleeping_processes(COUNT) as processes:
        records = [instances.record(number, each.pid) for number, each in enumerate(processes)]
        instances.write_state_files(client.directory / "config" / "utility_states", records)
        time.sleep(SETTLING)
        assert manager.list_utility_servers() == plain.list_utility_servers()
        rows = [*reload(manager, plain), *lists(manager, plain, "adopted", 25)]
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
