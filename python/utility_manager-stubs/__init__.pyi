"""Starts, watches and lists the utilities that plugins of the client register.

Loading the module binds the client's services and creates `utility_manager`; an import failure of
the client goes on to the caller. The TypedDicts and Protocols below exist for type checkers only.

An argument of the wrong type is a `TypeError`, and so is None where it isn't optional. A failure of
the client's services or of a plugin comes out as the exception that it raised. Every operation may
be called on any thread, and none holds the interpreter lock while it waits.
"""

import os
from collections.abc import Iterator, Mapping, Sequence
from typing import Any, NotRequired, Protocol, TypeAlias, TypedDict, overload

_Path: TypeAlias = str | os.PathLike[str]

class ChildStream(Protocol):
    """The read end of a child's output. The system reads it too: bytes go to who comes first."""

    def read(self) -> bytes: ...
    def close(self) -> None: ...
    @property
    def closed(self) -> bool: ...

class ChildProcess(Protocol):
    """A child process; a child that somebody else collected has ended with 0."""

    @property
    def pid(self) -> int: ...
    @property
    def returncode(self) -> int | None: ...
    @property
    def stdout(self) -> ChildStream | None: ...
    @property
    def stderr(self) -> ChildStream | None: ...
    def poll(self) -> int | None: ...
    def terminate(self) -> None: ...
    def wait(self, timeout: float | None = None) -> int:
        """Fails with `subprocess.TimeoutExpired`."""

class StderrBuffer(Protocol):
    """The lines of a child's standard error as a list that can't be changed and that grows by
    itself for as long as the child writes. It equals a list of the same lines; a copy of it, and
    what it is unpickled to, is a list.
    """

    def __len__(self) -> int: ...
    @overload
    def __getitem__(self, index: int) -> str: ...
    @overload
    def __getitem__(self, index: slice) -> list[str]: ...
    def __iter__(self) -> Iterator[str]: ...
    def __reversed__(self) -> Iterator[str]: ...
    def __contains__(self, value: object) -> bool: ...
    def __eq__(self, other: object) -> bool: ...
    def index(self, value: str, start: int = 0, stop: int | None = None) -> int: ...
    def count(self, value: str) -> int: ...

class MonitorThread(Protocol):
    def is_alive(self) -> bool: ...
    def join(self, timeout: float | None = None) -> None: ...

class UtilityInfo(TypedDict):
    """A record of the catalogue; the unknown keys of the registration follow these."""

    utility_name: str
    title: str
    en_title: str
    description: str
    en_description: str
    script_path: str
    default_route: str
    require_group_name: bool
    plugin_name: str | None
    builtin: bool
    access_level: str
    persistent: bool
    icon_path: str
    display_location: str

class ServerInfo(TypedDict):
    """One running instance. One without `group_name` belongs to no device group."""

    server_id: str
    utility_name: str | None
    port: int
    pid: int
    process: ChildProcess | None  # None in an adopted instance
    config: dict[str, Any]
    create_time: int  # seconds since the Unix epoch
    lang: NotRequired[str]
    studio_url: NotRequired[str]
    group_name: NotRequired[str]
    stderr_buffer: NotRequired[StderrBuffer]

class StartResult(TypedDict):
    server_id: str
    port: int
    local_url: str
    url: str
    pid: int

class ServerListEntry(TypedDict):
    server_id: str
    utility_name: str | None
    port: int
    pid: int
    local_url: str
    url: str
    default_route: str
    create_time: int
    lang: NotRequired[str]
    studio_url: NotRequired[str]
    group_name: NotRequired[str]
    icon: str | None  # a data URI

class GroupedServerEntry(TypedDict):
    server_id: str
    utility_name: str | None
    title: str | None
    en_title: str
    description: str
    en_description: str
    port: int
    pid: int
    local_url: str
    url: str
    full_url: str
    default_route: str
    display_location: str
    create_time: int
    lang: NotRequired[str]
    studio_url: NotRequired[str]
    icon: str | None
    group_name: NotRequired[str]

class RunningUtilitiesGrouped(TypedDict):
    without_group: list[GroupedServerEntry]
    by_group: dict[str, list[GroupedServerEntry]]

class RunningUtilityRecord(TypedDict):
    server_id: str
    utility_name: str
    port: int
    local_url: str
    url: str
    default_route: str
    group_name: NotRequired[str]
    lang: NotRequired[str]
    studio_url: NotRequired[str]
    icon: str | None

