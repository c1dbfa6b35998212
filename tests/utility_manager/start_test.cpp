#include <algorithm>
#include <atomic>
#include <filesystem>
#include <random>
#include <thread>

#include "tests/utility_manager/manager_fixture.h"
#include "utility_manager/host/failures.h"
#include "utility_manager/platform/failures.h"
#include "utility_manager/platform/files.h"

using namespace utility_manager;

namespace {

using Ports = std::set<std::int64_t>;

const Value per_group = {{"require_group_name", true}};
const Value navbar = {{"display_location", "navbar"}};
const Value navbar_with_group = {{"display_location", "navbar"}, {"require_group_name", true}};

std::string option(const std::vector<std::string>& args, const std::string& name) {
  const auto place = std::find(args.begin(), args.end(), name);
  return place == args.end() ? "absent" : *(place + 1);
}

}  // namespace

class Start : public FakeProcessTest {
 protected:
  Start() { fake_children(); }

  std::string failure(const std::string& name, const std::string& group = {}) {
    return message_of([&] { start(name, group); });
  }
};

using RealStart = ManagerTest;

TEST_F(RealStart, APersistentInstanceOfAGroup) {
  offer("notes", {{"require_group_name", true}, {"persistent", true}});
  client.language = "zh";
  const Value config = {{"group_name", "old"}, {"b", 1}};
  const auto result = start("notes", "lab", config);
  const auto info = manager->servers().at(0);
  const auto& server_id = info->server_id;
  EXPECT_EQ(json_of(result),
            json_of(Mapping{{"server_id", server_id},
                            {"port", 8890},
                            {"local_url", "http://localhost:8890"},
                            {"url", "http://127.0.0.1:7000/group_utility/lab/notes"},
                            {"pid", info->process->pid()}}));
  EXPECT_EQ(info->config, config);
  EXPECT_EQ(info->group_name, "lab");
  EXPECT_EQ(info->studio_url, "http://127.0.0.1:7000");
  EXPECT_TRUE(info->stderr_buffer);
  EXPECT_EQ(manager->used_ports(), Ports({8890}));
  EXPECT_TRUE(manager->running() && manager->monitor_thread()->is_alive());
  const auto& args = system.spawned.at(0);
  EXPECT_EQ(option(args, "--server-id"), server_id);
  EXPECT_EQ(option(args, "--config"), R"({"group_name": "lab", "b": 1})");
  EXPECT_EQ(option(args, "--lang"), "zh");
  EXPECT_EQ(args.back(), "--persistent");
  EXPECT_TRUE(platform::path_exists(manager->_state_file_path(server_id)));
  EXPECT_TRUE(manager->stop_utility_server(server_id));
  EXPECT_TRUE(has_no_children());
}

TEST_F(Start, TheGroupRule) {
  const struct {
    Value registration;
    std::string given_group;
    Value config;
    std::string group;
    std::string kept_config;
    std::string childs_config;
  } cases[] = {
      {Mapping(), "lab", {{"a", 1}}, "", R"({"a":1})", R"({"a": 1})"},
      {per_group, "lab", {{"a", 1}}, "lab", R"({"a":1})", R"({"a": 1, "group_name": "lab"})"},
      {navbar,
       "lab",
       {{"group_name", "old"}, {"a", 1}},
       "",
       R"({"a":1,"require_group_name":false})",
       R"({"a": 1, "require_group_name": false})"},
      {navbar_with_group,
       "lab",
       {{"require_group_name", true}, {"group_name", "x"}},
       "",
       R"({"require_group_name":false,"_deferred_group_selection":true})",
       R"({"require_group_name": false, "_deferred_group_selection": true})"},
  };
  for (const auto& [registration, given_group, config, group, kept_config, childs_config] : cases) {
    offer("u", registration);
    const auto result = start("u", given_group, config);
    const auto info = record(member(result, "server_id"));
    const auto& args = system.spawned.back();
    EXPECT_EQ(info->group_name.value_or(""), group);
    EXPECT_EQ(json_of(info->config), json(kept_config));
    EXPECT_EQ(option(args, "--config"), childs_config);
    EXPECT_EQ(option(args, "--group-name"), group.empty() ? "absent" : group);
    EXPECT_EQ(member(result, "url"), std::string("http://127.0.0.1:7000") +
                                         (group.empty() ? "/utility/u" : "/group_utility/lab/u"));
    EXPECT_TRUE(manager->stop_utility_server(info->server_id));
  }
}

