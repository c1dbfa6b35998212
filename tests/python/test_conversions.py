"""How values cross the border in both directions, and what is refused there."""


def test_values_survive_both_ways(run_client):
    run_client(
        """
        import collections, enum, math, types
        from utility_manager import UtilityRegistration as Record
        class Level(enum.IntEnum): HIGH = 3
        class Name(str): pass
        ordered = collections.OrderedDict(b=1, a=2)
        ordered.move_to_end("b")
        mapping = types.MappingProxyType({"k": 1})
        same = [None, True, 0, -2**63, 2**63, 2**64 - 1, 1.5, math.inf, "", "\\0ü\U0001f600", [[]]]
        pairs = [(value, value) for value in same] + [
            ((1, (2,)), [1, [2]]), (ordered, {"a": 2, "b": 1}), (mapping, {"k": 1}),
            (Level.HIGH, 3), (Name("n"), "n"), ({}, {}), ({"z": {"y": [{"x": 1}]}, "a": 0},) * 2]
        for given, expected in pairs:
            result = Record.from_dict({"utility_name": "u", "value": given}).to_dict()["value"]
            assert result == expected and type(result) is type(expected), (given, result)
            assert not isinstance(result, dict) or list(result) == list(expected)
            assert Record("u", title=given).title == expected
        assert math.isnan(Record("u", title=math.nan).title)

        deep = lambda levels: [] if levels == 1 else [deep(levels - 1)]
        assert Record("u", title=deep(500)).title == deep(500)
        itself = []
        itself.append(itself)
        from utility_manager import utility_manager as manager
        start = lambda config: manager.start_utility_server("", "demo", config)
        for failure, text, config in [
            (TypeError, "a.b: a value of type 'set'", {"a": {"b": {1}}}),
            (TypeError, "list[1]: a value of type 'object'", {"list": (0, object())}),
            (TypeError, "a: a value of type 'bytes'", {"a": b"text"}),
            (TypeError, "a: the key 1 must be a str", {"a": {1: 0}}),
            (OverflowError, "a: an int must fit in 64 bits", {"a": 2**64}),
            (OverflowError, "a: an int", {"a": -2**63 - 1}),
            (ValueError, "...: nested deeper than 500 levels", {"a": deep(500)}),
            (ValueError, "a[0]: a value that contains itself", {"a": itself}),
            (UnicodeEncodeError, "surrogates not allowed in a.b", {"a": {"b": "\\udcff"}}),
            (UnicodeEncodeError, "surrogates not allowed in a", {"a": {"\\ud800": 1}}),
            (TypeError, "argument 'utility_config' must be dict, not list", [("a", 1)]),
        ]:
            fails_with(failure, text, start, config)
        """
    )


def test_registrations_carry_what_no_value_can_stand_for(run_client):
    run_client(
        """
        import datetime
        from utility_manager import UtilityRegistration as Record, utility_manager as manager
        odd = {"call": print, "when": datetime.date(2026, 1, 2), "set": {1}, "bytes": b"x",
               "large": 2**64, "keys": {"k": {1: 2}}["k"], "text": "\\ud800", "title": object()}
        given = odd | {"utility_name": "u", "deep": [{"k": ({1: 2}, -2**64)}]}
        plugins.append(Plugin("p", [given, utility("v")]))
        manager.refresh_utility_registry()
        record = Record("u", title=odd["title"], extra=dict(odd))
        record.extra["deep"] = given["deep"]
        for shown in [manager._get_utility_info("u"), manager.get_utilities_without_group_name()[0],
                      manager._add_icon_to_utility_info(given), manager.utility_registry["u"],
                      Record.from_dict(given).to_dict(), Record("", extra=given).to_dict(),
                      record.to_dict(), record.to_dict() | {"title": record.title}]:
            assert all(shown[key] is value for key, value in odd.items()), shown
            assert shown["deep"] == [{"k": [{1: 2}, -2**64]}]
            assert shown["deep"][0]["k"][0] is given["deep"][0]["k"][0]
        assert "v" in manager.utility_registry

        class Odd:
            def __bool__(self): raise ArithmeticError("neither")
        made = Record.from_dict({"persistent": {0}, "builtin": set(), "en_title": odd["when"]})
        assert made.persistent and not made.builtin and made.en_title == "2026-01-02"
        assert repr(Record({1}, b"b")).startswith("UtilityRegistration(utility_name={1}, title=b'b'")
        assert Record("u", {1}) == Record("u", {1}) != Record("u", {2})
        assert Record("u", {"a": 1, "b": True}) == Record("u", {"b": 1, "a": 1.0})
        fails_with(ArithmeticError, "neither", Record.from_dict, {"persistent": Odd()})
        fails_with(TypeError, "the key 5 must be a str", Record.from_dict, {5: 1})
        fails_with(TypeError, "the key 5 must be a str", Record("u", extra={5: 1}).to_dict)
        """
    )


