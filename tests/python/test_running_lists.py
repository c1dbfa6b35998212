"""The dicts of a list are copies of those of the list before, where nothing has changed."""

from conftest import PORTABLE


def test_lists_follow_every_change_and_share_nothing(run_client):
    run_client("""
    base = fake_client.DATA / "plugins" / "p"
    icons = {name: base / name / "i.svg" for name in ("", "icons", "static/icons")}
    for icon in icons.values(): icon.parent.mkdir(parents=True, exist_ok=True)
    odd = utility("odd", default_route=["x"], description={1, 2})
    plugin = Plugin("p", [utility("u", icon_path="i.svg", title="old"), odd])
    plugins.append(plugin)
    from utility_manager import utility_manager as manager

    def shown(key, name="u"):
        [flat] = [each for each in manager.list_utility_servers() if each["utility_name"] == name]
        grouped = manager.list_all_running_utilities_grouped()
        [other] = [each for each in grouped["without_group"] if each["utility_name"] == name]
        assert flat.get(key, other[key]) == other[key]
        values = flat.get(key), other[key]
        flat.clear(), other.clear(), grouped["without_group"].clear()  # ours to change
        return values

    def icon_is(content):
        encoded = content and f"data:image/svg+xml;base64,{content}"
        for _ in range(2): assert shown("icon") == (encoded, encoded), shown("icon")

    def write(name, content, seconds):
        icons[name].write_text(content)
        os.utime(icons[name], (seconds, seconds))

    start = manager.start_utility_server
    first, second = start("", "odd", {}), start("", "u", {})

    # An icon that comes, changes, is overtaken by one in a place that goes first, and goes.
    icon_is(None)
    write("static/icons", "1", 1000)
    icon_is("MQ==")
    write("static/icons", "2", 1001)
    icon_is("Mg==")
    write("icons", "3", 1001)
    icon_is("Mw==")
    write("", "4", 1001)
    icon_is("NA==")
    icons[""].unlink()
    icon_is("Mw==")
    for icon in icons.values(): icon.unlink(missing_ok=True)
    icons[""].symlink_to("later.svg")
    icon_is(None)
    (base / "later.svg").write_text("5")
    icon_is("NQ==")
    icons[""].unlink()
    icon_is(None)

    # Another registration, another address, and values that can be changed or change by themselves.
    flat, grouped = shown("default_route", "odd")
    assert flat == grouped == ["x"]
    flat.clear(), grouped.clear()
    assert shown("default_route", "odd") == (["x"], ["x"])
    assert shown("description", "odd")[1] is odd["description"]
    plugin.registrations = [utility("u", title="new", default_route="/r"), odd]
    assert shown("title")[1] == "old"
    manager.refresh_utility_registry()
    assert shown("title")[1] == "new"
    assert shown("full_url")[1] == "http://127.0.0.1:7000/utility/u/r"
    services["get_gui_addr"] = lambda: {"server_addr": "host", "port": 1}
    assert shown("url") == ("http://host:1/utility/u",) * 2

    # One that went and one that came.
    manager.stop_utility_server(second["server_id"])
    third = start("", "u", {})
    for _ in range(2):
        assert shown("server_id") == (third["server_id"],) * 2
        assert [each["pid"] for each in manager.list_utility_servers()] == [
            first["pid"], third["pid"]]
    manager.stop_all_utility_servers()
    """)


def test_lists_keep_nothing_alive(run_client):
    run_client("""
    import gc, weakref
    class Carried: pass
    own = utility("u", title="t", extra=Carried(), persistent=False)
    gone = weakref.ref(own["extra"])
    plugin = Plugin("p", [own])
    plugins.append(plugin)
    from utility_manager import utility_manager as manager
    manager.start_utility_server("", "u", {})
    for _ in range(2):
        assert manager.list_utility_servers() and manager.list_all_running_utilities_grouped()
    plugin.registrations = []
    manager.refresh_utility_registry()
    del own
    gc.collect()
    assert gone() is None
    def descriptors(): return len(os.listdir("/proc/self/fd"))
    before = descriptors()
    manager.stop_all_utility_servers()
    deadline = time.monotonic() + 10
    expected = before - int(sys.argv[1])
    while descriptors() > expected and time.monotonic() < deadline: time.sleep(0.01)
    assert descriptors() == expected
    """, 2 if PORTABLE else 3)  # two streams, and the process where it has a descriptor
