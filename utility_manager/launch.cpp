#include "host/services.h"
#include "platform/files.h"
#include "platform/system.h"
#include "utility_manager/start_error.h"
#include "utility_manager/utility_manager.h"
#include "values/json_write.h"
#include "values/text.h"

namespace utility_manager {
namespace {

std::string client_interpreter() {
  auto& python = *host::services().python;
  const auto base = python.base_executable();
  const bool usable = base && !values::strip(*base).empty() && platform::is_regular_file(*base);
  return usable ? *base : python.executable();
}

std::string config_text(const values::Value& utility_config, const std::string& group_name,
                        bool require_group_name) {
  if (!utility_config.is_object()) throw TypeError("utility_config must be a mapping");
  if (!require_group_name) {
    return values::write_json(utility_config, values::Characters::escaped);
  }
  auto config = utility_config;
  config["group_name"] = group_name;
  return values::write_json(config, values::Characters::escaped);
}

}  // namespace

std::string _utility_subprocess_python_executable() {
  const std::string windowless = "pythonw.exe";
  const std::string with_console = "python.exe";
  const auto path = client_interpreter();
  if (platform::system().is_windows() && values::lower_case(path).ends_with(windowless)) {
    const auto sibling = path.substr(0, path.size() - windowless.size()) + with_console;
    if (platform::is_regular_file(sibling)) return sibling;
  }
  return path;
}

std::vector<std::string> UtilityServerManager::_build_process_args(
    const std::string& script_path, const std::string& server_id, const std::string& utility_name,
    std::int64_t port, const std::string& group_name, bool require_group_name,
    const values::Value& utility_config, const std::optional<std::string>& lang,
    const std::optional<std::string>& studio_url, bool persistent) {
  std::vector<std::string> args = {_utility_subprocess_python_executable(), "-s", "-u",
                                   script_path};
  const auto add = [&args](const char* option, std::string value) {
    args.emplace_back(option);
    args.push_back(std::move(value));
  };
  add("--server-id", server_id);
  add("--utility-name", utility_name);
  add("--port", std::to_string(port));
  if (require_group_name) add("--group-name", group_name);
  add("--config", config_text(utility_config, group_name, require_group_name));
  if (lang && !lang->empty()) add("--lang", *lang);
  if (studio_url && !studio_url->empty()) add("--studio-url", *studio_url);
  if (persistent) args.emplace_back("--persistent");
  return args;
}

LaunchedProcess UtilityServerManager::_start_process(const std::vector<std::string>& process_args,
                                                     std::int64_t port) {
  try {
    return launch(process_args);
  } catch (const RuntimeError&) {
    const LockHeld held(lock);
    release_port(port);
    throw;
  }
}

std::string UtilityServerManager::_format_utility_start_error(
    const std::string& base_msg, const std::vector<std::string>& stderr_buffer) {
  return start_error_digest(base_msg, stderr_buffer);
}

}  // namespace utility_manager
