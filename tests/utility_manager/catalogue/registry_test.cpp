#include <future>

#include <gtest/gtest.h>

#include "host/failures.h"
#include "tests/fakes/fake_client.h"
#include "utility_manager/utility_manager.h"

namespace utility_manager {
namespace {

using values::Value;
using Manager = UtilityServerManager;

Value utility(const std::string& name, const std::string& title = {}) {
  return {{"utility_name", name}, {"title", title}};
}

Value script(const std::string& name, const Value& path, const Value& more = Value::object()) {
  Value registration = {{"utility_name", name}, {"script_path", path}};
  registration.update(more);
  return registration;
}

class Registry : public testing::Test {
 protected:
  /// A manager with an empty cache.
  void start() {
    manager = std::make_shared<Manager>();
    manager->refresh_utility_registry();
    for (const auto& plugin : client.plugins) {
      if (plugin) plugin->calls = 0;
    }
  }

  /// Titles in catalogue order, the calls of each plugin behind them.
  std::string told(const std::vector<UtilityInfoPtr>& records) const {
    std::string text;
    for (const auto& info : records) text += info->fields.at("title").get<std::string>() + " ";
    for (const auto& plugin : client.plugins) text += std::to_string(plugin->calls);
    return text;
  }

  /// The title of what a look-up finds, the calls of each plugin behind it.
  std::string told(const UtilityInfoPtr& info) const {
    return info ? told(std::vector{info}) : "none " + told(std::vector<UtilityInfoPtr>());
  }