TEST_F(Start, Refusals) {
  const std::string denied =
      "Permission denied: You do not have permission to start utility 'u'. "
      "Required permissions: access_level=";
  client.org_list = {{"is_system_admin", false}, {"organizations", List()}};
  client.group_details = {{"lab", {{"organization_id", 7}}}};
  const struct {
    Value registration;
    std::string group;
    std::string message;
  } cases[] = {
      {per_group, "", "Utility 'u' requires group_name, but group_name was not provided."},
      {{{"access_level", " sys_admin "}}, "lab", denied + "SYS_ADMIN"},
      {{{"access_level", "org_admin"}}, "lab", denied + "ORG_ADMIN"},
      {{{"access_level", "ORG_ADMIN"}, {"require_group_name", true}},
       "lab",
       denied + "ORG_ADMIN (You must be an admin of the organization that owns device group "
                "'lab')"},
      {{{"access_level", "ORG_ADMIN"}, {"require_group_name", true}, {"display_location", "top"}},
       "lab",
       denied + "ORG_ADMIN"},
      {{{"script_path", "/missing/main.py"}},
       "",
       "Utility script not found: /missing/main.py\nUtility: u\nRegistered path: /missing/main.py\n"
       "Resolved path: /missing/main.py"},
  };
  EXPECT_EQ(failure("u"), "Utility 'u' is not registered.");
  for (const auto& [registration, group, message] : cases) {
    offer("u", registration);
    EXPECT_EQ(failure("u", group), message);
  }
  EXPECT_TRUE(system.spawned.empty());
  expect_empty_books();
  const auto administrate = [&](int organization_id) {
    client.org_list.mapping()["organizations"] =
        List{Mapping{{"organization_id", organization_id}, {"user_role", "ORG_ADMIN"}}};
  };
  offer("u", {{"access_level", "ORG_ADMIN"}, {"require_group_name", true}});
  administrate(8);  // not the owner of the group
  EXPECT_TRUE(failure("u", "lab").starts_with(denied));
  administrate(7);
  EXPECT_EQ(failure("u", "lab"), "no failure");
}

TEST_F(Start, WhatRunsOrIsBeingStartedIsNotStartedAgain) {
  const std::string globally =
      "Utility 'global' is already running globally. Only one global instance is allowed.";
  const auto in_group = [](const std::string& group) {
    return "Utility 'grouped' is already running in group '" + group +
           "'. Only one instance per group is allowed.";
  };
  const std::string in_navbar =
      "Utility 'bar' is already running. Stop the existing instance before starting again.";
  client.add_plugin("plugin", {utility("global"), utility("grouped", per_group),
                               utility("bar", navbar_with_group)});
  manager->catalogue().refresh();
  const auto expect_refusals = [&] {
    EXPECT_EQ(failure("global", "lab"), globally);
    EXPECT_EQ(failure("grouped", "a"), in_group("a"));
    EXPECT_EQ(failure("bar", "other"), in_navbar);
  };
  int depth = 0;  // each start's watch begins the next one
  system.on_sleep = [&](double) {
    if (++depth == 1) start("grouped", "a");
    if (depth == 2) start("bar");
    if (depth == 3) expect_refusals();
    if (depth == 3) start("grouped", "b");
  };
  start("global");
  system.on_sleep = nullptr;
  expect_refusals();
  EXPECT_EQ(failure("grouped", "b"), in_group("b"));
  EXPECT_EQ(manager->used_ports(), Ports({8890, 8891, 8892, 8893}));

  client.plugins.clear();  // an instance whose utility is gone counts as global
  manager->catalogue().refresh();
  EXPECT_NO_THROW(manager->_check_existing_instances("grouped", "a", true));
  EXPECT_THROW(manager->_check_existing_instances("grouped", "", false), RuntimeError);
}

TEST_F(Start, AFailureGivesEverythingBack) {
  offer("u", {{"persistent", true}});
  const auto expect_failure = [&](const Value& config = Mapping()) {
    EXPECT_THROW(start("u", "", config), std::exception);
    expect_empty_books();
    EXPECT_FALSE(manager->running());
  };
  expect_failure({{"a", "\xFF"}});
  for (const std::string broken : {"get_default_language", "get_gui_addr"}) {
    client.before = [&](const auto& service) {
      if (service == broken) throw host::HostFailure("offline");
    };
    expect_failure();
  }
  client.before = nullptr;
  client.language = 5;
  expect_failure();
  client.language = "en";
  const auto fake_child = system.on_spawn;
  system.on_spawn = [&]() -> std::shared_ptr<FakeHandle> { throw platform::SystemError(2); };
  expect_failure();
  system.on_spawn = [&] {
    fake_child()->terminate();
    return children.back();
  };
  expect_failure();
  system.on_spawn = fake_child;
  system.taken_ports = PortPool::all();
  EXPECT_EQ(failure("u"), "No available ports in port pool");
  expect_empty_books();
  system.taken_ports.clear();
  EXPECT_EQ(member(start("u"), "port"), 8890);
}

TEST_F(Start, RequestsToExitReleaseTheLock) {
  offer("u");
  start("u");
  client.plugins.clear();
  manager->catalogue().refresh();
  int walks = 0;
  client.add_plugin("plugin", {utility("u")});
  client.before = [&](const std::string& service) {
    if (!service.starts_with("get_plugins_by_hook")) return;
    if (++walks == 3) throw host::HostInterrupt();  // the third under the lock
    manager->catalogue().refresh();
  };
  EXPECT_THROW(start("u"), host::HostInterrupt);
  client.before = nullptr;
  EXPECT_EQ(manager->used_ports(), Ports({8890}));
}