def test_what_contains_itself_is_refused_at_once(run_client):
    run_client(
        """
        from utility_manager import UtilityRegistration as Record, utility_manager as manager
        wide = {"utility_name": "u"}
        wide["members"] = [wide] * 1000
        fails_with(ValueError, "members[0]: a value that contains itself", Record.from_dict, wide)
        fails_with(ValueError, "contains itself", Record, "u", wide)
        fails_with(ValueError, "contains itself", manager.start_utility_server, "", "u", wide)
        plugins.append(Plugin("p", [utility("a"), wide, utility("b")]))
        assert list(manager._collect_registry_from_plugins()) == ["a"]
        services["get_org_list"] = lambda: {"organizations": [{"user_role": "ORG_ADMIN"}, wide]}
        assert manager._get_user_permissions()["organizations"][1] == {
            "utility_name": "u", "members": [None] * 1000}
        shared = []
        twice = {"k": [shared, {"again": shared}]}
        assert Record("u", twice).title == twice
        """
    )


def test_arguments_are_strict(run_client):
    run_client(
        """
        from decimal import Decimal
        import pathlib
        from utility_manager import UtilityRegistration as Record, _build_mapped_url
        from utility_manager import utility_manager as manager
        refused = lambda argument, wanted, wrong, work, *given: fails_with(TypeError,
            f"(): argument '{argument}' must be {wanted}, not {type(wrong).__name__}", work, *given)
        for wrong in (None, b"text", 5, ["text"]):
            refused("group_name", "str", wrong, manager.start_utility_server, wrong, "demo", {})
            refused("server_id", "str", wrong, manager.stop_utility_server, wrong)
            refused("group_name", "str", wrong, manager.get_create_exp_utilities, wrong)
            refused("data", "dict", wrong, Record.from_dict, wrong)
        fails_with(UnicodeEncodeError, "surrogates", manager.stop_utility_server, "\\udcff")
        refused("require_group_name", "bool", None, _build_mapped_url, "demo", None, None)
        refused("port", "int", 8890.0, manager._is_port_available, 8890.0)
        assert not manager._is_port_available(70000) and not manager._is_port_available(2**70)

        assert all(manager._is_process_alive(kind(os.getpid())) for kind in (int, float, Decimal))
        for pid in (False, 0, -1, 2**22 + 1, 2**31, 2**32 + os.getpid(), 2**70, -2**70, 1e300):
            assert not manager._is_process_alive(pid) and manager._kill_process_tree(pid), pid
            assert manager._stop_utility_process(None, pid)
        for wrong in (None, str(os.getpid()), [1], 1j):
            fails_with(TypeError, "", manager._is_process_alive, wrong)
        fails_with(ValueError, "not a number", manager._is_process_alive, float("nan"))

        path = fake_client.DATA / "caf\\udce9"
        path.mkdir()
        (path / "run.py").touch()
        for base in (path, str(path)):
            found = manager._resolve_script_path_at_registration(pathlib.Path("run.py"), base)
            assert found == str(path / "run.py")
        icon = os.fsencode(path)
        refused("icon_path", "str | os.PathLike", icon, manager._resolve_icon_path, icon, None)
        arguments = manager._build_process_args(path, "id", "ü", 1, "", False, {})
        assert arguments[3] == str(path) and arguments[7] == "ü" and arguments[-1] == "{}"
        record = Record("u", script_path=path / "run.py")
        assert record.script_path == Record.from_dict(record.to_dict()).script_path == found
        plugins.append(Plugin("p", {"utility_name": "gone", "script_path": "a\\udce9"}))
        fails_with(RuntimeError, "not found: a\\udce9", manager._get_utility_script_path, "gone")
        """
    )


