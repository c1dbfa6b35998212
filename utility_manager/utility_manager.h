#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "platform/process_handle.h"
#include "utility_manager/catalogue/registry_cache.h"
#include "utility_manager/catalogue/utility_info.h"
#include "utility_manager/child_launch.h"
#include "utility_manager/failures.h"
#include "utility_manager/lock.h"
#include "utility_manager/registration/registration.h"
#include "utility_manager/server_info.h"
#include "utility_manager/server_table.h"
#include "utility_manager/start_marker.h"
#include "utility_manager/supervision/monitor_thread.h"
#include "utility_manager/timings.h"
#include "values/value.h"

// The map of the system: one class, declared here, defined in the folder of each subsystem.
//
//   Construction, server table     utility_manager.cpp
//   Ports                          ports.cpp
//   Addresses                      addresses.cpp
//   Launch                         launch.cpp
//   Start                          start.cpp
//   Process control                supervision/process_control.cpp
//   Stop and cleanup               supervision/stop.cpp
//   Monitor                        supervision/monitor.cpp
//   Stderr snippets                supervision/stderr_snippets.cpp
//   State files                    persistence/state_files.cpp
//   Plugin and script paths        catalogue/plugin_paths.cpp
//   Registry                       catalogue/registry.cpp
//   Icons                          catalogue/icons.cpp
//   Access                         access/permissions.cpp
//   Placement                      registration/placement.cpp
//   Dead-server sweep              views/dead_server_sweep.cpp
//   Running lists                  views/running_lists.cpp
//   Running look-up                views/running_lookup.cpp
//   Catalogue views                views/catalogue_views.cpp
//
// A port is free, reserved (in `used_ports`, a start is in progress) or held (in `used_ports`, a
// record of `servers` names it). A start reserves under `lock`, spawns and watches without it, and
// records under `lock`; a start that fails gives the port back.
//
// An instance is own (a handle, a stderr buffer) or adopted (from a state file: a pid, pinned where
// the system can do that). It leaves the books in three steps, always in this order and under
// `lock`: its port is released, its record deleted, its state file removed. A stop, the monitor,
// the sweep of the listings and a reload of the state files do that; whoever comes second finds
// nothing to do.
//
// `lock` is the one mutex and not reentrant. Each operation says whether it takes it (EXCLUDES) or
// expects it (REQUIRES); one that says nothing does neither. Host services, plugins and the watch
// of a child run without it, but for what a look-up in the table asks while it holds `lock`: the
// flat list all it needs for its records, the running look-up the address and a catalogue record
// that isn't cached, a start such a record. A stop holds it through all its waits. The catalogue's
// cache and the icon caches have their own protection and are read without `lock`.
//
// Threads: those of the client, on which every operation runs; one monitor, from the first start
// on; two readers per own child, which touch their stream, the client's standard output and the
// stderr buffer. All of the system's own threads are detached.
//
// Failures: `RuntimeError` and `TypeError` where an operation names them; ordinary failures of the
// client's services (`host::HostFailure`) where a contract lets them through. Requests to exit or
// to interrupt (`host::HostInterrupt`) and `host::HostGone` pass through every guard.
//
// An operation whose name begins with an underscore is internal to the client's side of the system;
// it is public here because the binding offers it too.

namespace utility_manager {

class ViewContext;

/// The interpreter for utility scripts: the client's own, outside any virtual environment; on
/// Windows the one with working pipes. Lets failures of the Python host through.
std::string _utility_subprocess_python_executable();

/// The address of a utility as the Studio's web application forwards it. Names are not escaped.
/// Lets a failure of `get_gui_addr` through.
std::string _build_mapped_url(const std::string& utility_name,
                              const std::optional<std::string>& group_name,
                              bool require_group_name);

/// Keeps the catalogue of what plugins register, starts utilities as child processes, watches and
/// ends them. To be held by `std::shared_ptr`: the monitor thread keeps the manager alive.
class UtilityServerManager : public std::enable_shared_from_this<UtilityServerManager> {
 public:
  using UserPermissions = values::Value;

  // ---- Construction, server table ---- utility_manager.cpp ----

