#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "utility_manager/catalogue/catalogue.h"
#include "utility_manager/failures.h"
#include "utility_manager/launch.h"
#include "utility_manager/limits.h"
#include "utility_manager/lock.h"
#include "utility_manager/port_pool.h"
#include "utility_manager/server_info.h"
#include "utility_manager/server_table.h"
#include "utility_manager/start_marker.h"
#include "utility_manager/values/value.h"
#include "utility_manager/views/running_entry.h"

// The map of the system. The class keeps the books: what is woven over table, ports, starts in
// progress and `lock`. Its operations are defined in the file of their section. All else lives in
// components that know neither the class nor, but for the catalogue, its lock; the names are those
// that Python knows:
//
//   _utility_subprocess_python_executable, _build_process_args     command_line.h
//   _create_server_info                                            start_plan.h
//   _format_utility_start_error                                    start_error.h
//   _build_mapped_url                                              addresses.h
//   port_pool, _is_port_available                                  port_pool.h, platform/system.h
//   _is_process_alive, _kill_process_tree, _stop_utility_process   supervision/process_control.h
//   _get_state_dir                                                 persistence/state_directory.h
//   _get_plugin_base_path, _get_plugin_path_from_includes,
//   _resolve_script_path_at_registration,
//   _resolve_plugin_script_path                                    catalogue/plugin_places.h
//   _collect_registry_from_plugins,
//   _get_utility_info_from_plugins                                 catalogue/plugin_walk.h
//   utility_registry, _utility_registry_complete,
//   _get_utility_info, _get_all_utilities,
//   refresh_utility_registry, _get_utility_script_path             catalogue/catalogue.h
//   _resolve_icon_path, _load_icon_as_base64,
//   _add_icon_to_utility_info                                      catalogue/icons.h
//   _get_user_permissions, _check_utility_permission,
//   _get_user_role_in_org, _check_org_admin_for_group              access/access.h
//   _utility_is_navbar, _utility_is_create_exp_entry               registration/placement.h
//
// A port is free, reserved (in `used_ports`, a start is in progress) or held (in `used_ports`, a
// record of `servers` names it). A start reserves under `lock`, spawns and watches without it, and
// records under `lock`; a start that fails gives the port back.
//
// An instance is own (a handle, a stderr buffer) or adopted (from a state file: a pid, and its
// process where that can be told from a later owner of the id). It leaves the books in three steps,
// always in this order and under `lock`: its port is released, its record deleted, its state file
// removed. A stop, the monitor, the sweep of the listings and a reload of the state files do that;
// whoever comes second finds nothing to do.
//
// `lock` is the one mutex and not reentrant: a thread that holds it and comes again fails with
// `RuntimeError`, and an operation that otherwise never fails does so, too; in a forked child of
// the client every thread does, and neither attributes nor handles may be asked. Each operation
// says whether it takes it (UM_EXCLUDES) or expects it (UM_REQUIRES); one that says nothing does
// neither. Host services, plugins and the watch of a child run without it. A stop holds it through
// all its waits. The attributes are snapshots that are published: reading one waits for nobody.
//
// A start leaves a record in the state directory, from the reservation on. A persistent instance's
// record becomes its state file when it enters the table; another's stays until it leaves the
// books. So a client that dies loses no child: the next one adopts or ends what it finds.
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

namespace platform {
class Wakeup;
}

struct CatalogueView;
struct Keeping;
struct Orphan;
struct StartRecord;
class Listing;
class StateFileReader;
class MonitorThread;

/// Keeps the books of what runs: starts utilities as child processes, watches and ends them. To be
/// held by `std::shared_ptr`: the monitor thread keeps the manager alive.
class UtilityServerManager : public std::enable_shared_from_this<UtilityServerManager> {
 public:
  // ---- Construction, attributes ---- utility_manager.cpp ----

  /// Creates the state directory, adopts what the state files tell, adopts or ends what clients
  /// that died have started, and fills the catalogue. Starts no thread. Fails when the state
  /// directory can't be had.
  UtilityServerManager();
  UtilityServerManager(const UtilityServerManager&) = delete;
  UtilityServerManager& operator=(const UtilityServerManager&) = delete;

  /// The end for a client that lives on: `cleanup_all_servers`, then waits for the monitor's end
  /// and drops the output of what goes on running. When it returns, no thread of the system's own
  /// calls the client, its services or its sink any more. No other operation may run or follow.
  void shut_down() UM_EXCLUDES(lock);

  ServerTable::Records servers() const { return *servers_.records(); }
  PortPool::Ports used_ports() const { return *ports_.used(); }
  std::shared_ptr<MonitorThread> monitor_thread() const;
  bool running() const { return running_; }
  const std::string& state_dir() const { return state_dir_; }

