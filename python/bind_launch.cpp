#include "python/bind.h"
#include "utility_manager/command_line.h"
#include "utility_manager/persistence/state_directory.h"
#include "utility_manager/platform/system.h"
#include "utility_manager/start_error.h"
#include "utility_manager/start_plan.h"

namespace utility_manager::python {
namespace {

/// An argument that the result shows as the very object that was given.
template <typename Kind>
struct Same {
  struct Type {
    typename Kind::Type value;
    PyObject* object;  ///< lives as long as the call
  };
  static std::string name() { return Kind::name(); }
  static Type read(PyObject* object, const ArgumentName& which) {
    return {Kind::read(object, which), object};
  }
};

struct CreatedInfo {
  ServerInfo info;
  PyObject* process;
  PyObject* config;
};

/// What two operations get instead of a plan.
StartPlan plan_of(const std::string& server_id, const std::string& utility_name,
                  const std::string& group_name, bool require_group_name,
                  const values::Value& utility_config, const std::optional<std::string>& lang,
                  const std::optional<std::string>& studio_url) {
  StartPlan plan;
  plan.server_id = server_id;
  plan.utility_name = utility_name;
  plan.group_name = group_name;
  plan.effective_require_group = require_group_name;
  plan.config = utility_config;
  plan.lang = lang;
  plan.studio_url = studio_url;
  return plan;
}

CreatedInfo create_server_info(const std::string& server_id, const std::string& utility_name,
                               std::int64_t port, const Same<Process>::Type& process,
                               const Same<Mapping>::Type& config, const std::string& group_name,
                               bool require_group_name, const std::optional<std::string>& lang,
                               const std::optional<std::string>& studio_url) {
  const auto plan = plan_of(server_id, utility_name, group_name, require_group_name, config.value,
                            lang, studio_url);
  return {new_instance(plan, port, process.value), process.object, config.object};
}

Ref given(const CreatedInfo& created) {
  Ref dict = python::given(created.info);
  checked(PyDict_SetItemString(dict.get(), "process", created.process));
  checked(PyDict_SetItemString(dict.get(), "config", created.config));
  return dict;
}

std::vector<std::string> build_process_args(
    const std::string& script_path, const std::string& server_id, const std::string& utility_name,
    std::int64_t port, const std::string& group_name, bool require_group_name,
    const values::Value& utility_config, const std::optional<std::string>& lang,
    const std::optional<std::string>& studio_url, bool persistent) {
  auto plan = plan_of(server_id, utility_name, group_name, require_group_name, utility_config, lang,
                      studio_url);
  plan.script_path = script_path;
  plan.is_persistent = persistent;
  return command_line(plan, port);
}

FilePath get_state_dir() {
  return {make_state_directory()};
}

bool is_port_available(std::int64_t port) {
  return platform::system().can_bind(port);
}

using Lines = std::vector<std::optional<std::string>>;

std::string format_utility_start_error(const std::string& base_msg,
                                       const std::optional<Lines>& stderr_buffer) {
  StartErrorDigest digest;
  for (const auto& line : stderr_buffer.value_or(Lines())) digest.add(line.value_or(""));
  return digest.text(base_msg);
}

}  // namespace

void bind_launch(PyObject* manager) {
  bind<&get_state_dir>(manager, "_get_state_dir");
  bind<&create_server_info, Text, Text, Integer, Same<Process>, Same<Mapping>, Text, Truth,
       Optional<Text>, Optional<Text>>(
      manager, "_create_server_info",
      {"server_id", "utility_name", "port", "process", "utility_config", "group_name",
       "require_group_name", "lang", optional("studio_url")});
  bind<&is_port_available, Integer>(manager, "_is_port_available", {"port"});
  bind<under_lock<&Manager::_get_available_port>>(manager, "_get_available_port");

  bind<&build_process_args, Path, Text, Text, Integer, Text, Truth, Mapping, Optional<Text>,
       Optional<Text>, Truth>(
      manager, "_build_process_args",
      {"script_path", "server_id", "utility_name", "port", "group_name", "require_group_name",
       "utility_config", optional("lang"), optional("studio_url"), optional("persistent", false)});
  bind<&Manager::_start_process, ListOf<Path>, Integer>(manager, "_start_process",
                                                        {"process_args", "port"});
  bind<&format_utility_start_error, Text, Optional<ListOf<Optional<Text>>>>(
      manager, "_format_utility_start_error", {"base_msg", optional("stderr_buffer")});

  bind<&Manager::start_utility_server, Text, Text, Mapping, Optional<Path>>(
      manager, "start_utility_server",
      {"group_name", "utility_name", "utility_config", optional("utility_module_path")});
  bind<&Manager::_check_existing_instances, Text, Text, Truth>(
      manager, "_check_existing_instances", {"utility_name", "group_name", "require_group_name"});
}

}  // namespace utility_manager::python
