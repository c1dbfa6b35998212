#include "host/services.h"
#include "platform/system.h"
#include "utility_manager/addresses.h"
#include "utility_manager/utility_manager.h"
#include "values/truthiness.h"

namespace utility_manager {

/// What a start has found out and decided before it reserves anything.
struct UtilityServerManager::StartPlan {
  std::string utility_name;
  std::string group_name;  ///< non-empty exactly if the instance is bound to a group
  bool is_navbar = false;
  bool effective_require_group = false;
  bool is_persistent = false;
  std::string script_path;
  std::optional<std::string> lang;
  std::optional<std::string> studio_url;
  values::Value config;
  std::string server_id;

  StartMarker marker() const {
    return {utility_name, effective_require_group ? std::optional(group_name) : std::nullopt};
  }
};

/// A reserved port and the marker of the start that holds it. Gives both back unless the instance
/// has been recorded.
class UtilityServerManager::Reservation {
 public:
  Reservation(UtilityServerManager& manager, const StartPlan& plan)
      : manager_(manager), marker_(plan.marker()) {
    auto marker = marker_;
    const LockHeld held(manager.lock);
    manager.starting_.reserve(manager.starting_.size() + 1);
    port_ = manager.reserve_port(plan);
    manager.starting_.push_back(std::move(marker));  // can't fail any more
  }
  Reservation(const Reservation&) = delete;
  Reservation& operator=(const Reservation&) = delete;

  ~Reservation() {
    if (recorded_) return;
    const LockHeld held(manager_.lock);
    manager_.release_port(port_);
    std::erase(manager_.starting_, marker_);
  }

  std::int64_t port() const { return port_; }

  /// The instance stands in the table and owns the port now.
  void recorded() { recorded_ = true; }