  /// What the plugins register.
  Catalogue& catalogue() { return catalogue_; }
  const Catalogue& catalogue() const { return catalogue_; }

  /// `PortPool::available`.
  std::optional<std::int64_t> _get_available_port() const UM_REQUIRES(lock);

  // ---- Start ---- start.cpp ----

  /// Starts a utility and gives `server_id`, `port`, `local_url`, `url` and `pid`. `group_name` is
  /// empty for none; `utility_config` is a mapping and not changed; `utility_module_path` is a
  /// script to run in place of the registered one. Fails with `RuntimeError` and a message for the
  /// user, or with a failure of the language or address service; then nothing stays behind, unless
  /// the address service fails once more at the very end: the instance runs on and stands in the
  /// table. Where no monitor thread can be had the next start tries again. Blocks for the watch of
  /// the child without `lock`.
  values::Value start_utility_server(const std::string& group_name, const std::string& utility_name,
                                     const values::Value& utility_config,
                                     const std::optional<std::string>& utility_module_path = {})
      UM_EXCLUDES(lock);

  /// Spawns a utility, relays its output and watches it, as `launch` does; releases `port` when
  /// that fails.
  LaunchedProcess _start_process(const std::vector<std::string>& process_args, std::int64_t port)
      UM_EXCLUDES(lock);

  /// Fails with `RuntimeError` when the utility runs already where it may run once only.
  void _check_existing_instances(const std::string& utility_name, const std::string& group_name,
                                 bool require_group_name) UM_EXCLUDES(lock);

  // ---- Stop and cleanup ---- supervision/stop.cpp ----

  /// Ends an instance and takes it off the books. False, with the books unchanged, when it is
  /// unknown or couldn't be ended. Holds `lock` through all waits, up to 25 seconds. Never fails.
  bool stop_utility_server(const std::string& server_id) UM_EXCLUDES(lock);

  /// Ends every instance, persistent ones too. The monitor goes on.
  void stop_all_utility_servers() UM_EXCLUDES(lock);

  /// Ends the monitor and every instance whose registration isn't persistent now. Wakes the monitor
  /// and waits for its end, at most 2 seconds.
  void cleanup_all_servers() UM_EXCLUDES(lock);

  // ---- Monitor ---- supervision/monitor.cpp ----

  /// Starts the monitor thread unless it is alive. Fails when no thread can be had.
  void _start_monitoring();

  /// The body of the monitor thread: every 10 seconds, takes dead instances off the books.
  void _monitor_loop() UM_EXCLUDES(lock);

  /// Takes a dead instance off the books. Never fails.
  void _handle_server_died(const std::string& server_id) UM_EXCLUDES(lock);

  // ---- Stderr snippets ---- supervision/stderr_snippets.cpp ----

  /// True when the instance is known and its process runs.
  bool is_utility_server_running(const std::string& server_id) UM_EXCLUDES(lock);

  /// The last `max_chars` characters of what an instance wrote to its standard error; empty when
  /// there is nothing to say or `max_chars` is below 1. Reads the rest of a dead child's stream
  /// where no line has come, for at most a second.
  std::string get_utility_stderr_snippet(const std::string& server_id,
                                         std::int64_t max_chars = limits::snippet_characters)
      UM_EXCLUDES(lock);

  /// The same, waiting up to `max_wait` seconds for something to arrive.
  std::string collect_utility_stderr_snippet(const std::string& server_id,
                                             double max_wait = limits::snippet_wait,
                                             std::int64_t max_chars = limits::snippet_characters)
      UM_EXCLUDES(lock);

  // ---- State files ---- persistence/state_files.cpp ----

  /// Where the state file of an instance lies, whether it exists or not.
  std::string _state_file_path(const std::string& server_id) const;

  /// Writes the state file in place. Lets every failure through.
  void _persist_server_state(const ServerInfo& server_info, bool require_group_name) const
      UM_REQUIRES(lock);

  /// Removes the state file if there is one. Never fails.
  void _remove_state_file(const std::string& server_id) const;

  /// Brings the server table in line with the state directory: adopts live instances, drops those
  /// whose file is stale. Never fails; a file that can't be understood stays where it is.
  void _load_persisted_states() UM_EXCLUDES(lock);

  // ---- Dead-server sweep ---- supervision/sweep.cpp ----

  /// Reloads the state files and takes every instance whose process has gone off the books. Lets a
  /// failure to ask a child through.
  void sweep_dead_servers() UM_EXCLUDES(lock);

  // ---- Running lists, views ---- views/views.cpp ----

