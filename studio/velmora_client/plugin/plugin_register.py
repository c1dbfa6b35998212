"""The plugin register: finds the plugins, loads them and hands out those with a given hook.

A plugin is a directory with a `main.py`, which holds the plugin's name and a function per hook:

    __VELMORA_PLUGIN_NAME__ = "unit_converter"

    def utility_server_register():
        return [{"utility_name": "unit_converter", "script_path": "unit_converter.py"}]

Plugins come from three places, in this order, which is also the order of the register:

1. the package `velmora_client.plugin.built_in`; names there, and nowhere else, begin with
   "builtin_"
2. the directories listed in `plugin_includes.txt` in the configuration directory, one a line
3. the plugin directory; there a plugin's directory has the plugin's name

Of two plugins with one name the first counts. A plugin that can't be loaded is left out, and
standard error says why.
"""

import importlib
import os
import sys
import threading
from importlib.machinery import ModuleSpec, SourceFileLoader
from importlib.util import module_from_spec, spec_from_file_location
from pathlib import Path
from types import CodeType, ModuleType
from typing import Any

from velmora_client.data_directory import STUDIO_DIRECTORY
from velmora_client.plugin import built_in
from velmora_client.utils import local

BUILTIN_PREFIX = "builtin_"


class Plugin:
    """One loaded plugin."""

    def __init__(self, plugin_name: str, directory: Path, module: ModuleType) -> None:
        self.plugin_name = plugin_name
        self.directory = directory
        self._module = module
        self.failure = ""  # of its hook, when it was last called

    def implements(self, hook: str) -> bool:
        return callable(getattr(self._module, hook, None))

    def utility_server_register(self) -> Any:
        """What the plugin gives for its hook. A failure is told once, and goes on to the caller."""
        try:
            registrations = self._module.utility_server_register()
        except Exception as error:
            if self.failure != _text(error):
                self.failure = _text(error)
                _tell(f"'{self.plugin_name}': utility_server_register failed: {self.failure}")
            raise
        self.failure = ""
        return registrations


class PluginRegister:
    """Loads all plugins when they are first asked for. May be called on any thread."""

    def __init__(self) -> None:
        self._lock = threading.RLock()
        self._plugins: dict[str, Plugin] | None = None
        self._refused: list[tuple[Path, str]] = []
        self._included: list[Path] = []
        self._module_names: list[str] = []

    def get_plugins_by_hook(self, hook: str) -> list[Plugin]:
        """The plugins with a function of that name, in the order of the register."""
        with self._lock:
            if self._plugins is None:
                self._load()
            return [plugin for plugin in self._plugins.values() if plugin.implements(hook)]

    def plugins(self) -> list[Plugin]:
        """All that are loaded, in the order of the register."""
        with self._lock:
            if self._plugins is None:
                self._load()
            return list(self._plugins.values())

    def refused(self) -> list[tuple[Path, str]]:
        """The directories whose plugin can't be loaded, each with the reason."""
        with self._lock:
            return list(self._refused)

    def reload(self) -> None:
        """Forgets all plugins and loads them anew from their files."""
        with self._lock:
            self._forget_modules()
            self._load()

    def _load(self) -> None:
        _offer_studio_modules_to_children()
        importlib.invalidate_caches()
        self._plugins, self._refused = {}, []
        for directory in _sub_directories(Path(built_in.__file__).parent):
            self._add(directory, is_builtin=True)
        self._included, no_plugins = _included_directories()
        self._refused += no_plugins
        for directory in self._included:
            self._add(directory)
        for directory in _sub_directories(Path(local.get_plugin_dir())):
            self._add(directory, required_name=directory.name)

    def _add(self, directory: Path, is_builtin: bool = False, required_name: str = "") -> None:
        try:
            module = self._import_main(directory)
            name = getattr(module, "__VELMORA_PLUGIN_NAME__", None)
            _check_name(name, is_builtin, required_name)
            if name in self._plugins:
                raise ValueError(f"{self._plugins[name].directory} has the same name, and counts")
            self._plugins[name] = Plugin(name, directory, module)
        except (Exception, SystemExit) as error:  # a script without a guard may end in sys.exit()
            self._refused.append((directory, _text(error)))
            _tell(f"plugin in {directory} not loaded: {_text(error)}")

    def _import_main(self, directory: Path) -> ModuleType:
        """Runs `main.py` as a module of a package of its own, so that plugins can't collide."""
        package_name = f"velmora_plugin_{len(self._module_names)}"
        self._module_names.append(package_name)
        package = module_from_spec(ModuleSpec(package_name, None, is_package=True))
        package.__path__ = [str(directory)]
        sys.modules[package_name] = package

        main = directory / "main.py"
        name = f"{package_name}.main"
        module = module_from_spec(
            spec_from_file_location(name, main, loader=_SourceLoader(name, str(main)))
        )
        sys.modules[name] = module
        module.__spec__.loader.exec_module(module)
        return module

    def _forget_modules(self) -> None:
        for name in list(sys.modules):
            if name.partition(".")[0] in self._module_names:
                del sys.modules[name]
        # The names of included plugins are read through modules of their own, <directory>.main.
        for directory in self._included:
            name = f"{directory.name}.main"
            file = getattr(sys.modules.get(name), "__file__", None)
            if file == os.path.abspath(directory / "main.py"):
                del sys.modules[name]
        self._module_names = []