  /// Creates the state directory, adopts what the state files tell and fills the catalogue. Starts
  /// no thread. Fails when the state directory can't be had.
  UtilityServerManager();
  UtilityServerManager(const UtilityServerManager&) = delete;
  UtilityServerManager& operator=(const UtilityServerManager&) = delete;

  /// The path of the directory "utility_states" below the client's configuration directory, which
  /// is created with its parents unless it exists.
  static std::string _get_state_dir();

  /// The record of a new instance, without `stderr_buffer`. `utility_config` is a mapping. `lang`
  /// and `studio_url` are left out when null or empty, `group_name` unless required. Fails with
  /// `TypeError` when `process` is null.
  static ServerInfo _create_server_info(const std::string& server_id,
                                        const std::string& utility_name, std::int64_t port,
                                        const std::shared_ptr<platform::ProcessHandle>& process,
                                        const values::Value& utility_config,
                                        const std::string& group_name, bool require_group_name,
                                        const std::optional<std::string>& lang,
                                        const std::optional<std::string>& studio_url = {});

  /// Snapshots of the attributes.
  std::vector<ServerTable::Record> servers() const EXCLUDES(lock);
  std::set<std::int64_t> used_ports() const EXCLUDES(lock);
  std::shared_ptr<MonitorThread> monitor_thread() const;
  bool running() const;
  std::shared_ptr<const UtilityMap> utility_registry() const;
  bool _utility_registry_complete() const;
  const std::string& state_dir() const;

  // ---- Ports ---- ports.cpp ----

  /// Every port that an instance may get.
  static std::set<std::int64_t> port_pool();

  /// True when the port can be bound on 127.0.0.1 now; it is free again afterwards. Fails only when
  /// no socket can be made.
  static bool _is_port_available(std::int64_t port);

  /// The lowest port of the pool that is neither in `used_ports` nor bound by anybody; nothing when
  /// there is none. Doesn't reserve it.
  std::optional<std::int64_t> _get_available_port() const REQUIRES(lock);

  // ---- Launch ---- launch.cpp ----

  /// The command line of a utility. `utility_config` is a mapping and not changed. Fails with
  /// `std::invalid_argument` on a configuration that can't be written as JSON.
  static std::vector<std::string> _build_process_args(
      const std::string& script_path, const std::string& server_id, const std::string& utility_name,
      std::int64_t port, const std::string& group_name, bool require_group_name,
      const values::Value& utility_config, const std::optional<std::string>& lang = {},
      const std::optional<std::string>& studio_url = {}, bool persistent = false);

  /// Spawns a utility, relays its output and watches it for 1.5 seconds. Fails with `RuntimeError`
  /// when it can't be spawned or has ended by then, and releases `port`. Blocks for the watch,
  /// after an early death for up to 2 seconds more.
  LaunchedProcess _start_process(const std::vector<std::string>& process_args, std::int64_t port)
      EXCLUDES(lock);

  /// The message of a failed start: the last stderr line that names an error, else the tail.
  static std::string _format_utility_start_error(
      const std::string& base_msg, const std::vector<std::string>& stderr_buffer = {});

  // ---- Start ---- start.cpp ----

  /// Starts a utility and gives `server_id`, `port`, `local_url`, `url` and `pid`. `group_name` is
  /// empty for none; `utility_config` is a mapping and not changed; `utility_module_path` is a
  /// script to run in place of the registered one. Fails with `RuntimeError` and a message for the
  /// user, or with a failure of the language or address service; then nothing stays behind, unless
  /// the address service fails once more at the very end or no monitor thread can be had: the
  /// instance runs on and stands in the table. Blocks for the watch of the child without `lock`.
  values::Value start_utility_server(const std::string& group_name, const std::string& utility_name,
                                     const values::Value& utility_config,
                                     const std::optional<std::string>& utility_module_path = {})
      EXCLUDES(lock);

  /// Fails with `RuntimeError` when the utility runs already where it may run once only.
  void _check_existing_instances(const std::string& utility_name, const std::string& group_name,
                                 bool require_group_name) REQUIRES(lock);

  // ---- Process control ---- supervision/process_control.cpp ----

  /// True when the id names a process, an ended one that nobody has collected included. Never
  /// fails.
  static bool _is_process_alive(std::int64_t pid);

