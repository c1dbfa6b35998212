#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "tests/fakes/fake_client.h"
#include "tests/fakes/fake_system.h"
#include "tests/json.h"
#include "utility_manager/supervision/monitor_thread.h"
#include "utility_manager/utility_manager.h"

using namespace utility_manager;
using fakes::FakeHandle;
using utility_manager::LockHeld;
using utility_manager::RuntimeError;
using utility_manager::TypeError;
using utility_manager::UtilityServerManager;
using values::json;
using values::List;
using values::Mapping;
using values::read_json;
using values::Value;

/// A manager over the fakes, with real processes. Ends its monitor and its instances.
class ManagerTest : public testing::Test {
 protected:
  enum class Over { real_processes, fake_processes };

  explicit ManagerTest(Over over = Over::real_processes)
      : client(over == Over::real_processes ? platform::native_processes() : processes) {}

  void SetUp() override { manager = std::make_shared<UtilityServerManager>(); }

  void TearDown() override {
    system.keep_monitor_awake();
    manager->cleanup_all_servers();
    if (const auto monitor = manager->monitor_thread()) monitor->join(60);
    manager->stop_all_utility_servers();
  }

  /// A utility that runs `script`, by default for ever. A name that begins with "dying" says that
  /// it ends by itself.
  Value utility(const std::string& name, Value more = Mapping(),
                const std::string& script = "wait") {
    Value registration = {
        {"utility_name", name},
        {"script_path", client.directory.write("scripts/" + name + ".py", script)}};
    update(registration, more);
    return registration;
  }

  Value start(const std::string& name, const std::string& group = {},
              const Value& config = Mapping()) {
    auto result = manager->start_utility_server(group, name, config);
    after_start();
    return result;
  }

  virtual void after_start() {}

  std::string start_id(const std::string& name, const std::string& group = {}) {
    return member(start(name, group), "server_id").text();
  }

  /// Offers a utility alone.
  void offer(const std::string& name, const Value& more = Mapping()) {
    client.plugins.clear();
    client.add_plugin("plugin", {utility(name, more)});
    manager->catalogue().refresh();
  }

  void expect_empty_books() {
    EXPECT_EQ(manager->used_ports(), std::set<std::int64_t>());
    EXPECT_TRUE(manager->servers().empty());
    EXPECT_TRUE(std::filesystem::is_empty(manager->state_dir()));
  }

  utility_manager::ServerTable::Record record(const Value& server_id) {
    for (const auto& record : manager->servers()) {
      if (server_id == record->server_id) return record;
    }
    return nullptr;
  }

  /// Writes a state file of this file name, without the suffix; null fields are left out.
  std::string write_state(const std::string& name, const Value& fields) {
    Value file = {{"server_id", name}, {"utility_name", "kept"}, {"port", 8890}};
    update(file, fields);
    return client.directory.write("config/utility_states/" + name + ".json", json_of(file));
  }

  fakes::FakeProcesses processes;
  fakes::FakeSystem system;
  fakes::FakeClient client;
  std::shared_ptr<UtilityServerManager> manager;
};

/// The same with processes that exist only here.
class FakeProcessTest : public ManagerTest {
 protected:
  FakeProcessTest() : ManagerTest(Over::fake_processes) {}

  static constexpr auto first_pid = fakes::FakeProcesses::first_pid;

  /// The monitor must not look while a test changes the processes.
  void after_start() override {
    if (manager->running()) system.await_monitor();
  }

  /// Adopts a live instance.
  void adopt(const std::string& server_id, std::int64_t pid, std::int64_t port,
             Value more = Mapping()) {
    processes.living.try_emplace(pid, 0);
    Value fields = {{"pid", pid}, {"port", port}};
    update(fields, more);
    write_state(server_id, fields);
    manager->_load_persisted_states();
  }

  /// What the next starts spawn: a child with the next free id, which runs until it is terminated.
  void fake_children() {
    system.on_spawn = [this] {
      const auto pid = first_pid + static_cast<std::int64_t>(children.size());
      auto child = std::make_shared<FakeHandle>(pid);
      processes.living[pid] = 0;
      child->on_terminate = [this, pid] { processes.living.erase(pid); };
      child->on_poll = [this, pid] {
        return processes.living.contains(pid) ? std::nullopt : std::optional(-15);
      };
      children.push_back(child);
      return child;
    };
  }

  std::vector<std::shared_ptr<FakeHandle>> children;
};

/// The message of the `RuntimeError` that the call fails with.
template <typename Call>
std::string message_of(Call call) {
  try {
    call();
  } catch (const RuntimeError& failure) {
    return failure.what();
  }
  return "no failure";
}
