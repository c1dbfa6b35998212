#pragma once

#include <atomic>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "tests/children/start_child.h"
#include "utility_manager/host/services.h"
#include "utility_manager/platform/process.h"
#include "utility_manager/values/value.h"

namespace utility_manager::fakes {

using values::Value;

/// A directory of its own below the system's directory for temporary files; removed with the
/// object.
class TemporaryDirectory {
 public:
  TemporaryDirectory();
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
  ~TemporaryDirectory();

  std::string path(const std::string& name = {}) const;
  std::string operator/(const std::string& name) const { return path(name); }

  /// Writes a file, making its parents; gives its path.
  std::string write(const std::string& name, const std::string& bytes) const;

 private:
  std::filesystem::path directory_;
};

/// What one plugin answers. An item that is no mapping stands as it is; an item of the text
/// "unconvertible" under the key "poison" fails when it is converted.
struct FakePlugin {
  std::string name = "plugin";
  std::function<std::vector<Value>()> registrations;
  std::atomic<int> calls = 0;
};

/// The client's services, in memory, each open to be replaced by a test. Binds itself for its life,
/// with a table of processes.
class FakeClient : public host::Local,
                   public host::Organization,
                   public host::Device,
                   public host::PythonHost,
                   public host::PluginRegister {
 public:
  explicit FakeClient(const platform::ProcessTable& processes = platform::bare_processes());
  FakeClient(const FakeClient&) = delete;
  FakeClient& operator=(const FakeClient&) = delete;
  ~FakeClient() override;

  TemporaryDirectory directory;                      ///< holds "config" and "plugins"
  std::vector<std::shared_ptr<FakePlugin>> plugins;  ///< the walk fails at a null
  Value language = "en";
  Value gui_addr = {{"server_addr", "127.0.0.1"}, {"port", 7000}};
  Value org_list = {{"is_system_admin", true}, {"organizations", values::List()}};
  std::map<std::string, Value> group_details;
  std::optional<std::string> base_interpreter = child_program();
  std::string interpreter = child_program();

  /// Called with the name of a service before it answers; may throw.
  std::function<void(const std::string& service)> before;
  std::map<std::string, int> calls;            ///< by name of the service
  std::vector<std::string> module_path;        ///< as `sys.path`
  std::map<std::string, std::string> modules;  ///< plugin name by module name; others fail to load

  /// Adds a plugin with fixed registrations.
  std::shared_ptr<FakePlugin> add_plugin(const std::string& name, std::vector<Value> registrations);

  std::string config_path(const std::string& name = {}) const;

  std::string get_default_config_dir() override;
  std::string get_plugin_dir() override;
  Value get_default_language() override;
  Value get_gui_addr() override;
  Value get_org_list() override;
  Value get_group_detail(const std::string& group_name) override;
  std::optional<std::string> base_executable() override;
  std::string executable() override;
  void ensure_on_module_path(const std::string& directory) override;
  bool module_carries_plugin_name(const std::string& name, const std::string& plugin_name) override;
  std::string built_in_plugin_directory() override;
  std::unique_ptr<host::PluginWalk> get_plugins_by_hook(const std::string& hook) override;

 private:
  void asked(const std::string& service);

  host::Services previous_;
  platform::BindProcesses processes_;
  std::mutex calls_mutex_;
};

}  // namespace utility_manager::fakes
