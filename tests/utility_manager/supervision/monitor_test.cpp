#include <atomic>
#include <chrono>
#include <future>

#include "tests/utility_manager/manager_fixture.h"
#include "utility_manager/platform/files.h"

using namespace utility_manager;

class Monitor : public FakeProcessTest {
 protected:
  void SetUp() override {
    FakeProcessTest::SetUp();
    fake_children();
    client.add_plugin("plugin", {utility("notes", {{"require_group_name", true}})});
    manager->catalogue().refresh();
  }
};

TEST_F(Monitor, TakesTheDeadOffTheBooks) {
  for (const char* group : {"0", "1", "2"}) start("notes", group);
  adopt("alive", first_pid + 10, 9000);
  adopt("dead", first_pid + 11, 9001);
  adopt("replaced", first_pid + 12, 9002);
  adopt("unaskable", first_pid + 13, 9003);
  children[0]->on_poll = []() -> std::optional<int> { throw std::runtime_error("broken"); };
  children[1]->terminate();  // what has its id now says nothing
  processes.living[children[1]->pid()] = 1;
  children[1]->on_poll = [] { return 0; };
  processes.living.erase(first_pid + 11);
  ++processes.living[first_pid + 12];
  processes.before = [&](const std::string& call, std::int64_t pid) {
    if (call == "exists" && pid == first_pid + 13) throw std::runtime_error("broken");
  };
  system.let_monitor_pass();
  EXPECT_EQ(manager->used_ports(), std::set<std::int64_t>({8890, 8892, 9000, 9003}));
  EXPECT_EQ(manager->servers().size(), 4u);
  EXPECT_FALSE(record("dead") || record("replaced"));
  EXPECT_TRUE(platform::path_exists(manager->_state_file_path("alive")));
  EXPECT_FALSE(platform::path_exists(manager->_state_file_path("dead")));
  EXPECT_EQ(processes.kills, std::vector<std::string>());

  processes.before = nullptr;
  processes.living.erase(first_pid + 13);
  children[0]->on_poll = [] { return 1; };
  system.let_monitor_pass();
  EXPECT_EQ(manager->used_ports(), std::set<std::int64_t>({8892, 9000}));
  manager->_handle_server_died("dead");  // somebody was quicker
  EXPECT_EQ(manager->servers().size(), 2u);
}

TEST_F(Monitor, IsOneThreadThatACleanupEndsAtOnce) {
  EXPECT_EQ(manager->monitor_thread(), nullptr);
  manager->_start_monitoring();
  const auto first = manager->monitor_thread();
  manager->_start_monitoring();
  EXPECT_EQ(manager->monitor_thread(), first);
  system.let_monitor_pass();
  manager->cleanup_all_servers();  // it sleeps
  EXPECT_FALSE(first->is_alive() || manager->running());
  start("notes", "watched");
  EXPECT_TRUE(manager->running());
  EXPECT_NE(manager->monitor_thread(), first);
  EXPECT_TRUE(manager->monitor_thread()->is_alive());
}

TEST_F(Monitor, OutlivesAPassThatFails) {
  std::filesystem::remove_all(manager->state_dir());  // so that there is something to write again
  std::atomic<bool> fails = false;
  system.on_report = [&]() -> bool {
    if (fails) throw std::bad_alloc();
    return false;
  };
  start("notes", "0");
  system.await_monitor();
  fails = true;
  system.let_monitor_pass();
  EXPECT_GE(system.reports.size(), 2u);
  EXPECT_TRUE(manager->monitor_thread()->is_alive());
  fails = false;
}

TEST_F(Monitor, IsGivenUpByACleanupThatFindsItAtWork) {
  std::promise<void> asked;
  std::promise<void> answered;
  std::atomic<bool> was_asked = false;
  start("notes", "0");
  system.await_monitor();
  children[0]->on_poll = [&]() -> std::optional<int> {
    if (was_asked.exchange(true)) return 0;
    asked.set_value();
    answered.get_future().wait();
    return std::nullopt;
  };
  const auto first = manager->monitor_thread();
  system.wake_monitor();
  asked.get_future().wait();
  const auto begin = std::chrono::steady_clock::now();
  manager->cleanup_all_servers();
  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::seconds(2));
  EXPECT_TRUE(first->is_alive() && !manager->running());
  start("notes", "unwatched");
  EXPECT_EQ(manager->monitor_thread(), first);
  EXPECT_FALSE(manager->running());
  answered.set_value();
  first->join(60);
  EXPECT_FALSE(first->is_alive());
}
