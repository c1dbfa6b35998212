#include <future>

#include <gtest/gtest.h>

#include "tests/fakes/fake_client.h"
#include "tests/json.h"
#include "utility_manager/catalogue/icons.h"
#include "utility_manager/catalogue/plugin_walk.h"
#include "utility_manager/host/failures.h"
#include "utility_manager/utility_manager.h"

using namespace utility_manager;

namespace utility_manager {
namespace {

using values::List;
using values::Mapping;
using values::read_json;
using values::Value;
using Manager = UtilityServerManager;

Value utility(const std::string& name, const std::string& title = {}) {
  return {{"utility_name", name}, {"title", title}};
}

Value script(const std::string& name, const Value& path, const Value& more = Mapping()) {
  Value registration = {{"utility_name", name}, {"script_path", path}};
  update(registration, more);
  return registration;
}

class Registry : public testing::Test {
 protected:
  /// A manager with an empty cache.
  void start() {
    manager = std::make_shared<Manager>();
    manager->catalogue().refresh();
    for (const auto& plugin : client.plugins) {
      if (plugin) plugin->calls = 0;
    }
  }

  /// Titles in catalogue order, the calls of each plugin behind them.
  std::string told(const std::vector<UtilityInfoPtr>& records) const {
    std::string text;
    for (const auto& info : records) text += member(info->fields, "title").text() + " ";
    for (const auto& plugin : client.plugins) text += std::to_string(plugin->calls);
    return text;
  }

  /// The title of what a look-up finds, the calls of each plugin behind it.
  std::string told(const UtilityInfoPtr& info) const {
    return info ? told(std::vector{info}) : "none " + told(std::vector<UtilityInfoPtr>());
  }

