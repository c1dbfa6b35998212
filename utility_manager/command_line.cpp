#include "utility_manager/command_line.h"

#include <utility>

#include "utility_manager/failures.h"
#include "utility_manager/host/services.h"
#include "utility_manager/platform/files.h"
#include "utility_manager/platform/system.h"
#include "utility_manager/values/json_write.h"
#include "utility_manager/values/text.h"

namespace utility_manager {
namespace {

std::string interpreter_of_client() {
  auto& python = *host::services().python;
  const auto base = python.base_executable();
  const bool usable = base && !values::strip(*base).empty() && platform::is_regular_file(*base);
  return usable ? *base : python.executable();
}

std::string config_text(const StartPlan& plan) {
  if (!plan.config.is_mapping()) throw TypeError("utility_config must be a mapping");
  if (!plan.effective_require_group) {
    return values::write_json(plan.config, values::Characters::escaped);
  }
  auto config = plan.config.mapping();
  config["group_name"] = plan.group_name;
  return values::write_json(config, values::Characters::escaped);
}

}  // namespace

std::string client_interpreter() {
  const std::string windowless = "pythonw.exe";
  const std::string with_console = "python.exe";
  auto path = interpreter_of_client();
  if (platform::system().is_windows() && values::lower_case(path).ends_with(windowless)) {
    auto sibling = path.substr(0, path.size() - windowless.size()) + with_console;
    if (platform::is_regular_file(sibling)) return sibling;
  }
  return path;
}

std::vector<std::string> command_line(const StartPlan& plan, std::int64_t port) {
  std::vector<std::string> args = {client_interpreter(), "-s", "-u", plan.script_path};
  const auto add = [&args](const char* option, std::string value) {
    args.emplace_back(option);
    args.push_back(std::move(value));
  };
  add("--server-id", plan.server_id);
  add("--utility-name", plan.utility_name);
  add("--port", std::to_string(port));
  if (plan.effective_require_group) add("--group-name", plan.group_name);
  add("--config", config_text(plan));
  if (plan.lang && !plan.lang->empty()) add("--lang", *plan.lang);
  if (plan.studio_url && !plan.studio_url->empty()) add("--studio-url", *plan.studio_url);
  if (plan.is_persistent) args.emplace_back("--persistent");
  return args;
}

}  // namespace utility_manager