  fakes::FakeClient client{nullptr};
  std::shared_ptr<Manager> manager;
};

TEST_F(Registry, TakesTheLastOfACollectionAndTheFirstOfALookUp) {
  client.add_plugin("one", {utility("a", "a1"), utility("b", "b1"), utility("a", "a2")});
  client.add_plugin("two", {utility("c", "c3"), utility("a", "a3")});
  start();
  const auto found = manager->_get_utility_info("a");
  EXPECT_EQ(told(found), "a1 10");
  EXPECT_EQ(manager->_get_utility_info("a", true), found);
  EXPECT_EQ(told(manager->_get_utility_info("c")), "c3 21");
  EXPECT_FALSE(manager->_utility_registry_complete());
  EXPECT_EQ(told(manager->_get_all_utilities()), "a3 c3 b1 32");
  EXPECT_EQ(told(manager->_get_all_utilities()), "a3 c3 b1 32");
  EXPECT_EQ(manager->_get_all_utilities()[0], manager->_get_utility_info("a"));
  EXPECT_EQ(told(manager->_get_utility_info("unknown")), "none 43");
  EXPECT_EQ(told(manager->_get_utility_info("unknown")), "none 54");
  manager->refresh_utility_registry();
  EXPECT_EQ(told(manager->_get_all_utilities()), "a3 b1 c3 65");
}

TEST_F(Registry, LosesTheRestOfAPluginThatFailsAndNoMore) {
  for (const char* bad :
       {R"({"utility_name": "bad", "access_level": null})",
        R"({"utility_name": "bad", "poison": 1})", R"({"utility_name": "bad", "script_path": 5})",
        R"({"utility_name": ["bad"]})"}) {
    client.add_plugin("p", {utility("a", "a"), Value::parse(bad), utility("lost", "lost")});
  }
  client.add_plugin("raising", {})->registrations = []() -> std::vector<Value> {
    throw host::HostFailure("refused");
  };
  client.add_plugin("odd", {"text", Value::array({utility("t")}), nullptr, utility("", "nameless"),
                            Value{{"title", "missing"}}, utility("z", "z")});
  start();
  EXPECT_EQ(told(manager->_get_all_utilities()), "a z 111111");
  EXPECT_EQ(told(manager->_get_utility_info("bad")), "none 222222");
  EXPECT_EQ(told(manager->_get_utility_info("lost")), "lost 322222");
  EXPECT_EQ(told(manager->_get_utility_info("")), "nameless 433333");
}

TEST_F(Registry, KeepsWhatItHadWhenTheWalkBreaksOff) {
  client.add_plugin("one", {utility("a", "a")});
  client.plugins.push_back(nullptr);
  client.add_plugin("behind", {utility("b", "b")});
  start();
  EXPECT_EQ(manager->_get_all_utilities().size(), 1U);
  EXPECT_EQ(manager->_get_utility_info("b"), nullptr);
  EXPECT_TRUE(manager->_utility_registry_complete());

  manager->refresh_utility_registry();
  client.before = [](const std::string&) { throw host::HostFailure("no register"); };
  EXPECT_TRUE(manager->_get_all_utilities().empty());
  client.before = nullptr;
  EXPECT_TRUE(manager->_get_all_utilities().empty());
  EXPECT_NE(manager->_get_utility_info("a"), nullptr);
}

TEST_F(Registry, MakesAgainWhatARefreshOvertook) {
  int refreshes = 1;
  client.add_plugin("p", {})->registrations = [&] {
    if (refreshes > 0 && manager) {
      --refreshes;
      manager->refresh_utility_registry();
    }
    return std::vector{utility("u", std::to_string(refreshes))};
  };
  start();
  EXPECT_EQ(told(manager->_get_all_utilities()), "0 2");
  EXPECT_EQ(told(manager->_get_all_utilities()), "0 2");

  refreshes = 100;
  manager->refresh_utility_registry();
  EXPECT_EQ(told(manager->_get_all_utilities()), "97 5");
  EXPECT_EQ(told(manager->_get_utility_info("u")), "96 6");
  EXPECT_FALSE(manager->_utility_registry_complete());
  EXPECT_TRUE(manager->utility_registry()->records().empty());
}

TEST_F(Registry, LetsTheFirstArrivalStay) {
  UtilityInfoPtr inner;
  std::vector<UtilityInfoPtr> inner_list;
  std::function<void()> meanwhile;  // what another thread would do while a plugin is asked
  client.add_plugin("p", {})->registrations = [&] {
    if (const auto act = std::exchange(meanwhile, nullptr)) act();
    return std::vector{utility("u")};
  };
  start();
  meanwhile = [&] { inner = manager->_get_utility_info("u"); };
  const auto outer = manager->_get_utility_info("u");
  EXPECT_NE(outer, inner);
  EXPECT_EQ(manager->_get_utility_info("u"), inner);

  manager->refresh_utility_registry();
  meanwhile = [&] { inner_list = manager->_get_all_utilities(); };
  EXPECT_EQ(manager->_get_all_utilities(), inner_list);
}

TEST_F(Registry, IsWholeForEveryThreadBesideRefreshes) {
  client.directory.write("plugins/p/i.png", "1");
  client.add_plugin("p", {{{"utility_name", "a"}, {"icon_path", "i.png"}}, utility("b")});
  start();
  std::vector<std::future<void>> threads;
  for (int thread = 0; thread < 4; ++thread) {
    threads.push_back(std::async(std::launch::async, [this, thread] {
      for (int round = 0; round < 50; ++round) {
        if (round % 4 == thread) manager->refresh_utility_registry();
        ASSERT_EQ(manager->_get_all_utilities().size(), 2U);
        const auto info = manager->_get_utility_info("a");
        ASSERT_TRUE(manager->_add_icon_to_utility_info(*info).at("icon").is_string());
      }
    }));
  }
  for (auto& thread : threads) thread.get();
}

TEST_F(Registry, ResolvesScriptsForTheWalksPluginAndItsFlag) {
  const auto user = client.directory.write("plugins/p/s.py", "");
  const auto built_in = client.directory.write("built_in/s.py", "");
  client.add_plugin("p", {script("a", "s.py"), script("b", "s.py", {{"builtin", true}}),
                          script("c", ""), script("d", "s.py", {{"plugin_name", "builtin_own"}})});
  client.add_plugin("builtin_q", {script("e", "s.py")});
  start();
  client.calls.clear();
  const std::vector<std::string> expected = {user, built_in, "", user, built_in};
  const auto collected = manager->_get_all_utilities();
  for (std::size_t i = 0; i < expected.size(); ++i) {
    const auto& fields = collected.at(i)->fields;
    EXPECT_EQ(fields.at("script_path"), expected[i]) << fields;
    const auto name = fields.at("utility_name").get<std::string>();
    EXPECT_EQ(Manager::_get_utility_info_from_plugins(name)->fields, fields);
  }
  EXPECT_EQ(collected[3]->fields.at("plugin_name"), "builtin_own");
  EXPECT_EQ(client.calls["get_plugin_dir"], 3 + 3);
}

TEST_F(Registry, AsksForTwoThousandUtilitiesNoMoreThanOnceEach) {
  std::vector<Value> many;
  for (int i = 0; i < 2000; ++i) many.push_back(utility("u" + std::to_string(i)));
  const auto plugin = client.add_plugin("p", many);
  start();
  client.calls.clear();
  EXPECT_EQ(manager->_get_all_utilities().size(), 2000U);
  const std::map<std::string, int> expected = {{"get_plugins_by_hook utility_server_register", 1},
                                               {"get_default_config_dir", 2000},
                                               {"get_plugin_dir", 2000}};
  EXPECT_EQ(client.calls, expected);
  for (const auto& item : many) {
    ASSERT_NE(manager->_get_utility_info(item.at("utility_name").get<std::string>()), nullptr);
  }
  EXPECT_EQ(client.calls, expected);
  EXPECT_EQ(plugin->calls, 1);
}

TEST_F(Registry, ChoosesTheScriptOfAStart) {
  client.add_plugin("p", {script("late", "late.py"), script("here", "."), script("empty", ""),
                          script("null", nullptr), script("own", "o", {{"plugin_name", nullptr}})});
  start();
  const auto path_of = [&](const std::string& name) {
    try {
      return manager->_get_utility_script_path(name, "");
    } catch (const RuntimeError& failure) {
      return std::string(failure.what());
    }
  };
  EXPECT_EQ(path_of("late"),
            "Utility script not found: late.py\nUtility: late\nRegistered path: late.py\n"
            "Resolved path: late.py");
  EXPECT_EQ(path_of("empty"),
            "Utility script not found: \nUtility: empty\nRegistered path: \nResolved path: ");
  EXPECT_EQ(path_of("unknown"),
            "Utility 'unknown' is not registered in any plugin. Please ensure the plugin has "
            "registered this utility via 'utility_server_register' hook.");
  EXPECT_EQ(path_of("here"), ".");
  const auto late = client.directory.write("plugins/p/utils/late.py", "");
  EXPECT_EQ(path_of("late"), late);
  EXPECT_THROW(path_of("null"), TypeError);
  EXPECT_THROW(path_of("own"), TypeError);
  EXPECT_EQ(manager->_get_utility_script_path("unknown", "/no/such/file"), "/no/such/file");
}

TEST_F(Registry, LetsInterruptsThroughAndComesOutUnlocked) {
  client.add_plugin("p", {})->registrations = [&] {
    if (client.before) client.before("plugin");
    return std::vector{utility("u")};
  };
  client.directory.write("config/plugin_includes.txt", client.directory.path("x"));
  client.directory.write("x/main.py", "");
  start();
  const auto look_up_locked = [&] {
    const LockHeld held(manager->lock);
    return manager->_get_utility_info("u", true);
  };
  for (const std::string service : {"get_plugins_by_hook utility_server_register", "import x.main",
                                    "get_default_config_dir", "get_plugin_dir", "plugin"}) {
    client.before = [&](const std::string& asked) {
      if (asked == service) throw host::HostInterrupt();
    };
    EXPECT_THROW(manager->_get_all_utilities(), host::HostInterrupt) << service;
    EXPECT_THROW(manager->_get_utility_info("u"), host::HostInterrupt) << service;
    EXPECT_THROW(look_up_locked(), host::HostInterrupt) << service;
  }
  client.before = nullptr;
  EXPECT_NE(look_up_locked(), nullptr);
  EXPECT_NE(manager->utility_registry()->find("u"), nullptr);
}

}  // namespace
}  // namespace utility_manager