  /// Every running instance in table order, as the table was at one moment. Sweeps first. Catches
  /// nothing: a failure of the client's services leaves no partial list.
  std::vector<RunningEntry> list_utility_servers() UM_EXCLUDES(lock);

  /// The same by device group. What was stopped meanwhile may still be in it.
  GroupedEntries list_all_running_utilities_grouped() UM_EXCLUDES(lock);

  /// The running instance of a utility for exactly this group, or for no group; nothing when there
  /// is none. Sweeps first, catches nothing.
  std::optional<RunningEntry> _find_running_utility(
      const std::string& utility_name, const std::optional<std::string>& group_name = {})
      UM_EXCLUDES(lock);

  /// What the user may start in each place of the interface, with its running state. Each gives a
  /// list of mappings in catalogue order; they catch nothing.
  values::Value get_utilities_without_group_name() UM_EXCLUDES(lock);
  values::Value get_utilities_with_group_name(const std::string& group_name) UM_EXCLUDES(lock);
  values::Value get_navbar_utilities() UM_EXCLUDES(lock);

  /// The same for the create-experiment menu, sorted by title. White space around `group_name` is
  /// dropped.
  values::Value get_create_exp_utilities(const std::string& group_name) UM_EXCLUDES(lock);

  /// The manager's one mutex.
  mutable Lock lock;

 private:
  class Reservation;

  // ---- The books ---- utility_manager.cpp ----

  /// The table and one instance of it (null when it is unknown), after a stop under way.
  std::shared_ptr<const ServerTable::Records> servers_now() const UM_EXCLUDES(lock);
  ServerTable::Record server(const std::string& server_id) const UM_EXCLUDES(lock);

  /// The three steps in which an instance leaves the books.
  void forget_server(const std::string& server_id) UM_REQUIRES(lock);

  // ---- State files, inside ---- persistence/state_files.cpp ----

  class Reconciliation;

  /// What `_load_persisted_states` does, for who holds `lock`.
  void reload() UM_REQUIRES(lock);
  void apply(Reconciliation& changes) UM_REQUIRES(lock);

  // ---- Monitor, inside ---- supervision/monitor.cpp ----

  /// A pass over the table.
  void remove_dead_servers() UM_EXCLUDES(lock);

  // ---- Records of instances ---- persistence/recovery.cpp ----

  /// Leaves the state file of a persistent instance, the start record of another one. A write that
  /// fails is told once on the client's standard error, and made again later.
  void write_down(const ServerInfo& instance, const Keeping& keeping) UM_REQUIRES(lock);

  /// Writes down what couldn't be written.
  void write_unwritten() UM_EXCLUDES(lock);

  /// Adopts or ends what clients that have gone have started. Signals no process whose command line
  /// doesn't name the instance.
  void recover_starts() UM_EXCLUDES(lock);

  /// Whether the instance is a child of this manager's.
  bool owns(const std::string& server_id) const;

  /// Has an instance that goes on running without this client found by the next one, also when it
  /// wasn't persistent at its start.
  void keep_running(const ServerInfo& instance) UM_EXCLUDES(lock);
  void recover(const Orphan& orphan, const platform::Processes& roots) UM_EXCLUDES(lock);
  void adopt(const StartRecord& start, const platform::Process& process) UM_EXCLUDES(lock);

  // ---- Views ---- views/views.cpp ----

  std::optional<RunningEntry> find_running(const std::string& utility_name,
                                           const std::optional<std::string>& group_name,
                                           Listing& listing) UM_EXCLUDES(lock);
  values::Value view(const CatalogueView& view) UM_EXCLUDES(lock);

  struct Unwritten {
    bool is_persistent = false;
    bool require_group_name = false;
    bool is_told = false;
  };

  // Constant after construction.
  const std::string state_dir_;
  const std::shared_ptr<const void> use_of_directory_;  ///< of the client's configuration directory

  // With protection of their own. What changes table, ports and catalogue holds `lock`.
  ServerTable servers_;
  PortPool ports_;
  const std::shared_ptr<StateFileReader> state_files_;
  Catalogue catalogue_{lock};
  std::atomic<bool> running_ = false;
  mutable std::mutex monitor_mutex_;
  std::shared_ptr<MonitorThread> monitor_thread_;
  const std::shared_ptr<platform::Wakeup> monitor_wakeup_;

  // Under `lock`.
  std::vector<StartMarker> starting_ UM_GUARDED_BY(lock);
  std::map<std::string, Unwritten> unwritten_ UM_GUARDED_BY(lock);
};

/// The client's one manager, made at the first call and never destroyed.
const std::shared_ptr<UtilityServerManager>& utility_manager();

}  // namespace utility_manager
