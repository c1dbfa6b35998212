#include "tests/utility_manager/views/adopted.h"

using namespace utility_manager;

namespace utility_manager {
namespace {

class RunningLookUp : public AdoptedTest {};

TEST_F(RunningLookUp, MatchesNameAndGroupExactly) {
  start(R"([{"utility_name": "demo"}, {"utility_name": "other", "require_group_name": true}])");
  adopt("in g1", 8001, R"({"utility_name": "demo", "group_name": "g1"})");
  adopt("global", 8002, R"({"utility_name": "demo"})");
  adopt("in g2", 8003, R"({"utility_name": "other", "group_name": "g2"})");
  adopt("second", 8004, R"({"utility_name": "demo", "group_name": "g1"})");
  adopt("nameless", 8005);
  const struct {
    const char* name;
    std::optional<std::string> group;
    const char* found;
    const char* path;
  } cases[] = {
      {"demo", {}, "global", "/utility/demo"},
      {"demo", "g1", "in g1", "/group_utility/g1/demo"},
      {"other", "g2", "in g2", "/group_utility/g2/other"},
  };
  for (const auto& [name, group, found, path] : cases) {
    const auto record = manager->_find_running_utility(name, group);
    ASSERT_TRUE(record);
    EXPECT_EQ(record->instance->server_id, found);
    EXPECT_EQ(record->url(), "http://127.0.0.1:7000" + std::string(path));
  }
  for (const auto& [name, group] : std::map<std::string, std::optional<std::string>>{
           {"demo", "g2"}, {"demo ", {}}, {"Demo", "g1"}, {"other", {}}, {"none", {}}, {"", {}}}) {
    EXPECT_FALSE(manager->_find_running_utility(name, group)) << name;
  }
  for (const char* group : {"", "G1"}) {
    EXPECT_FALSE(manager->_find_running_utility("demo", group)) << group;
  }
}

TEST_F(RunningLookUp, GivesARecordOfItsOwnForm) {
  client.directory.write("plugins/p/i.png", "1");
  start(R"([{"utility_name": "demo", "icon_path": "i.png", "default_route": "/app"}])");
  adopt("a", 8001, R"({"utility_name": "demo", "group_name": "g", "lang": "de",
                       "studio_url": "http://s"})");
  adopt("b", 8002, R"({"utility_name": "gone"})");
  EXPECT_EQ(json_of(to_value(*manager->_find_running_utility("demo", "g"), Shown::by_look_up)),
            json(R"({"server_id":"a","utility_name":"demo","port":8001,)"
                 R"("local_url":"http://localhost:8001",)"
                 R"("url":"http://127.0.0.1:7000/group_utility/g/demo","default_route":"/app",)"
                 R"("group_name":"g","lang":"de","studio_url":"http://s",)"
                 R"("icon":"data:image/png;base64,MQ=="})"));
  EXPECT_EQ(client.calls,
            (std::map<std::string, int>{
                {"get_gui_addr", 1}, {"get_default_config_dir", 1}, {"get_plugin_dir", 1}}));
  EXPECT_EQ(manager->catalogue().find("demo")->icons.entries().size(), 1U);
  EXPECT_EQ(
      json_of(to_value(*manager->_find_running_utility("gone"), Shown::by_look_up)),
      json(R"({"server_id":"b","utility_name":"gone","port":8002,)"
           R"("local_url":"http://localhost:8002","url":"http://127.0.0.1:7000/utility/gone",)"
           R"("default_route":"/","icon":null})"));
  end_unseen("a");
  EXPECT_FALSE(manager->_find_running_utility("demo", "g"));
  EXPECT_EQ(manager->used_ports(), std::set<std::int64_t>{8002});
}

TEST_F(RunningLookUp, LetsInterruptsThroughAndComesOutUnlocked) {
  start(R"([{"utility_name": "demo", "icon_path": "i.png"}])");
  adopt("a", 8001, R"({"utility_name": "demo"})");
  for (const std::string service : {"get_gui_addr", "get_plugin_dir"}) {
    client.before = [&](const std::string& asked) {
      if (asked == service) throw host::HostInterrupt();
    };
    EXPECT_THROW(manager->_find_running_utility("demo"), host::HostInterrupt) << service;
  }
  EXPECT_EQ(manager->servers().size(), 1U);
}

}  // namespace
}  // namespace utility_manager