def test_record_is_a_plain_value(run_client):
    run_client(
        """
        from utility_manager import UtilityRegistration as Record
        record = Record("u", "Title", persistent=True)
        assert record == Record("u", title="Title", persistent=True) and record != Record("u")
        assert record != "u" and Record.__hash__ is None
        assert repr(record).startswith("UtilityRegistration(utility_name='u', title='Title', ")
        assert repr(record).endswith("display_location='default', extra={})")
        record.extra["mark"] = [1]
        record.extra["mark"].append((2,))
        record.title, record.access_level = None, " sys_admin "
        assert list(record.to_dict())[-2:] == ["display_location", "mark"]
        assert record.to_dict()["mark"] == [1, [2]] and record.to_dict()["title"] is None
        assert record.access_level == " sys_admin " and record != Record("u", None, persistent=True)
        shared = {}
        assert Record("u", extra=shared).extra is shared
        assert Record("u").extra is not Record("u").extra
        for wrong in ([], "text"):
            fails_with(TypeError, "extra must be a mapping", setattr, record, "extra", wrong)
        fails_with(TypeError, "access_level must be", Record.from_dict, {"access_level": None})
        assert Record._normalize_access_level(" org_admin") == "ORG_ADMIN"
        assert Record._normalize_display_location(True) == "default"
        """
    )


def test_records_are_compared_copied_and_made_by_new_alone(run_client):
    run_client(
        """
        import copy, gc, pickle, weakref
        from utility_manager import UtilityRegistration as Record, UtilityServerManager as Manager
        class Special(Record): pass
        extra = {"b": [1], "a": {"y": 1, "x": 2}}
        record = Record("u", "Title", script_path="a\\udce9", builtin=True, extra=extra)
        assert record == Record("u", "Title", script_path="a\\udce9", builtin=True,
                                extra={"a": {"x": 2, "y": 1}, "b": [1]})
        assert record != Record("u", "Title", script_path="a\\udce9", builtin=True, extra={"b": [1]})
        special = Special("u", title={1}, extra=extra)
        special.mark = [2]
        for one in (record, special):
            deep, pickled, shallow = copy.deepcopy(one), pickle.loads(pickle.dumps(one)), copy.copy(one)
            for other in (deep, pickled, shallow):
                assert other == one and type(other) is type(one) and other is not one
                assert list(other.to_dict().items()) == list(one.to_dict().items())
                assert getattr(other, "mark", None) == getattr(one, "mark", None)
            assert shallow.extra is extra and deep.extra["b"] is not extra["b"]

        for bare in (Record.__new__(Record), Special.__new__(Special)):
            for work in (bare.to_dict, bare.__repr__, lambda: bare == record, lambda: record == bare,
                         lambda: bare.title, lambda: setattr(bare, "title", ""), lambda: bare.extra,
                         lambda: copy.copy(bare)):
                fails_with(TypeError, "was never initialised", work)
            bare.__init__("late")
            assert bare.utility_name == "late"
        bare = Manager.__new__(Manager)
        fails_with(TypeError, "was never initialised", bare.list_utility_servers)
        fails_with(TypeError, "was never initialised", lambda: bare.servers)
        fails_with(TypeError, "must be", Record.to_dict, bare)
        fails_with(TypeError, "must be", Manager.__init__, record)

        circle = Record("u", extra={})
        circle.extra["itself"] = circle
        gone = weakref.ref(circle)
        del circle
        gc.collect()
        assert gone() is None
        """
    )


