#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "tests/fakes/fake_client.h"
#include "tests/json.h"
#include "utility_manager/host/failures.h"
#include "utility_manager/platform/system.h"
#include "utility_manager/utility_manager.h"

using namespace utility_manager;
using values::json;
using values::List;
using values::Mapping;
using values::read_json;
using values::Value;

/// The real system, with a look at its probes.
class ProbedSystem : public platform::System {
 public:
  std::function<void(std::int64_t pid)> on_probe;  ///< before it is answered
  mutable std::atomic<int> probes = 0;

  bool can_signal(std::int64_t pid) const override {
    ++probes;
    if (on_probe) on_probe(pid);
    return System::can_signal(pid);
  }

 private:
  platform::BindSystem binding_{*this};
};

/// A live process that carries a server_id, ended and collected at the latest with the object.
class Process {
 public:
  explicit Process(const std::string& server_id) : child_(start_child("wait", {server_id})) {}
  ~Process() { end(); }

  std::int64_t pid() const { return child_->pid(); }

  void end() const {
    child_->kill();
    child_->wait({});
  }

 private:
  const std::shared_ptr<platform::ProcessHandle> child_;
};

/// A client with one plugin, and a manager that adopts live processes as its instances.
class AdoptedTest : public testing::Test {
 protected:
  explicit AdoptedTest(const platform::ProcessTable& table = platform::bare_processes())
      : client(table) {}

  void start(const std::string& registrations) {
    const auto items = read_json(registrations);
    plugin = client.add_plugin("p", items.list());
    manager = std::make_shared<utility_manager::UtilityServerManager>();
    client.calls.clear();
  }

  /// Adopts a new instance; `fields` are what its state file holds beyond the usual.
  void adopt(const std::string& server_id, std::int64_t port, const std::string& fields = "{}") {
    const auto& process = processes.try_emplace(server_id, server_id).first->second;
    values::Value file = {{"server_id", server_id},
                          {"port", port},
                          {"pid", process.pid()},
                          {"create_time", 1700000000},
                          {"require_group_name", true}};
    update(file, read_json(fields));
    client.directory.write(state_file(server_id), json_of(file));
    manager->_load_persisted_states();
  }

  /// Ends the process of an instance that only the server table knows.
  void end_unseen(const std::string& server_id) {
    std::filesystem::remove(client.directory.path(state_file(server_id)));
    processes.at(server_id).end();
  }

  static std::string state_file(const std::string& server_id) {
    return "config/utility_states/" + server_id + ".json";
  }

  /// The value under `key` of each record, in order.
  static std::string each(const values::Value& records, const char* key) {
    std::string text;
    for (const auto& record : records.list()) text += member(record, key).text() + " ";
    return text;
  }

  fakes::FakeClient client;
  ProbedSystem system;
  std::map<std::string, Process> processes;
  std::shared_ptr<fakes::FakePlugin> plugin;
  std::shared_ptr<utility_manager::UtilityServerManager> manager;
};