  /// Ends a process and its descendants at once; true when the process has gone. Blocks for up to
  /// 10 seconds, on Windows 20. May fail with a refused signal.
  static bool _kill_process_tree(std::int64_t pid);

  /// Ends an instance given by handle, by id, or both, and confirms it: asks an own child to end,
  /// waits up to 5 seconds, then ends the tree. `process` may be null, `pid` 0.
  static bool _stop_utility_process(const std::shared_ptr<platform::ProcessHandle>& process,
                                    std::int64_t pid);

  // ---- Stop and cleanup ---- supervision/stop.cpp ----

  /// Ends an instance and takes it off the books. False, with the books unchanged, when it is
  /// unknown or couldn't be ended. Holds `lock` through all waits, up to 25 seconds. Never fails.
  bool stop_utility_server(const std::string& server_id) EXCLUDES(lock);

  /// Ends every instance, persistent ones too. The monitor goes on.
  void stop_all_utility_servers() EXCLUDES(lock);

  /// Ends the monitor and every instance whose registration isn't persistent now. Waits up to 2
  /// seconds for the monitor.
  void cleanup_all_servers() EXCLUDES(lock);

  // ---- Monitor ---- supervision/monitor.cpp ----

  /// Starts the monitor thread unless it is alive. Fails when no thread can be had.
  void _start_monitoring();

  /// The body of the monitor thread: every 10 seconds, takes dead instances off the books.
  void _monitor_loop() EXCLUDES(lock);

  /// Takes a dead instance off the books. Never fails.
  void _handle_server_died(const std::string& server_id) EXCLUDES(lock);

  // ---- Stderr snippets ---- supervision/stderr_snippets.cpp ----

  /// True when the instance is known and its process runs.
  bool is_utility_server_running(const std::string& server_id) EXCLUDES(lock);

  /// The last `max_chars` characters of what an instance wrote to its standard error; empty when
  /// there is nothing to say or `max_chars` is below 1. Reads the rest of a dead child's stream
  /// where no line has come, for at most a second.
  std::string get_utility_stderr_snippet(const std::string& server_id,
                                         std::int64_t max_chars = timings::snippet_characters)
      EXCLUDES(lock);

  /// The same, waiting up to `max_wait` seconds for something to arrive.
  std::string collect_utility_stderr_snippet(const std::string& server_id,
                                             double max_wait = timings::snippet_wait,
                                             std::int64_t max_chars = timings::snippet_characters)
      EXCLUDES(lock);

  // ---- State files ---- persistence/state_files.cpp ----

  /// Where the state file of an instance lies, whether it exists or not.
  std::string _state_file_path(const std::string& server_id) const;

  /// Writes the state file in place. Lets every failure through.
  void _persist_server_state(const ServerInfo& server_info, bool require_group_name) const
      REQUIRES(lock);

  /// Removes the state file if there is one. Never fails.
  void _remove_state_file(const std::string& server_id) const;

  /// Brings the server table in line with the state directory: adopts live instances, drops those
  /// whose file is stale. Never fails; a file that can't be understood stays where it is.
  void _load_persisted_states() EXCLUDES(lock);

  // ---- Plugin and script paths ---- catalogue/plugin_paths.cpp ----

  /// Where a plugin lies; nothing when it isn't found. Lets failures of the client through.
  static std::optional<std::string> _get_plugin_base_path(const std::string& plugin_name,
                                                          bool is_builtin);

  /// The first directory of `plugin_includes.txt` whose `main` carries the name. No ordinary
  /// failure leaves it.
  static std::optional<std::string> _get_plugin_path_from_includes(const std::string& plugin_name);

  /// The absolute form of the first candidate that exists, or `script_path` unchanged.
  static std::string _resolve_script_path_at_registration(
      const std::string& script_path, const std::optional<std::string>& plugin_base_path);

  /// The same, for the plugin of a catalogue record. Fails with `TypeError` when the record's
  /// `plugin_name` is no text, and lets failures of the client through.
  static std::string _resolve_plugin_script_path(const std::string& script_path,
                                                 const values::Value& utility_info);

  // ---- Registry ---- catalogue/registry.cpp ----