def test_instances_and_icons_as_dicts(run_client):
    run_client(
        """
        from utility_manager import utility_manager as manager
        config = {"a": 1}
        child = subprocess.Popen(["sleep", "600"])
        make = lambda *more: manager._create_server_info("id", "u", 1, child, config, "g", *more)
        info = make(True, "zh", "")
        assert list(info) == ["server_id", "utility_name", "port", "pid", "process", "config",
                              "create_time", "lang", "group_name"]
        assert info["process"] is child and info["config"] is config and info["pid"] == child.pid
        assert "group_name" not in make(False, None) and "lang" not in make(False, None)
        fails_with(TypeError, "process", lambda: manager._create_server_info(
            "id", "u", 1, None, config, "g", True, None))
        manager._persist_server_state(info | {"stderr_buffer": ["x"]}, True)
        with open(manager._state_file_path("id")) as file:
            assert json.load(file)["group_name"] == "g"
        assert manager._load_persisted_states() is None and manager.servers["id"]["process"] is None
        assert "stderr_buffer" not in manager.servers["id"] and manager.used_ports == {1}
        fails_with(KeyError, "server_id", manager._persist_server_state, {}, True)
        for lacking in [{}, {"port": 0, "pid": 0, "group_name": "ü"}, {"utility_name": None}]:
            manager._persist_server_state({"server_id": "less", "process": child} | lacking, True)
            members = dict.fromkeys(["server_id", "utility_name", "port", "pid", "config",
                                     "create_time", "lang"]) | {"server_id": "less"}
            members |= {"require_group_name": True} | lacking
            with open(manager._state_file_path("less")) as file:
                assert file.read() == json.dumps(members, ensure_ascii=False)
        assert manager._stop_utility_process(child, 0) and child.returncode == -signal.SIGTERM
        assert manager.list_utility_servers() == [] and manager.used_ports == set()

        icon = fake_client.DATA / "i\\udce9.svg"
        icon.write_text("<svg/>")
        record = {"utility_name": "u", "icon_path": str(icon), "plugin_name": "p"}
        key = f"_icon_cache_{icon}"
        uri = manager._load_icon_as_base64(icon, record)
        assert uri.startswith("data:image/svg+xml;base64,")
        assert record[key] == {"data": uri, "mtime": icon.stat().st_mtime}
        record[key]["data"] = "cached"
        copy = manager._add_icon_to_utility_info(record)
        assert copy == {"utility_name": "u", "plugin_name": "p", "icon": "cached"}
        for bad in (5, {}, {"data": uri}, {"data": uri, "mtime": 0.0}, {"data": 1, "mtime": 2.0}):
            record[key] = bad
            assert manager._load_icon_as_base64(icon, record) == uri == record[key]["data"]
        assert manager._load_icon_as_base64(None, {}) is None

        plugins.append(Plugin("p", record := utility("own", icon_path=str(icon))))
        manager.refresh_utility_registry()
        assert key not in manager._get_utility_info("own")
        manager.start_utility_server("", "own", {})
        views = manager.list_utility_servers() + manager.get_utilities_without_group_name()
        entry = {"data": views[0]["icon"], "mtime": icon.stat().st_mtime}
        for shown in [manager._get_utility_info("own"), manager.utility_registry["own"],
                      *manager._get_all_utilities()]:
            assert list(shown)[-1] == key and shown[key] == entry
        assert all(key not in view and view["icon"] == entry["data"] for view in views)
        shown[key]["data"] = "the caller's own"
        assert manager._add_icon_to_utility_info(shown)["icon"] == "the caller's own"
        assert manager._get_utility_info("own")[key] == entry
        manager.stop_all_utility_servers()
        """
    )


