#include "utility_manager/utility_manager.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <future>

#include "tests/utility_manager/manager_fixture.h"
#include "utility_manager/output.h"
#include "utility_manager/platform/failures.h"
#include "utility_manager/start_plan.h"

using namespace utility_manager;
using Construction = FakeProcessTest;

TEST_F(Construction, AdoptsThenFillsTheCatalogueAndStartsNoThread) {
  processes.living[first_pid] = 0;
  write_state("kept", {{"pid", first_pid}, {"port", 12345}});
  client.add_plugin("plugin", {utility("notes")});
  std::vector<std::string> order;
  processes.before = [&](const std::string& call, std::int64_t) { order.push_back(call); };
  client.before = [&](const std::string& service) { order.push_back(service); };
  manager = std::make_shared<UtilityServerManager>();
  client.before = nullptr;
  processes.before = nullptr;
  EXPECT_EQ(order.front(), "get_default_config_dir");
  EXPECT_EQ(order[1], "pid_exists");
  EXPECT_EQ(std::count(order.begin(), order.end(), "get_plugins_by_hook utility_server_register"),
            1);
  EXPECT_EQ(manager->servers().size(), 1u);
  EXPECT_EQ(manager->used_ports(), std::set<std::int64_t>({12345}));
  EXPECT_EQ(manager->catalogue().snapshot()->entries().size(), 1u);
  EXPECT_TRUE(manager->catalogue().is_complete());
  EXPECT_EQ(manager->state_dir(), client.config_path("utility_states"));
  EXPECT_TRUE(std::filesystem::is_directory(manager->state_dir()));
  EXPECT_EQ(manager->monitor_thread(), nullptr);
  EXPECT_FALSE(manager->running());
}

using ShutDown = ManagerTest;

TEST_F(ShutDown, LeavesNoThreadThatCallsTheClient) {
  offer("notes");
  start("notes");
  system.keep_monitor_awake();
  manager->shut_down();
  EXPECT_FALSE(manager->monitor_thread()->is_alive());
  expect_empty_books();
  testing::internal::CaptureStdout();
  write_output("dropped\n");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  set_output(nullptr);
}

TEST_F(Construction, FailsWithoutAStateDirectory) {
  std::filesystem::remove_all(client.config_path());
  client.directory.write("config", "a file");
  EXPECT_THROW(UtilityServerManager(), platform::SystemError);
}

TEST_F(Construction, RecordsOfNewInstances) {
  const auto child = std::make_shared<FakeHandle>(7);
  const auto record_of = [&](bool require_group, const std::optional<std::string>& lang) {
    StartPlan plan;
    plan.server_id = "id";
    plan.utility_name = "notes";
    plan.group_name = "lab";
    plan.effective_require_group = require_group;
    plan.config = {{"a", 1}};
    plan.lang = plan.studio_url = lang;
    return new_instance(plan, 8890, child);
  };
  const auto full = record_of(true, "zh");
  EXPECT_EQ(full.pid, 7);
  EXPECT_EQ(full.config, Value({{"a", 1}}));
  EXPECT_EQ(full.create_time, std::floor(system.wall_clock()));
  EXPECT_TRUE(full.create_time.is_integer());
  EXPECT_EQ(full.lang, "zh");
  EXPECT_EQ(full.studio_url, "zh");
  EXPECT_EQ(full.group_name, "lab");
  for (const auto& nothing : {std::optional<std::string>(), {""}}) {
    const auto bare = record_of(false, nothing);
    EXPECT_TRUE(!bare.lang && !bare.studio_url && !bare.group_name && !bare.stderr_buffer);
  }
  EXPECT_THROW(new_instance({}, 8890, nullptr), TypeError);
}

TEST_F(Construction, AHookOfAListMayAskTheManagerAndAHolderOfTheLockComesAgainInVain) {
  adopt("adopted", first_pid, 8890, {{"utility_name", "nobody registers it"}});
  std::atomic<int> asked = 0;
  client.add_plugin("curious", {})->registrations = [&] {
    ++asked;
    EXPECT_EQ(std::async([&] { return manager->servers().size(); }).get(), 1U);
    manager->is_utility_server_running("adopted");
    return std::vector<Value>();
  };
  manager->catalogue().refresh();
  EXPECT_EQ(manager->list_utility_servers().size(), 1U);
  EXPECT_EQ(asked, 1);
  client.plugins.clear();  // it refers to this scope

  const auto come_again = [&] { manager->stop_utility_server("adopted"); };
  const LockHeld held(manager->lock);
  EXPECT_THROW(come_again(), RuntimeError);
  EXPECT_EQ(manager->servers().size(), 1U);
}