  /// Asks every plugin; the last registration of a name stands. Slow. No ordinary failure leaves
  /// it.
  static UtilityMap _collect_registry_from_plugins();

  /// Asks the plugins up to the first that registers the name; null when none does. No ordinary
  /// failure leaves it.
  static UtilityInfoPtr _get_utility_info_from_plugins(const std::string& utility_name);

  /// The cached record, else what the plugins say, which is then cached; null when nobody registers
  /// the name. `locked` tells whether the calling thread holds `lock`; it must be true to the fact.
  UtilityInfoPtr _get_utility_info(const std::string& utility_name, bool locked = false);

  /// The whole catalogue in its order; asks the plugins unless that has been done since the last
  /// refresh.
  std::vector<UtilityInfoPtr> _get_all_utilities() EXCLUDES(lock);

  /// Empties the cache; the plugins are asked again when next needed.
  void refresh_utility_registry() EXCLUDES(lock);

  /// The script that a start runs: `custom_path` unless null or empty, else the registered one.
  /// Fails with `RuntimeError` when there is none, and as `_resolve_plugin_script_path` does.
  std::string _get_utility_script_path(const std::string& utility_name,
                                       const std::optional<std::string>& custom_path = {})
      EXCLUDES(lock);

  // ---- Icons ---- catalogue/icons.cpp ----

  /// The absolute form of the first candidate that exists, or `icon_path` unchanged.
  static std::string _resolve_icon_path(const std::string& icon_path,
                                        const std::optional<std::string>& plugin_base_path);

  /// The icon as a data URI, null when it can't be read. Cached in `utility_info` for as long as
  /// the file's modification time stays the same. Never fails.
  std::shared_ptr<const std::string> _load_icon_as_base64(
      const std::optional<std::string>& icon_path, const UtilityInfo& utility_info) const;

  /// A copy of the record for the interface: `icon`, a data URI or null, in place of `icon_path`,
  /// and no icon cache. Fails with `TypeError` on a record with an icon and no plugin name, and
  /// lets failures of the client through. Never takes `lock`.
  values::Value _add_icon_to_utility_info(const UtilityInfo& utility_info) const;

  // ---- Access ---- access/permissions.cpp ----

  /// The user's rights: `is_admin`, `is_org_admin`, `organizations`. A right that can't be found
  /// out is not held; no ordinary failure leaves it.
  static UserPermissions _get_user_permissions();

  /// True when the user may see and start the utility. Null permissions are fetched. Fails with
  /// `TypeError` when the record's `access_level` is no text.
  static bool _check_utility_permission(const values::Value& utility_info,
                                        const UserPermissions& user_permissions = nullptr,
                                        const std::optional<std::string>& group_name = {});

  /// The user's role in an organisation, null when the user isn't in it. Fails with `TypeError` on
  /// an id that is no number and on a role that is no text.
  static std::optional<std::string> _get_user_role_in_org(
      const values::Value& organization_id, const UserPermissions& user_permissions = nullptr);

  /// True when the user administrates the organisation that owns the device group. No ordinary
  /// failure leaves it.
  static bool _check_org_admin_for_group(const std::string& group_name,
                                         const UserPermissions& user_permissions = nullptr);

  // ---- Placement ---- registration/placement.cpp ----

  /// True when the record belongs in the navigation bar.
  static bool _utility_is_navbar(const values::Value& utility);

  // ---- Dead-server sweep ---- views/dead_server_sweep.cpp ----

  /// Reloads the state files and takes every instance whose process has gone off the books. Lets a
  /// failure to ask a child through.
  void sweep_dead_servers() EXCLUDES(lock);

  // ---- Running lists ---- views/running_lists.cpp ----

  /// Every running instance in table order, as the table was at one moment. Sweeps first. Catches
  /// nothing: a failure of the client's services leaves no partial list.
  values::Value list_utility_servers() EXCLUDES(lock);

  /// The same with the catalogue's texts, as `without_group` and `by_group`. Builds its lists
  /// without `lock`.
  values::Value list_all_running_utilities_grouped() EXCLUDES(lock);

  // ---- Running look-up ---- views/running_lookup.cpp ----