  fakes::FakeClient client;
  std::shared_ptr<Manager> manager;
};

TEST_F(Registry, TakesTheLastOfACollectionAndTheFirstOfALookUp) {
  client.add_plugin("one", {utility("a", "a1"), utility("b", "b1"), utility("a", "a2")});
  client.add_plugin("two", {utility("c", "c3"), utility("a", "a3")});
  start();
  const auto found = manager->catalogue().find("a");
  EXPECT_EQ(told(found), "a1 10");
  EXPECT_EQ(manager->catalogue().find("a"), found);
  EXPECT_EQ(told(manager->catalogue().find("c")), "c3 21");
  EXPECT_FALSE(manager->catalogue().is_complete());
  EXPECT_EQ(told(manager->catalogue().all()), "a3 c3 b1 32");
  EXPECT_EQ(told(manager->catalogue().all()), "a3 c3 b1 32");
  EXPECT_EQ(manager->catalogue().all()[0], manager->catalogue().find("a"));
  EXPECT_EQ(told(manager->catalogue().find("unknown")), "none 43");
  EXPECT_EQ(told(manager->catalogue().find("unknown")), "none 54");
  manager->catalogue().refresh();
  EXPECT_EQ(told(manager->catalogue().all()), "a3 b1 c3 65");
}

TEST_F(Registry, LosesTheRestOfAPluginThatFailsAndNoMore) {
  for (const char* bad :
       {R"({"utility_name": "bad", "access_level": null})",
        R"({"utility_name": "bad", "poison": 1})", R"({"utility_name": "bad", "script_path": 5})",
        R"({"utility_name": ["bad"]})"}) {
    client.add_plugin("p", {utility("a", "a"), read_json(bad), utility("lost", "lost")});
  }
  client.add_plugin("raising", {})->registrations = []() -> std::vector<Value> {
    throw host::HostFailure("refused");
  };
  client.add_plugin("odd", {"text", List{utility("t")}, nullptr, utility("", "nameless"),
                            Value{{"title", "missing"}}, utility("z", "z")});
  start();
  EXPECT_EQ(told(manager->catalogue().all()), "a z 111111");
  EXPECT_EQ(told(manager->catalogue().find("bad")), "none 222222");
  EXPECT_EQ(told(manager->catalogue().find("lost")), "lost 322222");
  EXPECT_EQ(told(manager->catalogue().find("")), "nameless 433333");
}

TEST_F(Registry, KeepsWhatItHadWhenTheWalkBreaksOff) {
  client.add_plugin("one", {utility("a", "a")});
  client.plugins.push_back(nullptr);
  client.add_plugin("behind", {utility("b", "b")});
  start();
  EXPECT_EQ(manager->catalogue().all().size(), 1U);
  EXPECT_EQ(manager->catalogue().find("b"), nullptr);
  EXPECT_TRUE(manager->catalogue().is_complete());

  manager->catalogue().refresh();
  client.before = [](const std::string&) { throw host::HostFailure("no register"); };
  EXPECT_TRUE(manager->catalogue().all().empty());
  client.before = nullptr;
  EXPECT_TRUE(manager->catalogue().all().empty());
  EXPECT_NE(manager->catalogue().find("a"), nullptr);
}

TEST_F(Registry, MakesAgainWhatARefreshOvertook) {
  int refreshes = 1;
  client.add_plugin("p", {})->registrations = [&] {
    if (refreshes > 0 && manager) {
      --refreshes;
      manager->catalogue().refresh();
    }
    return std::vector{utility("u", std::to_string(refreshes))};
  };
  start();
  EXPECT_EQ(told(manager->catalogue().all()), "0 2");
  EXPECT_EQ(told(manager->catalogue().all()), "0 2");

  refreshes = 100;
  manager->catalogue().refresh();
  EXPECT_EQ(told(manager->catalogue().all()), "97 5");
  EXPECT_EQ(told(manager->catalogue().find("u")), "96 6");
  EXPECT_FALSE(manager->catalogue().is_complete());
  EXPECT_TRUE(manager->catalogue().snapshot()->entries().empty());
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
  meanwhile = [&] { inner = manager->catalogue().find("u"); };
  const auto outer = manager->catalogue().find("u");
  EXPECT_NE(outer, inner);
  EXPECT_EQ(manager->catalogue().find("u"), inner);

  manager->catalogue().refresh();
  meanwhile = [&] { inner_list = manager->catalogue().all(); };
  EXPECT_EQ(manager->catalogue().all(), inner_list);
}

TEST_F(Registry, IsWholeForEveryThreadBesideRefreshes) {
  client.directory.write("plugins/p/i.png", "1");
  client.add_plugin("p", {{{"utility_name", "a"}, {"icon_path", "i.png"}}, utility("b")});
  start();
  std::vector<std::future<void>> threads;
  for (int thread = 0; thread < 4; ++thread) {
    threads.push_back(std::async(std::launch::async, [this, thread] {
      for (int round = 0; round < 50; ++round) {
        if (round % 4 == thread) manager->catalogue().refresh();
        ASSERT_EQ(manager->catalogue().all().size(), 2U);
        const auto info = manager->catalogue().find("a");
        PluginPlaces places;
        ASSERT_TRUE(member(with_icon(*info, places), "icon").is_text());
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
  const auto collected = manager->catalogue().all();
  for (std::size_t i = 0; i < expected.size(); ++i) {
    const auto& fields = collected.at(i)->fields;
    EXPECT_EQ(member(fields, "script_path"), expected[i]) << fields;
    const auto name = member(fields, "utility_name").text();
    EXPECT_EQ(find_in_plugins(name)->fields, fields);
  }
  EXPECT_EQ(member(collected[3]->fields, "plugin_name"), "builtin_own");
  EXPECT_EQ(client.calls["get_plugin_dir"], 3 + 3);
}

TEST_F(Registry, AsksForTwoThousandUtilitiesNoMoreThanOnceEach) {
  std::vector<Value> many;
  for (int i = 0; i < 2000; ++i) many.push_back(utility("u" + std::to_string(i)));
  const auto plugin = client.add_plugin("p", many);
  start();
  client.calls.clear();
  EXPECT_EQ(manager->catalogue().all().size(), 2000U);
  const std::map<std::string, int> expected = {{"get_plugins_by_hook utility_server_register", 1},
                                               {"get_default_config_dir", 2000},
                                               {"get_plugin_dir", 2000}};
  EXPECT_EQ(client.calls, expected);
  for (const auto& item : many) {
    ASSERT_NE(manager->catalogue().find(member(item, "utility_name").text()), nullptr);
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
      return manager->catalogue().script_of(name, "");
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
  EXPECT_EQ(manager->catalogue().script_of("unknown", "/no/such/file"), "/no/such/file");
}

TEST_F(Registry, LetsInterruptsThroughAndComesOutUnlocked) {
  client.add_plugin("p", {})->registrations = [&] {
    if (client.before) client.before("plugin");
    return std::vector{utility("u")};
  };
  client.directory.write("config/plugin_includes.txt", client.directory.path("x"));
  client.directory.write("x/main.py", "");
  start();
  for (const std::string service : {"get_plugins_by_hook utility_server_register", "import x.main",
                                    "get_default_config_dir", "get_plugin_dir", "plugin"}) {
    client.before = [&](const std::string& asked) {
      if (asked == service) throw host::HostInterrupt();
    };
    EXPECT_THROW(manager->catalogue().all(), host::HostInterrupt) << service;
    EXPECT_THROW(manager->catalogue().find("u"), host::HostInterrupt) << service;
  }
  client.before = nullptr;
  EXPECT_NE(manager->catalogue().find("u"), nullptr);
  EXPECT_NE(manager->catalogue().snapshot()->find("u"), nullptr);
}

}  // namespace
}  // namespace utility_manager
