#include <future>

#include "tests/utility_manager/views/adopted.h"

using namespace utility_manager;

namespace utility_manager {
namespace {

class RunningLists : public AdoptedTest {
 protected:
  void start_catalogue() {
    client.directory.write("plugins/p/i.png", "1");
    start(R"([{"utility_name": "full", "title": "", "en_title": "F", "description": "d",
               "en_description": "e", "default_route": "/app", "require_group_name": true,
               "display_location": "Top", "icon_path": "i.png"},
              {"utility_name": "plain", "icon_path": "i.png"}])");
  }

  void start_instances() {
    start_catalogue();
    adopt("a", 8001, R"({"utility_name": "full", "group_name": "g", "lang": "de"})");
    adopt("b", 8002, R"({"utility_name": "gone", "group_name": "g", "studio_url": "http://s"})");
    adopt("c", 8003, R"({"create_time": null})");
    adopt("d", 8004, R"({"utility_name": "plain", "group_name": "h"})");
    adopt("e", 8005, R"({"utility_name": "gone", "group_name": "h"})");
  }

  /// A record with its process id, which differs from run to run, proved and made 0.
  std::string told(Value record) {
    auto& pid = record.mapping()["pid"];
    EXPECT_EQ(pid, processes.at(member(record, "server_id").text()).pid());
    pid = 0;
    return json_of(record);
  }

  const std::map<std::string, int> once = {{"get_gui_addr", 1},
                                           {"get_default_config_dir", 1},
                                           {"get_plugin_dir", 1},
                                           {"get_plugins_by_hook utility_server_register", 1}};
};

TEST_F(RunningLists, ShowEachInstanceInTableOrder) {
  start_instances();
  const auto list = to_value(manager->list_utility_servers(), Shown::in_list);
  ASSERT_EQ(each(list, "server_id"), "a b c d e ");
  EXPECT_EQ(told(list.list()[0]),
            json(R"({"server_id":"a","utility_name":"full","port":8001,"pid":0,)"
                 R"("local_url":"http://localhost:8001",)"
                 R"("url":"http://127.0.0.1:7000/group_utility/g/full","default_route":"/app",)"
                 R"("create_time":1700000000,"lang":"de","group_name":"g",)"
                 R"("icon":"data:image/png;base64,MQ=="})"));
  EXPECT_EQ(
      told(list.list()[1]),
      json(R"({"server_id":"b","utility_name":"gone","port":8002,"pid":0,)"
           R"("local_url":"http://localhost:8002","url":"http://127.0.0.1:7000/utility/gone",)"
           R"("default_route":"/","create_time":1700000000,"studio_url":"http://s",)"
           R"("group_name":"g","icon":null})"));
  EXPECT_EQ(told(list.list()[2]),
            json(R"({"server_id":"c","utility_name":null,"port":8003,"pid":0,)"
                 R"("local_url":"http://localhost:8003","url":"http://127.0.0.1:7000/utility/",)"
                 R"("default_route":"/","create_time":null,"icon":null})"));
  EXPECT_EQ(member(list.list()[3], "url"), "http://127.0.0.1:7000/utility/plain");
  EXPECT_EQ(client.calls, once);
}

TEST_F(RunningLists, GroupByWhatTheInstanceSays) {
  start_instances();
  const auto grouped = to_value(manager->list_all_running_utilities_grouped());
  ASSERT_EQ(grouped.mapping().size(), 2U);
  ASSERT_EQ(each(member(grouped, "without_group"), "server_id"), "c ");
  const auto& groups = member(grouped, "by_group");
  EXPECT_EQ(groups.mapping().begin()->key, "g");
  EXPECT_EQ(each(member(groups, "g"), "server_id"), "a b ");
  EXPECT_EQ(each(member(groups, "h"), "server_id"), "d e ");
  EXPECT_EQ(told(member(groups, "g").list()[0]),
            json(R"({"server_id":"a","utility_name":"full","title":"","en_title":"F",)"
                 R"("description":"d","en_description":"e","port":8001,"pid":0,)"
                 R"("local_url":"http://localhost:8001",)"
                 R"("url":"http://127.0.0.1:7000/group_utility/g/full",)"
                 R"("full_url":"http://127.0.0.1:7000/group_utility/g/full/app",)"
                 R"("default_route":"/app","display_location":"navbar","create_time":1700000000,)"
                 R"("lang":"de","icon":"data:image/png;base64,MQ==","group_name":"g"})"));
  EXPECT_EQ(
      told(member(groups, "g").list()[1]),
      json(R"({"server_id":"b","utility_name":"gone","title":"gone","en_title":"",)"
           R"("description":"","en_description":"","port":8002,"pid":0,)"
           R"("local_url":"http://localhost:8002","url":"http://127.0.0.1:7000/utility/gone",)"
           R"("full_url":"http://127.0.0.1:7000/utility/gone/","default_route":"/",)"
           R"("display_location":"default","create_time":1700000000,)"
           R"("studio_url":"http://s","icon":null,"group_name":"g"})"));
  EXPECT_EQ(member(member(grouped, "without_group").list()[0], "title"), nullptr);
  EXPECT_EQ(client.calls, once);
}

TEST_F(RunningLists, AreEmptyAndAskNothingWhereNothingRuns) {
  start_catalogue();
  EXPECT_EQ(json_of(to_value(manager->list_utility_servers(), Shown::in_list)), "[]");
  EXPECT_EQ(json_of(to_value(manager->list_all_running_utilities_grouped())),
            json(R"({"without_group":[],"by_group":{}})"));
  EXPECT_TRUE(client.calls.empty());
}

class Sweep : public AdoptedTest, public testing::WithParamInterface<bool> {
 protected:
  Sweep() : AdoptedTest(GetParam() ? platform::native_processes() : platform::bare_processes()) {}
};

TEST_P(Sweep, TakesTheDeadOffTheBooks) {
  start("[]");
  for (const std::string id : {"seen", "unseen", "live"}) adopt(id, 8001, R"({"create_time": 0})");
  adopt("unseen too", 8002, R"({"create_time": 0})");
  processes.at("seen").end();
  end_unseen("unseen");
  end_unseen("unseen too");
  EXPECT_EQ(each(to_value(manager->list_utility_servers(), Shown::in_list), "server_id"), "live ");
  EXPECT_EQ(manager->servers().size(), 1U);
  EXPECT_FALSE(manager->used_ports().contains(8002));
  EXPECT_FALSE(std::filesystem::exists(client.directory.path(state_file("seen"))));
  EXPECT_TRUE(std::filesystem::exists(client.directory.path(state_file("live"))));
}

INSTANTIATE_TEST_SUITE_P(WithAndWithoutInspection, Sweep, testing::Bool());

TEST_F(RunningLists, RemoveADeadInstanceOnceBesideTheMonitor) {
  start("[]");
  adopt("dead", 8001);
  adopt("dead too", 8002);
  for (const char* id : {"dead", "dead too"}) end_unseen(id);
  const auto pid = processes.at("dead too").pid();
  system.on_probe = [&](std::int64_t probed) {
    if (probed != pid) return;
    system.on_probe = nullptr;
    manager->_handle_server_died("dead");
    adopt("next", 8001);  // the port has a new holder by the time the sweep removes
  };
  EXPECT_EQ(each(to_value(manager->list_utility_servers(), Shown::in_list), "server_id"), "next ");
  EXPECT_EQ(manager->used_ports(), std::set<std::int64_t>{8001});
}

TEST_F(RunningLists, WaitForAStopWhileTheCatalogueDoesNot) {
  start_catalogue();
  adopt("a", 8001, R"({"utility_name": "plain"})");
  std::promise<void> stopping;
  std::promise<void> go_on;
  system.on_probe = [&, asked = std::make_shared<std::atomic<bool>>(false)](std::int64_t) {
    if (asked->exchange(true)) return;
    stopping.set_value();
    go_on.get_future().wait();
    processes.at("a").end();
  };
  auto stopped = std::async(std::launch::async, [&] { return manager->stop_utility_server("a"); });
  stopping.get_future().wait();
  auto list = std::async(std::launch::async,
                         [&] { return to_value(manager->list_utility_servers(), Shown::in_list); });
  EXPECT_EQ(manager->catalogue().all().size(), 2U);
  PluginPlaces places;
  EXPECT_TRUE(find_member(with_icon(*manager->catalogue().find("plain"), places), "icon"));
  go_on.set_value();
  EXPECT_EQ(json_of(list.get()), "[]");
  EXPECT_TRUE(stopped.get());
}

TEST_F(RunningLists, BeginAgainWhereTheTableHasChanged) {
  start_instances();
  client.before = [&](const std::string& asked) {
    if (asked == "get_gui_addr") manager->_handle_server_died("b");
  };
  const auto list = to_value(manager->list_utility_servers(), Shown::in_list);
  EXPECT_EQ(each(list, "server_id"), "a c d e ");
  EXPECT_EQ(client.calls, once);
}

TEST_F(RunningLists, LetFailuresThroughAndComeOutUnlocked) {
  start_instances();
  adopt("dead", 8006);
  end_unseen("dead");
  plugin->registrations = [&] {
    client.before("plugin");
    return std::vector<Value>();
  };
  for (const std::string service : {"plugin", "get_plugin_dir", "get_gui_addr"}) {
    client.before = [&](const std::string& asked) {
      if (asked == service) throw host::HostInterrupt();
    };
    EXPECT_THROW(to_value(manager->list_utility_servers(), Shown::in_list), host::HostInterrupt)
        << service;
    EXPECT_THROW(to_value(manager->list_all_running_utilities_grouped()), host::HostInterrupt)
        << service;
  }
  EXPECT_EQ(manager->servers().size(), 5U);  // what the sweep removed stays removed
  client.before = [](const std::string&) { throw host::HostFailure("refused"); };
  EXPECT_THROW(to_value(manager->list_utility_servers(), Shown::in_list), host::HostFailure);
  EXPECT_THROW(to_value(manager->list_all_running_utilities_grouped()), host::HostFailure);
}

}  // namespace
}  // namespace utility_manager