TEST_F(Start, ArgumentsAreCheckedBeforeAnythingElse) {
  const auto stale = write_state("stale", {{"pid", 0}});
  EXPECT_THROW(start("u", "", List()), TypeError);
  EXPECT_TRUE(platform::path_exists(stale));
  EXPECT_THROW(start("u"), RuntimeError);
  EXPECT_FALSE(platform::path_exists(stale));
}

TEST_F(Start, WhatIsNotToldIsNotPassedOn) {
  offer("u");
  for (const Value& nothing : {Value(), Value(""), Value(Mapping()), Value(false)}) {
    client.language = nothing;
    client.gui_addr = nothing;
    const auto result = start("u");
    EXPECT_EQ(member(result, "url"), "http://127.0.0.1:6886/utility/u");
    EXPECT_EQ(option(system.spawned.back(), "--lang"), "absent");
    EXPECT_EQ(option(system.spawned.back(), "--studio-url"), "absent");
    const auto info = record(member(result, "server_id"));
    EXPECT_TRUE(!info->lang && !info->studio_url);
    manager->stop_all_utility_servers();
  }
}

TEST_F(Start, AnInstanceThatStandsInTheTableRunsOn) {
  client.add_plugin("plugin", {utility("unsaved", {{"persistent", true}}), utility("unmapped")});
  manager->catalogue().refresh();
  std::filesystem::remove_all(manager->state_dir());
  EXPECT_EQ(failure("unsaved"), "no failure");
  std::filesystem::create_directory(manager->state_dir());
  int asked = 0;
  client.before = [&](const std::string& service) {
    if (service == "get_gui_addr" && ++asked == 2) throw host::HostFailure("offline");
  };
  EXPECT_THROW(start("unmapped"), host::HostFailure);
  EXPECT_EQ(manager->servers().size(), 2u);
  EXPECT_EQ(manager->used_ports(), Ports({8890, 8891}));
  EXPECT_EQ(children.size(), 2u);
  EXPECT_EQ(processes.living.size(), 2u);

  UtilityServerManager unshared;  // a monitor can't keep it alive
  EXPECT_THROW(unshared._start_monitoring(), std::bad_weak_ptr);
  unshared.start_utility_server("", "unmapped", Mapping());
  EXPECT_EQ(unshared.servers().size(), 1u);
  EXPECT_FALSE(unshared.running());
  unshared.stop_all_utility_servers();
}

using Stress = ManagerTest;

TEST_F(Stress, ManyThreadsKeepTheBooksConsistent) {
  const auto before = open_handles();
  const Value persistent = {{"require_group_name", true}, {"persistent", true}};
  client.add_plugin("plugin", {utility("grouped", per_group), utility("kept", persistent),
                               utility("bar", navbar), utility("dying", per_group, "exit 1")});
  manager->catalogue().refresh();
  start("bar");
  const auto operate = [&](int thread) {
    std::minstd_rand random(static_cast<unsigned>(thread + 1));
    for (int i = 0; i < 16; ++i) {
      const auto servers = manager->servers();
      const auto any = servers.empty() ? "" : servers[random() % servers.size()]->server_id;
      const auto group = "group " + std::to_string(random() % 6);
      const std::function<void()> operations[] = {
          [&] { start("grouped", group); },
          [&] { start("grouped", group + any); },
          [&] { start("kept", group); },
          [&] { start("bar"); },
          [&] { start("dying", group); },
          [&] { manager->stop_utility_server(any); },
          [&] { manager->stop_utility_server(any); },
          [&] { manager->list_utility_servers(); },
          [&] { manager->catalogue().refresh(); },
          [&] { manager->_find_running_utility("grouped", group); },
          [&] { manager->is_utility_server_running(any); },
          [&] { manager->get_utilities_with_group_name(group); }};
      try {
        operations[random() % std::size(operations)]();
      } catch (const RuntimeError&) {  // it runs already, or has died
      }
      if (random() % 8 == 0 && !servers.empty()) servers[0]->process->terminate();
      if (thread == 0) system.let_monitor_pass();
    }
  };
  std::vector<std::thread> workers;
  for (int thread = 0; thread < 16; ++thread) workers.emplace_back(operate, thread);
  for (auto& worker : workers) worker.join();

  Ports ports;
  std::set<std::string> files;
  std::set<std::string> expected;
  for (const auto& info : manager->servers()) {
    EXPECT_TRUE(ports.insert(info->port).second);
    const bool is_kept = info->utility_name == "kept";
    expected.insert(is_kept ? info->server_id + ".json" : "." + info->server_id + ".starting");
  }
  for (const auto& file : std::filesystem::directory_iterator(manager->state_dir())) {
    files.insert(file.path().filename().string());
  }
  EXPECT_EQ(manager->used_ports(), ports);
  EXPECT_EQ(files, expected);
  manager->stop_all_utility_servers();
  expect_empty_books();
  EXPECT_TRUE(has_no_children());
  while (open_handles() > before) std::this_thread::yield();  // the last readers end
}
