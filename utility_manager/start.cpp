#include <algorithm>

#include "utility_manager/addresses.h"
#include "utility_manager/command_line.h"
#include "utility_manager/persistence/start_record.h"
#include "utility_manager/platform/files.h"
#include "utility_manager/start_plan.h"
#include "utility_manager/utility_manager.h"
#include "utility_manager/values/truthiness.h"

namespace utility_manager {
namespace {

RuntimeError runs_in_navbar(const std::string& utility_name) {
  return RuntimeError("Utility '" + utility_name +
                      "' is already running. Stop the existing instance before starting again.");
}

RuntimeError runs_in_group(const std::string& utility_name, const std::string& group_name) {
  return RuntimeError("Utility '" + utility_name + "' is already running in group '" + group_name +
                      "'. Only one instance per group is allowed.");
}

RuntimeError runs_globally(const std::string& utility_name) {
  return RuntimeError("Utility '" + utility_name +
                      "' is already running globally. Only one global instance is allowed.");
}

/// Refuses a start beside what runs. `registered_per_group` is what the registration of this name
/// says now.
void check_instances(const ServerTable::Records& instances, const StartMarker& wanted,
                     bool registered_per_group) {
  for (const auto& instance : instances) {
    if (instance->utility_name != wanted.utility_name) continue;
    if (wanted.group_name.has_value() != registered_per_group) continue;
    if (!wanted.group_name) throw runs_globally(wanted.utility_name);
    if (instance->group_name == wanted.group_name) {
      throw runs_in_group(wanted.utility_name, *wanted.group_name);
    }
  }
}

void check_navbar_instances(const ServerTable::Records& instances, const StartPlan& plan) {
  for (const auto& instance : instances) {
    if (instance->utility_name == plan.utility_name) throw runs_in_navbar(plan.utility_name);
  }
}

/// What the starts of other managers take: their ports, and the persistent utilities.
struct Taken {
  std::vector<std::int64_t> ports;
  std::vector<StartMarker> starting;
};

Taken taken_by(const std::vector<StartRecord>& others) {
  Taken taken;
  for (const auto& [state, is_persistent, require_group_name, client] : others) {
    taken.ports.push_back(state.port);
    const auto instance = is_persistent ? state.record(0) : std::nullopt;
    if (!instance || !instance->utility_name) continue;
    taken.starting.push_back({*instance->utility_name, instance->group_name, state.server_id});
  }
  return taken;
}

bool is_among(const std::vector<StartMarker>& starting, const std::string& server_id) {
  return std::ranges::find(starting, server_id, &StartMarker::server_id) != starting.end();
}

void check_starts_in_progress(const std::vector<StartMarker>& starting, const StartPlan& plan) {
  for (const auto& marker : starting) {
    if (marker.utility_name != plan.utility_name) continue;
    if (plan.is_navbar) throw runs_in_navbar(plan.utility_name);
    if (marker.group_name != plan.marker().group_name) continue;
    if (plan.effective_require_group) throw runs_in_group(plan.utility_name, plan.group_name);
    throw runs_globally(plan.utility_name);
  }
}

Keeping keeping_of(const StartPlan& plan) {
  return {.is_persistent = plan.is_persistent, .require_group_name = plan.effective_require_group};
}

bool runs_per_group(Catalogue& catalogue, const std::string& utility_name) {
  const auto info = catalogue.find(utility_name);
  return info && values::truthy_at(info->fields, "require_group_name");
}

}  // namespace

/// A reserved port, the marker of the start that holds it and the start record. Gives all back
/// unless the instance has been recorded.
class UtilityServerManager::Reservation {
 public:
  /// Fails with `RuntimeError` when the utility runs already or there is no port.
  Reservation(UtilityServerManager& manager, const StartPlan& plan)
      : manager_(manager), server_id_(plan.server_id), marker_(plan.marker()) {
    auto marker = marker_;
    const bool per_group = runs_per_group(manager.catalogue_, plan.utility_name);
    const LockHeld held(manager.lock);
    const platform::DirectoryLock alone(manager.state_dir_, limits::directory_lock_wait);
    manager.reload();
    const auto others = taken_by(
        records_of_running_clients(manager.state_dir_, known_to(manager, manager.starting_)));
    check(plan, per_group, others.starting);
    manager.starting_.reserve(manager.starting_.size() + 1);
    const auto port = manager.ports_.available(others.ports);
    if (!port) throw RuntimeError("No available ports in port pool");
    port_ = *port;
    manager.ports_.use(port_, manager.lock);
    manager.starting_.push_back(std::move(marker));  // can't fail any more
    write_record(plan);
  }
  Reservation(const Reservation&) = delete;
  Reservation& operator=(const Reservation&) = delete;

