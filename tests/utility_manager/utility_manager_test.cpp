#include "utility_manager/utility_manager.h"

#include <cmath>

#include "platform/failures.h"
#include "tests/utility_manager/manager_fixture.h"

using Construction = FakeProcessTest;

TEST_F(Construction, AdoptsThenFillsTheCatalogueAndStartsNoThread) {
  inspection.processes[first_pid] = 0;
  write_state("kept", {{"pid", first_pid}, {"port", 12345}});
  client.add_plugin("plugin", {utility("notes")});
  std::vector<std::string> order;
  inspection.before = [&](const std::string& call, std::int64_t) { order.push_back(call); };
  client.before = [&](const std::string& service) { order.push_back(service); };
  manager = std::make_shared<UtilityServerManager>();
  client.before = nullptr;
  inspection.before = nullptr;
  EXPECT_EQ(order.front(), "get_default_config_dir");
  EXPECT_EQ(order[1], "pid_exists");
  EXPECT_EQ(std::count(order.begin(), order.end(), "get_plugins_by_hook utility_server_register"),
            1);
  EXPECT_EQ(manager->servers().size(), 1u);
  EXPECT_EQ(manager->used_ports(), std::set<std::int64_t>({12345}));
  EXPECT_EQ(manager->utility_registry()->records().size(), 1u);
  EXPECT_TRUE(manager->_utility_registry_complete());
  EXPECT_EQ(manager->state_dir(), client.config_path("utility_states"));
  EXPECT_TRUE(std::filesystem::is_directory(manager->state_dir()));
  EXPECT_EQ(manager->monitor_thread(), nullptr);
  EXPECT_FALSE(manager->running());
}

TEST_F(Construction, FailsWithoutAStateDirectory) {
  std::filesystem::remove_all(client.config_path());
  client.directory.write("config", "a file");
  EXPECT_THROW(UtilityServerManager(), platform::SystemError);
}

TEST_F(Construction, RecordsOfNewInstances) {
  const auto child = std::make_shared<FakeHandle>(7);
  const auto record_of = [&](bool require_group, const std::optional<std::string>& lang) {
    return UtilityServerManager::_create_server_info("id", "notes", 8890, child, {{"a", 1}}, "lab",
                                                     require_group, lang, lang);
  };
  const auto full = record_of(true, "zh");
  EXPECT_EQ(full.pid, 7);
  EXPECT_EQ(full.config, Value({{"a", 1}}));
  EXPECT_EQ(full.create_time, std::floor(system.wall_clock()));
  EXPECT_TRUE(full.create_time.is_number_integer());
  EXPECT_EQ(full.lang, "zh");
  EXPECT_EQ(full.studio_url, "zh");
  EXPECT_EQ(full.group_name, "lab");
  for (const auto& nothing : {std::optional<std::string>(), {""}}) {
    const auto bare = record_of(false, nothing);
    EXPECT_TRUE(!bare.lang && !bare.studio_url && !bare.group_name && !bare.stderr_buffer);
  }
  EXPECT_THROW(UtilityServerManager::_create_server_info("id", "notes", 8890, nullptr,
                                                         Value::object(), "", false, {}),
               TypeError);
}