def test_answers_of_services_are_read_leniently(run_client):
    run_client(
        """
        import pathlib
        from utility_manager import _build_mapped_url, utility_manager as manager
        entry = {"organization_id": 7, "user_role": "ORG_ADMIN", "since": object(), 5: 1}
        answer = {"organizations": [entry, {1}], "x": 2**99, "y": "\\udcff"}
        services["get_org_list"] = lambda: answer
        assert manager._get_user_permissions() == {"is_admin": False, "is_org_admin": True,
            "organizations": [{"organization_id": 7, "user_role": "ORG_ADMIN"}, None]}
        assert manager._check_org_admin_for_group("g")
        services["get_group_detail"] = lambda group: {"organization_id": 7.0 / (group == "ü")}
        assert manager._check_org_admin_for_group("ü")
        assert not manager._check_org_admin_for_group("u")
        for organizations in (object(), (entry,), {0: entry}, None):
            services["get_org_list"] = lambda: {"organizations": organizations}
            assert manager._get_user_permissions() == {
                "is_admin": False, "is_org_admin": False, "organizations": []}
            assert not manager._check_org_admin_for_group("ü")
        services["get_org_list"] = object
        assert manager._get_user_permissions()["organizations"] == []

        for answer in (None, {}, (), 0, set()):
            services["get_gui_addr"] = lambda: answer
            url = _build_mapped_url("u", "g", True)
            assert url == "http://127.0.0.1:6886/group_utility/g/u"
        for answer, address in [
            ({"server_addr": "h", "port": 80, "x": object()}, "h:80"), ({"port": 7.5}, "127.0.0.1:7.5"),
            ({"server_addr": "h", "port": "81"}, "h:81"), ({"x": 1}, "127.0.0.1:6886"),
        ]:
            assert _build_mapped_url("u", None, False) == f"http://{address}/utility/u"
        for wrong in (None, True, [], {}, object(), b"h", pathlib.Path("h"), 2**70, "\\udcff"):
            for key in ("server_addr", "port"):
                answer = {"server_addr": "h", "port": 80, key: wrong}
                fails_with(TypeError, f"a text or a number as {key}", _build_mapped_url, "u", "", False)
        answer = object()
        fails_with(TypeError, "must give a mapping", _build_mapped_url, "u", "", False)
        services["get_plugin_dir"] = lambda: fake_client.DATA
        (fake_client.DATA / "plugin").mkdir()
        base = manager._get_plugin_base_path("plugin", False)
        assert base == str(fake_client.DATA / "plugin")
        assert manager._get_plugin_base_path("", True) == str(fake_client.DATA / "built_in")
        del sys.modules["velmora_client.utils.local"].get_plugin_dir
        fails_with(ImportError, "get_plugin_dir", manager._get_plugin_base_path, "plugin", False)

        main = fake_client.DATA / "included" / "main.py"
        main.parent.mkdir()
        main.write_text("__VELMORA_PLUGIN_NAME__ = 'shown'")
        includes = fake_client.DATA / "config" / "plugin_includes.txt"
        includes.write_text(f"{main.parent}/\\n")
        for _ in range(2):
            assert manager._get_plugin_path_from_includes("shown") == str(main.parent)
        assert manager._get_plugin_path_from_includes("hidden") is None
        assert sys.path.count(str(fake_client.DATA)) == 1 and sys.path[0] == str(fake_client.DATA)
        sys._base_executable = 5
        assert manager._build_process_args("s", "i", "u", 1, "", False, {})[0] == sys.executable
        """
    )


def test_what_plugins_may_give(run_client):
    run_client(
        """
        from types import MappingProxyType as Mapping, SimpleNamespace
        from utility_manager import utility_manager as manager
        names = lambda: list(manager._collect_registry_from_plugins())
        class Items(list): pass
        u = lambda name: {"utility_name": name}
        for given, expected in [
            (None, []), ([], []), ({}, []), (0, []), (u("a"), ["a"]), (Mapping(u("a")), ["a"]),
            (Items([u("a"), 5, u(""), u("b")]), ["a", "b"]), ((u("a"), u("b")), []),
            ([u("a"), u("b") | {"x": {1}}, u("c")], ["a", "b", "c"]), ([u("a"), {5: 1}], ["a"]),
            ([u(7)], [7]), ([u([])], []),
        ]:
            plugins[:] = [Plugin("p", given)]
            assert names() == expected, given

        hook = {"utility_server_register": lambda: u("a")}
        for attributes, expected in [
            ({"plugin_name": "p", "name": 5}, "p"), ({"plugin_name": "", "name": "n"}, "n"),
            ({}, "unknown"), ({"plugin_name": 5}, None), ({"name": None}, None),
        ]:
            plugins[:] = [SimpleNamespace(**attributes, **hook)]
            found = manager._get_utility_info_from_plugins("a")
            assert (found and found["plugin_name"]) == expected, attributes

        asked = []
        def walk(hook):
            for name in ("first", "second", "third"):
                asked.append(name)
                yield Plugin(name, {"utility_name": "a", "title": name})
                if name == "second": raise OSError("the walk fails")
        services["get_plugins_by_hook"] = walk
        assert manager._get_utility_info("a", locked=True)["title"] == "first"
        assert asked == ["first"] and manager.utility_registry["a"]["title"] == "first"
        assert manager._collect_registry_from_plugins()["a"]["title"] == "second"
        """
    )
