#include "utility_manager/start_plan.h"

#include <cmath>
#include <utility>

#include "utility_manager/access/access.h"
#include "utility_manager/addresses.h"
#include "utility_manager/failures.h"
#include "utility_manager/host/services.h"
#include "utility_manager/platform/system.h"
#include "utility_manager/registration/placement.h"
#include "utility_manager/registration/registration.h"
#include "utility_manager/values/truthiness.h"

namespace utility_manager {
namespace {

std::string refusal(const values::Value& utility_info, const StartPlan& plan) {
  const auto level = UtilityRegistration::_convert_legacy_access_fields(utility_info);
  auto message = "Permission denied: You do not have permission to start utility '" +
                 plan.utility_name + "'. Required permissions: access_level=" + level;
  if (level == "ORG_ADMIN" && !plan.group_name.empty()) {
    message += " (You must be an admin of the organization that owns device group '" +
               plan.group_name + "')";
  }
  return message;
}

std::optional<std::string> default_language() {
  const auto language = host::services().local->get_default_language();
  if (!values::truthy(language)) return std::nullopt;
  if (!language.is_text()) throw TypeError("get_default_language must give a text");
  return language.text();
}

values::Value config_of_start(const values::Value& utility_config, bool is_navbar,
                              bool require_group_name) {
  if (!is_navbar) return utility_config;
  auto config = utility_config.mapping();
  config["require_group_name"] = false;
  config.erase("group_name");
  if (require_group_name) config["_deferred_group_selection"] = true;
  return config;
}

/// Where the instance is to run, by the registration.
void place(StartPlan& plan, const values::Value& utility_info, const std::string& group_name) {
  plan.is_navbar = is_navbar(utility_info);
  plan.effective_require_group =
      values::truthy_at(utility_info, "require_group_name") && !plan.is_navbar;
  if (!plan.effective_require_group) return;
  if (group_name.empty()) {
    throw RuntimeError("Utility '" + plan.utility_name +
                       "' requires group_name, but group_name was not provided.");
  }
  plan.group_name = group_name;
}

std::optional<std::string> unless_empty(const std::optional<std::string>& text) {
  return text && !text->empty() ? text : std::nullopt;
}

}  // namespace

StartMarker StartPlan::marker() const {
  return {utility_name, effective_require_group ? std::optional(group_name) : std::nullopt,
          server_id};
}

StartPlan plan_start(Catalogue& catalogue, const std::string& group_name,
                     const std::string& utility_name, const values::Value& utility_config,
                     const std::optional<std::string>& utility_module_path) {
  const auto utility_info = catalogue.find(utility_name);
  if (!utility_info || utility_info->fields.mapping().empty()) {
    throw RuntimeError("Utility '" + utility_name + "' is not registered.");
  }
  const auto& fields = utility_info->fields;
  StartPlan plan;
  plan.utility_name = utility_name;
  place(plan, fields, group_name);
  if (!check_utility_permission(fields, nullptr, plan.marker().group_name)) {
    throw RuntimeError(refusal(fields, plan));
  }
  plan.script_path = catalogue.script_of(utility_name, utility_module_path);
  plan.lang = default_language();
  plan.studio_url = gui_address(host::services().local->get_gui_addr());
  plan.is_persistent = values::truthy_at(fields, "persistent");
  plan.config = config_of_start(utility_config, plan.is_navbar,
                                values::truthy_at(fields, "require_group_name"));
  plan.server_id = platform::system().random_uuid();
  return plan;
}

ServerInfo planned_instance(const StartPlan& plan, std::int64_t port) {
  ServerInfo info;
  info.server_id = plan.server_id;
  info.utility_name = plan.utility_name;
  info.port = port;
  info.config = plan.config;
  info.create_time = static_cast<std::int64_t>(std::floor(platform::system().wall_clock()));
  info.lang = unless_empty(plan.lang);
  info.studio_url = unless_empty(plan.studio_url);
  if (plan.effective_require_group) info.group_name = plan.group_name;
  return info;
}

ServerInfo new_instance(const StartPlan& plan, std::int64_t port,
                        std::shared_ptr<platform::ProcessHandle> process) {
  if (!process) throw TypeError("process must be the handle of a child process");
  auto info = planned_instance(plan, port);
  info.pid = process->pid();
  info.process = std::move(process);
  return info;
}

}  // namespace utility_manager
