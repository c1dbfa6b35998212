"""What the module shows, and how it is loaded."""

import ast
import json

from conftest import BUILD, VARIANT

LOOK = """
import inspect
import utility_manager as module

def shown(owner):
    result = {}
    for name, thing in vars(owner).items():
        if not name.startswith("__") or name in ("__init__", "__eq__", "__version__"):
            static = isinstance(thing, staticmethod)
            function = thing.__func__ if static else thing
            is_function = inspect.isroutine(function)
            result[name] = [function.__doc__.splitlines()[0] if is_function else "", static]
    return result

print(json.dumps({
    "": shown(module),
    "UtilityRegistration": shown(module.UtilityRegistration),
    "UtilityServerManager": shown(module.UtilityServerManager),
}))
"""


def arguments_of(function: ast.FunctionDef) -> list[tuple[str, str]]:
    """Names and defaults."""
    names = [argument.arg for argument in function.args.args]
    defaults = [ast.unparse(default) for default in function.args.defaults]
    return list(zip(names, [""] * (len(names) - len(defaults)) + defaults))


def described(text: str, static: bool) -> tuple[list[tuple[str, str]] | None, bool]:
    if not text:
        return None, static
    function = ast.parse(f"def {text}: ...").body[0]
    return arguments_of(function), static


def stubbed(body: list[ast.stmt]) -> dict[str, tuple[list[tuple[str, str]] | None, bool]]:
    result = {}
    for node in body:
        if isinstance(node, ast.AnnAssign) and not ast.unparse(node.annotation).endswith("Alias"):
            result[node.target.id] = None, False
        if isinstance(node, ast.FunctionDef):
            marks = [ast.unparse(mark) for mark in node.decorator_list]
            is_property = "property" in marks
            result[node.name] = None if is_property else arguments_of(node), "staticmethod" in marks
    return result


def test_module_is_what_its_stub_says(run_client):
    tree = ast.parse((BUILD / "utility_manager.pyi").read_text())
    classes = {node.name: node for node in tree.body if isinstance(node, ast.ClassDef)}
    found = json.loads(run_client(LOOK))
    for owner, members in found.items():
        stub = stubbed(classes[owner].body if owner else tree.body)
        if not owner:
            stub |= {name: (None, False) for name in found if name}
        real = {name: described(*look) for name, look in members.items()}
        if "__eq__" in real:  # its other operand has no name here
            real["__eq__"] = stub["__eq__"]
        assert real == stub, owner


def test_inspection_layer_is_the_one_of_the_build(run_client):
    shown = {"native": "<native process inspection>", "psutil": "<module 'psutil'", "none": "None"}
    script = """
    if sys.argv[1] == "hidden": sys.modules["psutil"] = None
    import utility_manager as module
    print(module.psutil)
    if module.psutil:
        assert module.psutil.pid_exists(os.getpid()) and not module.psutil.pid_exists(2**30)
    assert module.utility_manager._is_process_alive(os.getpid())
    """
    assert run_client(script, "shown").startswith(shown[VARIANT])
    hidden = run_client(script, "hidden")  # a library that can't be loaded leaves the layer absent
    assert hidden.startswith(shown["native" if VARIANT == "native" else "none"])


def test_failed_load_passes_through_and_leaves_nothing(run_client):
    run_client(
        """
        import importlib
        class Broken(Exception): pass
        load = lambda: importlib.import_module("utility_manager")
        device = sys.modules["velmora_client.com.device"]

        service = device.__dict__.pop("get_group_detail")
        missing = fails_with(ImportError, "'get_group_detail' from", load)
        assert missing.name == "velmora_client.com.device"
        sys.modules["velmora_client.com.device"] = None
        fails_with(ModuleNotFoundError, "velmora_client.com.device", load)
        sys.modules["velmora_client.com.device"] = device
        device.get_group_detail = service

        broken, config = Broken("no place"), services["get_default_config_dir"]
        def fail(): raise broken
        services["get_default_config_dir"] = fail
        assert fails_with(Broken, "no place", load) is broken
        services["get_default_config_dir"] = lambda: "/proc/nowhere"
        assert fails_with(FileNotFoundError, "/proc/nowhere", load).filename == "/proc/nowhere"
        services["get_default_config_dir"] = lambda: None
        fails_with(TypeError, "NoneType", load)
        plugins.append(Plugin("leaves", sys.exit))
        services["get_default_config_dir"] = config
        fails_with(SystemExit, "", load)
        assert "utility_manager" not in sys.modules

        plugins.clear()
        module = load()
        del sys.modules["utility_manager"]
        assert load().utility_manager is module.utility_manager
        """
    )


def test_plugin_may_import_the_module_while_it_is_loaded(run_client):
    run_client(
        """
        seen = []
        def register():
            import utility_manager as module
            seen.append(hasattr(module, "utility_manager"))
            return [utility("demo")]
        plugins.append(Plugin("p", register))
        from utility_manager import utility_manager as manager
        assert seen == [False] and list(manager.utility_registry) == ["demo"]
        """
    )


def test_import_in_a_subinterpreter_is_refused(run_client):
    run_client(
        """
        try:
            import _interpreters as interpreters  # since Python 3.13
            other = interpreters.create("legacy")
        except ImportError:
            import _xxsubinterpreters as interpreters
            other = interpreters.create()
        reader, writer = os.pipe()
        interpreters.run_string(other, f'''if True:
            import os
            try: import utility_manager
            except ImportError as error: os.write({writer}, str(error).encode())
        ''')
        os.close(writer)
        assert b"in a subinterpreter" in os.read(reader, 1000)
        interpreters.destroy(other)
        from utility_manager import utility_manager as manager
        assert manager.list_utility_servers() == []
        """
    )