  /// The running instance of a utility for exactly this group, or for no group; null when there is
  /// none. Sweeps first, catches nothing.
  values::Value _find_running_utility(const std::string& utility_name,
                                      const std::optional<std::string>& group_name = {})
      EXCLUDES(lock);

  // ---- Catalogue views ---- views/catalogue_views.cpp ----

  /// True when the record is marked as an entry of the create-experiment menu.
  static bool _utility_is_create_exp_entry(const values::Value& utility);

  /// What the user may start in each place of the interface, with its running state. Each gives a
  /// list of records in catalogue order; they catch nothing.
  values::Value get_utilities_without_group_name() EXCLUDES(lock);
  values::Value get_utilities_with_group_name(const std::string& group_name) EXCLUDES(lock);
  values::Value get_navbar_utilities() EXCLUDES(lock);

  /// The same for the create-experiment menu, sorted by title. White space around `group_name` is
  /// dropped.
  values::Value get_create_exp_utilities(const std::string& group_name) EXCLUDES(lock);

  /// The manager's one mutex.
  mutable Lock lock;

 private:
  struct StartPlan;
  class Reservation;

  StartPlan plan_start(const std::string& group_name, const std::string& utility_name,
                       const values::Value& utility_config,
                       const std::optional<std::string>& utility_module_path) EXCLUDES(lock);
  std::int64_t reserve_port(const StartPlan& plan) REQUIRES(lock);
  void check_starts_in_progress(const StartPlan& plan) const REQUIRES(lock);
  void record_start(const StartPlan& plan, ServerTable::Record record) REQUIRES(lock);
  void announce_start(const StartPlan& plan, const ServerInfo& record) REQUIRES(lock);
  void release_port(std::int64_t port) REQUIRES(lock);

  /// The three steps in which an instance leaves the books.
  void forget_server(const std::string& server_id) REQUIRES(lock);

  /// The record of an instance, null when it is unknown.
  ServerTable::Record server(const std::string& server_id) const EXCLUDES(lock);

  void remember(const std::string& utility_name, const UtilityInfoPtr& info,
                std::uint64_t generation) REQUIRES(lock);
  values::Value add_icon(const UtilityInfo& utility_info, ViewContext& context) const;
  values::Value icon_of(const UtilityInfo& utility_info, ViewContext& context) const;

  /// The catalogue's record of an instance's utility, null when that isn't registered.
  UtilityInfoPtr catalogue_record(const ServerInfo& record, bool locked, ViewContext& context);
  values::Value list_entry(const ServerInfo& record, ViewContext& context) REQUIRES(lock);
  values::Value grouped_entry(const ServerInfo& record, ViewContext& context) EXCLUDES(lock);
  values::Value find_running(const std::string& utility_name,
                             const std::optional<std::string>& group_name, ViewContext& context)
      EXCLUDES(lock);
  std::optional<values::Value> match_running(const std::string& utility_name,
                                             const std::optional<std::string>& group_name,
                                             ViewContext& context) EXCLUDES(lock);

  using ViewFilter = std::function<bool(const values::Value& fields, ViewContext& context)>;
  values::Value view(const ViewFilter& belongs, const std::string& group_name = {}) EXCLUDES(lock);
  values::Value view_entry(const UtilityInfo& utility_info,
                           const std::optional<std::string>& group_name, ViewContext& context)
      EXCLUDES(lock);
  std::shared_ptr<const UtilityMap> merge(const UtilityMap& collection, std::uint64_t generation)
      EXCLUDES(lock);
  bool is_persistent(const ServerInfo& record) EXCLUDES(lock);
  void monitor_pass() EXCLUDES(lock);

  // Constant after construction.
  const std::string state_dir_;

  // With protection of their own.
  RegistryCache registry_;
  std::atomic<bool> running_ = false;
  mutable std::mutex monitor_mutex_;
  std::shared_ptr<MonitorThread> monitor_thread_;

  // Under `lock`.
  ServerTable servers_ GUARDED_BY(lock);
  std::set<std::int64_t> used_ports_ GUARDED_BY(lock);
  std::vector<StartMarker> starting_ GUARDED_BY(lock);
};

/// The client's one manager, made at the first call and never destroyed.
const std::shared_ptr<UtilityServerManager>& utility_manager();

}  // namespace utility_manager
