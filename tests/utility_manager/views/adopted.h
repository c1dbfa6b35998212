#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "host/failures.h"
#include "platform/child_process.h"
#include "platform/system.h"
#include "tests/fakes/fake_client.h"
#include "utility_manager/utility_manager.h"

/// The real system, with a look at its probes and a hand on its signals.
class ProbedSystem : public platform::System {
 public:
  std::function<void(std::int64_t pid)> on_probe;   ///< before it is answered
  std::function<void(std::int64_t pid)> on_signal;  ///< in place of it
  mutable std::atomic<int> probes = 0;

  bool can_signal(std::int64_t pid) const override {
    ++probes;
    if (on_probe) on_probe(pid);
    return System::can_signal(pid);
  }

  void signal(std::int64_t pid, platform::Signal signal) const override {
    on_signal ? on_signal(pid) : System::signal(pid, signal);
  }

 private:
  platform::BindSystem binding_{*this};
};

/// A live process, ended and collected at the latest with the object.
class Process {
 public:
  ~Process() { end(); }

  std::int64_t pid() const { return child_->pid(); }

  void end() const {
    child_->kill();
    child_->wait({});
  }

 private:
  const std::shared_ptr<platform::ChildProcess> child_ = platform::spawn_child({"sleep", "600"});
};

/// A client with one plugin, and a manager that adopts live processes as its instances.
class AdoptedTest : public testing::Test {
 protected:
  explicit AdoptedTest(host::ProcessInspection* psutil = nullptr) : client(psutil) {}

  void start(const std::string& registrations) {
    const auto items = values::Value::parse(registrations);
    plugin = client.add_plugin("p", {items.begin(), items.end()});
    manager = std::make_shared<utility_manager::UtilityServerManager>();
    client.calls.clear();
  }

  /// Adopts a new instance; `fields` are what its state file holds beyond the usual.
  void adopt(const std::string& server_id, std::int64_t port, const std::string& fields = "{}") {
    values::Value file = {{"server_id", server_id},
                          {"port", port},
                          {"pid", processes[server_id].pid()},
                          {"create_time", 1700000000},
                          {"require_group_name", true}};
    file.update(values::Value::parse(fields));
    client.directory.write(state_file(server_id), file.dump());
    manager->_load_persisted_states();
  }

  /// Ends the process of an instance that only the server table knows.
  void end_unseen(const std::string& server_id) {
    std::filesystem::remove(client.directory.path(state_file(server_id)));
    processes[server_id].end();
  }

  static std::string state_file(const std::string& server_id) {
    return "config/utility_states/" + server_id + ".json";
  }

  /// The value under `key` of each record, in order.
  static std::string each(const values::Value& records, const char* key) {
    std::string text;
    for (const auto& record : records) text += record.at(key).get<std::string>() + " ";
    return text;
  }

  fakes::FakeClient client;
  ProbedSystem system;
  std::map<std::string, Process> processes;
  std::shared_ptr<fakes::FakePlugin> plugin;
  std::shared_ptr<utility_manager::UtilityServerManager> manager;
};