class _SourceLoader(SourceFileLoader):
    """Always compiles the source: cached bytecode hides a change made within the same second."""

    def get_code(self, fullname: str) -> CodeType:
        return self.source_to_code(self.get_data(self.path), self.path)


def _sub_directories(parent: Path) -> list[Path]:
    if not parent.is_dir():
        return []
    return sorted(main.parent for main in parent.glob("*/main.py") if main.is_file())


def _included_directories() -> tuple[list[Path], list[tuple[Path, str]]]:
    """The directories that `plugin_includes.txt` lists, and those of its lines that are none."""
    path = Path(local.get_default_config_dir()) / "plugin_includes.txt"
    directories, refused = [], []
    try:
        with path.open(encoding="utf-8") as file:
            for line in filter(None, map(str.strip, file)):
                directory = Path(os.path.normpath(line))
                if (directory / "main.py").is_file():
                    directories.append(directory)
                else:
                    refused.append((directory, f"{path.name}: it holds no main.py"))
                    _tell(f"{path}: {line} holds no main.py")
    except FileNotFoundError:
        pass
    except (OSError, ValueError) as error:
        refused.append((path, f"it can't be read: {_text(error)}"))
        _tell(f"{path} can't be read: {_text(error)}")
    return directories, refused


def _check_name(name: Any, is_builtin: bool, required_name: str) -> None:
    if not isinstance(name, str) or not name:
        raise ValueError("main.py has no __VELMORA_PLUGIN_NAME__")
    if name.startswith(BUILTIN_PREFIX) != is_builtin:
        raise ValueError(f"'{name}': built-in plugins alone are named {BUILTIN_PREFIX}...")
    if required_name and name != required_name:
        raise ValueError(f"its directory must be named '{name}', like the plugin")


def _offer_studio_modules_to_children() -> None:
    """Lets every utility import `velmora_utility`, wherever its script lies.

    A utility inherits the Studio's environment, so the Studio's directory goes on PYTHONPATH. A
    path worked out in the script itself would break as soon as somebody copies the plugin
    elsewhere.
    """
    present = os.environ.get("PYTHONPATH")
    paths = present.split(os.pathsep) if present else []
    if str(STUDIO_DIRECTORY) not in paths:
        os.environ["PYTHONPATH"] = os.pathsep.join([*paths, str(STUDIO_DIRECTORY)])


def _text(error: BaseException) -> str:
    return f"{type(error).__name__}: {error}"


def _tell(message: str) -> None:
    print(f"[plugins] {message}", file=sys.stderr, flush=True)


plugin_register = PluginRegister()