  ~Reservation() {
    if (recorded_) return;
    remove_start_record(manager_.state_dir_, server_id_);
    const LockHeld held(manager_.lock);
    manager_.ports_.release(port_, manager_.lock);
    std::erase(manager_.starting_, marker_);
  }

  std::int64_t port() const { return port_; }

  /// The child has this id.
  void spawned(std::int64_t pid) {
    try {
      add_process_id(manager_.state_dir_, server_id_, pid);
    } catch (const std::exception&) {  // it can be found by its command line
    }
  }

  /// The instance stands in the table, which owns the port now; the marker has gone.
  void recorded() { recorded_ = true; }

 private:
  static IsKnown known_to(const UtilityServerManager& manager,
                          const std::vector<StartMarker>& starting) {
    return [&manager, &starting](const std::string& server_id) {
      return manager.owns(server_id) || is_among(starting, server_id);
    };
  }

  void check(const StartPlan& plan, bool per_group, const std::vector<StartMarker>& others)
      UM_REQUIRES(manager_.lock) {
    const auto instances = manager_.servers_.records();
    if (plan.is_navbar) {
      check_navbar_instances(*instances, plan);
    } else {
      check_instances(*instances, marker_, per_group);
    }
    check_starts_in_progress(manager_.starting_, plan);
    check_starts_in_progress(others, plan);
  }

  void write_record(const StartPlan& plan) {
    try {
      write_start_record(manager_.state_dir_, planned_instance(plan, port_), keeping_of(plan));
    } catch (const std::exception&) {  // tried again when the instance has entered the table
    }
  }

  UtilityServerManager& manager_;
  const std::string server_id_;
  const StartMarker marker_;
  std::int64_t port_ = 0;
  bool recorded_ = false;
};

values::Value UtilityServerManager::start_utility_server(
    const std::string& group_name, const std::string& utility_name,
    const values::Value& utility_config, const std::optional<std::string>& utility_module_path) {
  if (!utility_config.is_mapping()) throw TypeError("utility_config must be a mapping");
  _load_persisted_states();
  recover_starts();
  const auto plan =
      plan_start(catalogue_, group_name, utility_name, utility_config, utility_module_path);
  Reservation reservation(*this, plan);
  const auto port = reservation.port();
  const auto child = launch(command_line(plan, port),
                            [&reservation](std::int64_t pid) { reservation.spawned(pid); });
  auto info = new_instance(plan, port, child.process);
  info.stderr_buffer = child.stderr_buffer;
  const auto instance = std::make_shared<const ServerInfo>(std::move(info));
  {
    const LockHeld held(lock);
    servers_.add(instance, lock);
    std::erase(starting_, plan.marker());
    reservation.recorded();
    write_down(*instance, keeping_of(plan));
    if (!running_) {
      try {
        _start_monitoring();
      } catch (const std::exception&) {  // the next start tries again, and lists look by themselves
      }
    }
  }
  return {{"server_id", plan.server_id},
          {"port", port},
          {"local_url", local_address(port)},
          {"url", build_mapped_url(utility_name, plan.group_name, plan.effective_require_group)},
          {"pid", instance->pid}};
}

LaunchedProcess UtilityServerManager::_start_process(const std::vector<std::string>& process_args,
                                                     std::int64_t port) {
  try {
    return launch(process_args);
  } catch (const RuntimeError&) {
    const LockHeld held(lock);
    ports_.release(port, lock);
    throw;
  }
}

void UtilityServerManager::_check_existing_instances(const std::string& utility_name,
                                                     const std::string& group_name,
                                                     bool require_group_name) {
  const auto same_name = [&](const auto& info) { return info->utility_name == utility_name; };
  if (std::ranges::none_of(servers(), same_name)) return;
  const bool per_group = runs_per_group(catalogue_, utility_name);
  const LockHeld held(lock);
  check_instances(servers(),
                  {utility_name, require_group_name ? std::optional(group_name) : std::nullopt},
                  per_group);
}

}  // namespace utility_manager
