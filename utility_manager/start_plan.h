#pragma once

#include <optional>
#include <string>

#include "utility_manager/catalogue/catalogue.h"
#include "utility_manager/server_info.h"
#include "utility_manager/start_marker.h"
#include "utility_manager/values/value.h"

namespace utility_manager {

/// What a start has found out and decided before it reserves anything. The command line and the
/// instance are made from it.
struct StartPlan {
  std::string server_id;
  std::string utility_name;
  std::string group_name;  ///< non-empty exactly if the instance is bound to a group
  bool is_navbar = false;
  bool effective_require_group = false;
  bool is_persistent = false;
  std::string script_path;
  std::optional<std::string> lang;
  std::optional<std::string> studio_url;
  values::Value config;  ///< a mapping

  StartMarker marker() const;
};

/// Decides what a start is to do. Fails with `RuntimeError` and the message for the user when it is
/// refused; lets failures of the language and address services through. Takes the manager's lock
/// for what it adds to the catalogue alone.
StartPlan plan_start(Catalogue& catalogue, const std::string& group_name,
                     const std::string& utility_name, const values::Value& utility_config,
                     const std::optional<std::string>& utility_module_path);

/// The instance that is to be, without a process.
ServerInfo planned_instance(const StartPlan& plan, std::int64_t port);

/// The instance of a child that was started as planned, without its stderr buffer. `lang` and
/// `studio_url` are left out when empty, `group_name` unless the instance is bound to it. Fails
/// with `TypeError` when `process` is null.
ServerInfo new_instance(const StartPlan& plan, std::int64_t port,
                        std::shared_ptr<platform::ProcessHandle> process);

}  // namespace utility_manager