class UtilityViewEntry(TypedDict):
    """What the user may start; the unknown keys of the registration stand before `is_running`."""

    utility_name: str
    title: str
    en_title: str
    description: str
    en_description: str
    script_path: str
    default_route: str
    require_group_name: bool
    plugin_name: str | None
    builtin: bool
    access_level: str
    persistent: bool
    display_location: str
    is_running: bool
    server_id: NotRequired[str]
    port: NotRequired[int]
    local_url: NotRequired[str]
    url: NotRequired[str]
    full_url: NotRequired[str]
    group_name: NotRequired[str]
    icon: str | None

class UserPermissions(TypedDict):
    is_admin: bool
    is_org_admin: bool
    organizations: list[Any]

class UtilityRegistration:
    """One registration of a plugin. Only `from_dict` normalises; fields carry what they are given."""

    utility_name: str
    title: str
    en_title: str
    description: str
    en_description: str
    script_path: str
    default_route: str
    require_group_name: bool
    plugin_name: str | None
    builtin: bool
    access_level: str
    persistent: bool
    icon_path: str
    display_location: str
    extra: dict[str, Any]

    def __init__(
        self,
        utility_name: str,
        title: str = "",
        en_title: str = "",
        description: str = "",
        en_description: str = "",
        script_path: _Path = "",
        default_route: str = "/",
        require_group_name: bool = False,
        plugin_name: str | None = None,
        builtin: bool = False,
        access_level: str = "ALL",
        persistent: bool = False,
        icon_path: _Path = "",
        display_location: str = "default",
        extra: Mapping[str, Any] | None = None,
    ) -> None: ...
    def __eq__(self, other: object) -> bool: ...
    @staticmethod
    def from_dict(
        data: Mapping[str, Any], plugin_name: str | None = None
    ) -> UtilityRegistration: ...
    @staticmethod
    def _convert_legacy_access_fields(data: Mapping[str, Any]) -> str: ...
    @staticmethod
    def _normalize_access_level(access_level: str) -> str: ...
    @staticmethod
    def _normalize_display_location(value: Any) -> str: ...
    def to_dict(self) -> UtilityInfo: ...