 private:
  UtilityServerManager& manager_;
  const StartMarker marker_;
  std::int64_t port_ = 0;
  bool recorded_ = false;
};

namespace {

std::string refusal(const values::Value& utility_info, const std::string& utility_name,
                    const std::string& group_name) {
  const auto level = UtilityRegistration::_convert_legacy_access_fields(utility_info);
  auto message = "Permission denied: You do not have permission to start utility '" + utility_name +
                 "'. Required permissions: access_level=" + level;
  if (level == "ORG_ADMIN" && !group_name.empty()) {
    message +=
        " (You must be an admin of the organization that owns device group '" + group_name + "')";
  }
  return message;
}

std::optional<std::string> default_language() {
  const auto language = host::services().local->get_default_language();
  if (!values::truthy(language)) return std::nullopt;
  if (!language.is_string()) throw TypeError("get_default_language must give a text");
  return language.get<std::string>();
}

values::Value config_of_start(const values::Value& utility_config, bool is_navbar,
                              bool require_group_name) {
  auto config = utility_config;
  if (!is_navbar) return config;
  config["require_group_name"] = false;
  config.erase("group_name");
  if (require_group_name) config["_deferred_group_selection"] = true;
  return config;
}

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

}  // namespace

values::Value UtilityServerManager::start_utility_server(
    const std::string& group_name, const std::string& utility_name,
    const values::Value& utility_config, const std::optional<std::string>& utility_module_path) {
  if (!utility_config.is_object()) throw TypeError("utility_config must be a mapping");
  _load_persisted_states();
  const auto plan = plan_start(group_name, utility_name, utility_config, utility_module_path);
  Reservation reservation(*this, plan);
  const auto port = reservation.port();
  const auto child = launch(_build_process_args(
      plan.script_path, plan.server_id, plan.utility_name, port, plan.group_name,
      plan.effective_require_group, plan.config, plan.lang, plan.studio_url, plan.is_persistent));
  auto info = _create_server_info(plan.server_id, plan.utility_name, port, child.process,
                                  plan.config, plan.group_name, plan.effective_require_group,
                                  plan.lang, plan.studio_url);
  info.stderr_buffer = child.stderr_buffer;
  const auto pid = info.pid;
  {
    const auto record = std::make_shared<const ServerInfo>(std::move(info));
    const LockHeld held(lock);
    record_start(plan, record);
    reservation.recorded();
    announce_start(plan, *record);
  }
  return {{"server_id", plan.server_id},
          {"port", port},
          {"local_url", local_address(port)},
          {"url", _build_mapped_url(utility_name, plan.group_name, plan.effective_require_group)},
          {"pid", pid}};
}

UtilityServerManager::StartPlan UtilityServerManager::plan_start(
    const std::string& group_name, const std::string& utility_name,
    const values::Value& utility_config, const std::optional<std::string>& utility_module_path) {
  const auto utility_info = _get_utility_info(utility_name);
  if (!utility_info || utility_info->fields.empty()) {
    throw RuntimeError("Utility '" + utility_name + "' is not registered.");
  }
  const auto& fields = utility_info->fields;
  const bool require_group_name = values::truthy_at(fields, "require_group_name");
  StartPlan plan;
  plan.utility_name = utility_name;
  plan.is_navbar = _utility_is_navbar(fields);
  plan.effective_require_group = require_group_name && !plan.is_navbar;
  if (plan.effective_require_group) plan.group_name = group_name;
  if (plan.effective_require_group && group_name.empty()) {
    throw RuntimeError("Utility '" + utility_name +
                       "' requires group_name, but group_name was not provided.");
  }
  const auto group = plan.marker().group_name;
  if (!_check_utility_permission(fields, nullptr, group)) {
    throw RuntimeError(refusal(fields, utility_name, plan.group_name));
  }
  plan.script_path = _get_utility_script_path(utility_name, utility_module_path);
  plan.lang = default_language();
  plan.studio_url = gui_address(host::services().local->get_gui_addr());
  plan.is_persistent = values::truthy_at(fields, "persistent");
  plan.config = config_of_start(utility_config, plan.is_navbar, require_group_name);
  plan.server_id = platform::system().random_uuid();
  return plan;
}

std::int64_t UtilityServerManager::reserve_port(const StartPlan& plan) {
  if (plan.is_navbar) {
    for (const auto& record : servers_.records()) {
      if (record->utility_name == plan.utility_name) throw runs_in_navbar(plan.utility_name);
    }
  } else {
    _check_existing_instances(plan.utility_name, plan.group_name, plan.effective_require_group);
  }
  check_starts_in_progress(plan);
  const auto port = _get_available_port();
  if (!port) throw RuntimeError("No available ports in port pool");
  used_ports_.insert(*port);
  return *port;
}

void UtilityServerManager::check_starts_in_progress(const StartPlan& plan) const {
  for (const auto& marker : starting_) {
    if (marker.utility_name != plan.utility_name) continue;
    if (plan.is_navbar) throw runs_in_navbar(plan.utility_name);
    if (marker != plan.marker()) continue;
    if (plan.effective_require_group) throw runs_in_group(plan.utility_name, plan.group_name);
    throw runs_globally(plan.utility_name);
  }
}

void UtilityServerManager::record_start(const StartPlan& plan, ServerTable::Record record) {
  servers_.add(std::move(record));
  std::erase(starting_, plan.marker());
}

void UtilityServerManager::announce_start(const StartPlan& plan, const ServerInfo& record) {
  if (plan.is_persistent) {
    try {
      _persist_server_state(record, plan.effective_require_group);
    } catch (const std::exception&) {  // it runs on without a state file
    }
  }
  if (!running_) _start_monitoring();
}

void UtilityServerManager::_check_existing_instances(const std::string& utility_name,
                                                     const std::string& group_name,
                                                     bool require_group_name) {
  for (const auto& record : servers_.records()) {
    if (record->utility_name != utility_name) continue;
    const auto info = _get_utility_info(utility_name, true);
    const bool existing_requires = info && values::truthy_at(info->fields, "require_group_name");
    if (require_group_name != existing_requires) continue;
    if (!require_group_name) throw runs_globally(utility_name);
    if (record->group_name == group_name) throw runs_in_group(utility_name, group_name);
  }
}

}  // namespace utility_manager
