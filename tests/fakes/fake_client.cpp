#include "tests/fakes/fake_client.h"

#include <algorithm>
#include <fstream>
#include <utility>

#include "utility_manager/failures.h"
#include "utility_manager/host/failures.h"
#include "utility_manager/platform/system.h"

namespace utility_manager::fakes {
namespace {

class Items : public host::Registrations {
 public:
  explicit Items(std::vector<Value> items) : items_(std::move(items)) {}

  std::size_t count() const override { return items_.size(); }
  bool is_mapping(std::size_t index) const override { return items_[index].is_mapping(); }

  bool is_named(std::size_t index, const std::string& utility_name) const override {
    const auto& item = items_[index];
    return item.is_mapping() && item.mapping().at_or("utility_name", nullptr) == utility_name;
  }

  Value mapping(std::size_t index) const override {
    if (items_[index].mapping().contains("poison")) throw utility_manager::TypeError("poison");
    return items_[index];
  }

 private:
  const std::vector<Value> items_;
};

class PluginView : public host::Plugin {
 public:
  explicit PluginView(std::shared_ptr<FakePlugin> plugin) : plugin_(std::move(plugin)) {}

  std::string name() const override { return plugin_->name; }

  std::unique_ptr<host::Registrations> utility_server_register() const override {
    ++plugin_->calls;
    return std::make_unique<Items>(plugin_->registrations());
  }

 private:
  const std::shared_ptr<FakePlugin> plugin_;
};

class Walk : public host::PluginWalk {
 public:
  explicit Walk(std::vector<std::shared_ptr<FakePlugin>> plugins) : plugins_(std::move(plugins)) {}

  std::unique_ptr<host::Plugin> next() override {
    if (next_ == plugins_.size()) return nullptr;
    if (!plugins_[next_]) throw host::HostFailure("the walk breaks off");
    return std::make_unique<PluginView>(plugins_[next_++]);
  }

 private:
  const std::vector<std::shared_ptr<FakePlugin>> plugins_;
  std::size_t next_ = 0;
};

}  // namespace

TemporaryDirectory::TemporaryDirectory() {
  const auto name = "utility_manager." + platform::System().random_uuid();
  directory_ = std::filesystem::temp_directory_path() / name;
  std::filesystem::create_directory(directory_);
}

TemporaryDirectory::~TemporaryDirectory() {
  std::error_code ignored;
  std::filesystem::remove_all(directory_, ignored);
}

std::string TemporaryDirectory::path(const std::string& name) const {
  return native_path((name.empty() ? directory_ : directory_ / name).string());
}

std::string TemporaryDirectory::write(const std::string& name, const std::string& bytes) const {
  const std::filesystem::path file = path(name);
  std::filesystem::create_directories(file.parent_path());
  std::ofstream(file, std::ios::binary) << bytes;
  return file.string();
}

FakeClient::FakeClient(const platform::ProcessTable& processes)
    : previous_(host::services()), processes_(processes) {
  std::filesystem::create_directories(directory.path("plugins"));
  host::bind({.plugin_register = this,
              .local = this,
              .organization = this,
              .device = this,
              .python = this});
}

FakeClient::~FakeClient() {
  host::bind(previous_);
}

std::shared_ptr<FakePlugin> FakeClient::add_plugin(const std::string& name,
                                                   std::vector<Value> registrations) {
  auto plugin = std::make_shared<FakePlugin>();
  plugin->name = name;
  plugin->registrations = [items = std::move(registrations)] { return items; };
  plugins.push_back(plugin);
  return plugin;
}

std::string FakeClient::config_path(const std::string& name) const {
  return directory.path("config" + (name.empty() ? "" : "/" + name));
}

std::string FakeClient::get_default_config_dir() {
  asked("get_default_config_dir");
  return config_path();
}

std::string FakeClient::get_plugin_dir() {
  asked("get_plugin_dir");
  return directory.path("plugins");
}

Value FakeClient::get_default_language() {
  asked("get_default_language");
  return language;
}

Value FakeClient::get_gui_addr() {
  asked("get_gui_addr");
  return gui_addr;
}

Value FakeClient::get_org_list() {
  asked("get_org_list");
  return org_list;
}

Value FakeClient::get_group_detail(const std::string& group_name) {
  asked("get_group_detail");
  const auto detail = group_details.find(group_name);
  if (detail == group_details.end()) throw host::HostFailure("no such group");
  return detail->second;
}

std::optional<std::string> FakeClient::base_executable() {
  return base_interpreter;
}

std::string FakeClient::executable() {
  return interpreter;
}

void FakeClient::ensure_on_module_path(const std::string& directory) {
  if (std::find(module_path.begin(), module_path.end(), directory) == module_path.end()) {
    module_path.insert(module_path.begin(), directory);
  }
}

bool FakeClient::module_carries_plugin_name(const std::string& name,
                                            const std::string& plugin_name) {
  asked("import " + name);
  const auto module = modules.find(name);
  if (module == modules.end()) throw host::HostFailure("No module named '" + name + "'");
  return module->second == plugin_name;
}

std::string FakeClient::built_in_plugin_directory() {
  asked("built_in");
  return directory.path("built_in");
}

std::unique_ptr<host::PluginWalk> FakeClient::get_plugins_by_hook(const std::string& hook) {
  asked("get_plugins_by_hook " + hook);
  return std::make_unique<Walk>(plugins);
}

void FakeClient::asked(const std::string& service) {
  {
    const std::lock_guard held(calls_mutex_);
    ++calls[service];
  }
  if (before) before(service);
}

}  // namespace utility_manager::fakes