class UtilityServerManager:
    """Keeps the catalogue, starts utilities as child processes, watches and ends them.

    The attributes are snapshots.
    """

    def __init__(self) -> None: ...
    @property
    def servers(self) -> dict[str, ServerInfo]: ...
    @property
    def port_pool(self) -> set[int]: ...
    @property
    def used_ports(self) -> set[int]: ...
    @property
    def monitor_thread(self) -> MonitorThread | None: ...
    @property
    def running(self) -> bool: ...
    @property
    def utility_registry(self) -> dict[str, UtilityInfo]: ...
    @property
    def _utility_registry_complete(self) -> bool: ...
    @property
    def state_dir(self) -> str: ...

    # Start
    def start_utility_server(
        self,
        group_name: str,
        utility_name: str,
        utility_config: Mapping[str, Any],
        utility_module_path: _Path | None = None,
    ) -> StartResult:
        """Starts a utility; `group_name` is empty for none. Takes the watch of 1.5 seconds.

        Fails with `RuntimeError` and a message for the user.
        """

    def _check_existing_instances(
        self, utility_name: str, group_name: str, require_group_name: bool
    ) -> None: ...
    @staticmethod
    def _get_state_dir() -> str: ...
    @staticmethod
    def _create_server_info(
        server_id: str,
        utility_name: str,
        port: int,
        process: ChildProcess,
        utility_config: Mapping[str, Any],
        group_name: str,
        require_group_name: bool,
        lang: str | None,
        studio_url: str | None = None,
    ) -> ServerInfo: ...
    @staticmethod
    def _is_port_available(port: int) -> bool: ...
    def _get_available_port(self) -> int | None: ...
    @staticmethod
    def _build_process_args(
        script_path: _Path,
        server_id: str,
        utility_name: str,
        port: int,
        group_name: str,
        require_group_name: bool,
        utility_config: Mapping[str, Any],
        lang: str | None = None,
        studio_url: str | None = None,
        persistent: bool = False,
    ) -> list[str]: ...
    def _start_process(
        self, process_args: Sequence[_Path], port: int
    ) -> tuple[ChildProcess, StderrBuffer]: ...
    @staticmethod
    def _format_utility_start_error(
        base_msg: str, stderr_buffer: Sequence[str | None] | StderrBuffer | None = None
    ) -> str: ...

    # Process control. A process may be a handle of the system or one like `subprocess.Popen`.
    @staticmethod
    def _is_process_alive(pid: float) -> bool: ...
    @staticmethod
    def _kill_process_tree(pid: float) -> bool: ...
    @staticmethod
    def _stop_utility_process(process: Any, pid: float) -> bool: ...

    # Stop, cleanup and monitor
    def stop_utility_server(self, server_id: str) -> bool:
        """Ends an instance; False, with the books unchanged, when it is unknown or couldn't be."""

    def stop_all_utility_servers(self) -> None:
        """Ends every instance, persistent ones too."""

    def cleanup_all_servers(self) -> None:
        """Ends the monitor and every instance whose registration isn't persistent."""

    def _start_monitoring(self) -> None: ...
    def _monitor_loop(self) -> None: ...
    def _handle_server_died(self, server_id: str) -> None: ...

    # State of one instance
    def is_utility_server_running(self, server_id: str) -> bool: ...
    def get_utility_stderr_snippet(self, server_id: str, max_chars: int = 800) -> str: ...
    def collect_utility_stderr_snippet(
        self, server_id: str, max_wait: float = 2.0, max_chars: int = 800
    ) -> str: ...

    # State files
    def _state_file_path(self, server_id: str) -> str: ...
    def _persist_server_state(self, server_info: ServerInfo, require_group_name: bool) -> None: ...
    def _remove_state_file(self, server_id: str) -> None: ...
    def _load_persisted_states(self) -> None: ...

    # Catalogue
    def refresh_utility_registry(self) -> None:
        """Has the plugins asked again when next needed."""

    @staticmethod
    def _get_plugin_base_path(plugin_name: str, is_builtin: bool) -> str | None: ...
    @staticmethod
    def _get_plugin_path_from_includes(plugin_name: str) -> str | None: ...
    @staticmethod
    def _resolve_script_path_at_registration(
        script_path: _Path, plugin_base_path: _Path | None
    ) -> str: ...
    @staticmethod
    def _resolve_plugin_script_path(
        script_path: _Path, utility_info: Mapping[str, Any]
    ) -> str: ...
    @staticmethod
    def _collect_registry_from_plugins() -> dict[str, UtilityInfo]: ...
    @staticmethod
    def _get_utility_info_from_plugins(utility_name: str) -> UtilityInfo | None: ...
    def _get_utility_info(self, utility_name: str, locked: bool = False) -> UtilityInfo | None: ...
    def _get_all_utilities(self) -> list[UtilityInfo]: ...
    def _get_utility_script_path(
        self, utility_name: str, custom_path: _Path | None = None
    ) -> str: ...
    @staticmethod
    def _resolve_icon_path(icon_path: _Path, plugin_base_path: _Path | None) -> str: ...
    def _load_icon_as_base64(
        self, icon_path: _Path | None, utility_info: dict[str, Any]
    ) -> str | None:
        """The icon as a data URI; it is cached in `utility_info`."""

    def _add_icon_to_utility_info(self, utility_info: dict[str, Any]) -> dict[str, Any]: ...

    # Access
    @staticmethod
    def _get_user_permissions() -> UserPermissions: ...
    @staticmethod
    def _check_utility_permission(
        utility_info: Mapping[str, Any],
        user_permissions: Mapping[str, Any] | None = None,
        group_name: str | None = None,
    ) -> bool: ...
    @staticmethod
    def _get_user_role_in_org(
        organization_id: float, user_permissions: Mapping[str, Any] | None = None
    ) -> str | None: ...
    @staticmethod
    def _check_org_admin_for_group(
        group_name: str, user_permissions: Mapping[str, Any] | None = None
    ) -> bool: ...

    # Running lists and views; each first takes dead instances off the books.
    def list_utility_servers(self) -> list[ServerListEntry]: ...
    def list_all_running_utilities_grouped(self) -> RunningUtilitiesGrouped: ...
    def _find_running_utility(
        self, utility_name: str, group_name: str | None = None
    ) -> RunningUtilityRecord | None: ...
    def get_utilities_without_group_name(self) -> list[UtilityViewEntry]: ...
    def get_utilities_with_group_name(self, group_name: str) -> list[UtilityViewEntry]: ...
    def get_navbar_utilities(self) -> list[UtilityViewEntry]: ...
    def get_create_exp_utilities(self, group_name: str) -> list[UtilityViewEntry]: ...
    @staticmethod
    def _utility_is_navbar(utility: Mapping[str, Any]) -> bool: ...
    @staticmethod
    def _utility_is_create_exp_entry(utility: Mapping[str, Any]) -> bool: ...

__version__: str
psutil: Any  # the process-inspection layer, None where there is none
utility_manager: UtilityServerManager

def _build_mapped_url(
    utility_name: str, group_name: str | None, require_group_name: bool
) -> str: ...
def _utility_subprocess_python_executable() -> str: ...
