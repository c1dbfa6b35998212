#include "tests/utility_manager/manager_fixture.h"
#include "utility_manager/platform/files.h"

using namespace utility_manager;

namespace {

const Value persistent = {{"persistent", true}};

}  // namespace

class Stop : public FakeProcessTest {
 protected:
  void SetUp() override {
    FakeProcessTest::SetUp();
    fake_children();
    client.add_plugin("plugin", {utility("notes"), utility("kept", persistent)});
    manager->catalogue().refresh();
  }

  bool has_file(const std::string& server_id) {
    return platform::path_exists(manager->_state_file_path(server_id));
  }
};

using RealStop = ManagerTest;

TEST_F(RealStop, AChildItsPortAndItsFileGo) {
  offer("kept", persistent);
  const auto server_id = start_id("kept");
  const auto child = record(server_id)->process;
  EXPECT_TRUE(manager->stop_utility_server(server_id));
  EXPECT_EQ(child->returncode(), code_of(platform::Signal::terminate));
  EXPECT_TRUE(has_no_children());
  expect_empty_books();
  EXPECT_EQ(member(start("kept"), "port"), 8890);
}

TEST_F(Stop, AnUnknownInstanceLeavesItsFile) {
  adopt("kept", first_pid, 8890);
  EXPECT_TRUE(manager->stop_utility_server("kept"));
  EXPECT_FALSE(has_file("kept"));
  write_state("kept", {{"pid", 0}});
  EXPECT_FALSE(manager->stop_utility_server("kept"));
  EXPECT_TRUE(has_file("kept"));
}

TEST_F(Stop, AnAdoptedInstanceIsKilledAtOnce) {
  adopt("a", first_pid + 7, 8890);
  adopt("b", first_pid + 8, 8890);
  EXPECT_TRUE(manager->stop_utility_server("a"));
  EXPECT_EQ(processes.kills, std::vector<std::string>({"kill 8388615", "wait 5.0"}));
  EXPECT_EQ(manager->servers().size(), 1u);
}

TEST_F(Stop, WhatHasGoneOrGivenItsIdAwayIsTakenOffTheBooks) {
  adopt("gone", first_pid + 7, 8890);
  adopt("replaced", first_pid + 8, 8891);
  processes.living.erase(first_pid + 7);
  processes.living[first_pid + 8] += 100;  // another process has the id now
  EXPECT_TRUE(manager->stop_utility_server("gone"));
  EXPECT_TRUE(manager->stop_utility_server("replaced"));
  EXPECT_EQ(processes.kills, std::vector<std::string>());
  EXPECT_TRUE(processes.living.contains(first_pid + 8));
  expect_empty_books();
}

TEST_F(Stop, WhatCantBeEndedStaysOnTheBooks) {
  adopt("stubborn", first_pid, 8890);
  processes.stubborn = {first_pid};
  system.on_signal = [](std::int64_t, platform::Signal) {};
  const auto expect_unchanged = [&] {
    EXPECT_FALSE(manager->stop_utility_server("stubborn"));
    EXPECT_TRUE(record("stubborn") && has_file("stubborn"));
    EXPECT_EQ(manager->used_ports(), std::set<std::int64_t>({8890}));
  };
  expect_unchanged();
  processes.before = [](const std::string& call, std::int64_t) {
    if (call == "kill") throw std::runtime_error("broken");
  };
  expect_unchanged();
  manager->stop_all_utility_servers();
  EXPECT_TRUE(record("stubborn"));
  processes.before = nullptr;
  processes.stubborn.clear();
  EXPECT_TRUE(manager->stop_utility_server("stubborn"));
}

TEST_F(Stop, AllOfThemWhileTheMonitorGoesOn) {
  manager->stop_all_utility_servers();
  start("notes");
  start("kept");
  adopt("stubborn", first_pid + 7, 9000);
  adopt("nameless", first_pid + 8, 9001, {{"utility_name", nullptr}});
  processes.stubborn = {first_pid + 7};
  system.on_signal = [](std::int64_t, platform::Signal) {};
  manager->stop_all_utility_servers();
  EXPECT_EQ(manager->servers().size(), 1u);
  EXPECT_EQ(manager->used_ports(), std::set<std::int64_t>({9000}));
  EXPECT_TRUE(manager->running() && manager->monitor_thread()->is_alive());
}

TEST_F(Stop, CleanupLeavesWhatIsPersistentByNow) {
  manager->cleanup_all_servers();
  const auto notes = start_id("notes");
  const auto kept = start_id("kept");
  adopt("nameless", first_pid + 7, 9000, {{"utility_name", nullptr}});
  adopt("unregistered", first_pid + 8, 9001, {{"utility_name", "unknown"}});
  adopt("denied", first_pid + 9, 9002, {{"utility_name", "notes"}});
  processes.before = [&](const std::string& call, std::int64_t pid) {
    if (call == "kill" && pid == first_pid + 9) throw std::runtime_error("broken");
  };
  system.keep_monitor_awake();
  for (int round = 0; round < 2; ++round) {
    manager->cleanup_all_servers();
    EXPECT_TRUE(record(kept) && record("nameless") && record("denied"));
    EXPECT_TRUE(has_file(kept) && has_file("nameless") && !has_file("unregistered"));
    EXPECT_EQ(manager->servers().size(), 3u);
    EXPECT_EQ(manager->used_ports(), std::set<std::int64_t>({8891, 9000, 9002}));
    EXPECT_FALSE(manager->running() || manager->monitor_thread()->is_alive());
  }
  processes.before = nullptr;
  offer("kept");  // persistent no longer
  manager->cleanup_all_servers();
  EXPECT_EQ(manager->servers().size(), 1u);
  EXPECT_TRUE(record("nameless"));
}
