#include "tests/utility_manager/views/adopted.h"

using namespace utility_manager;

namespace utility_manager {
namespace {

class CatalogueViews : public AdoptedTest {
 protected:
  /// The names of what each view shows: without group, for the group, navbar, create-experiment.
  std::string shown(const std::string& group) {
    return each(manager->get_utilities_without_group_name(), "utility_name") + "| " +
           each(manager->get_utilities_with_group_name(group), "utility_name") + "| " +
           each(manager->get_navbar_utilities(), "utility_name") + "| " +
           each(manager->get_create_exp_utilities(group), "utility_name");
  }
};

TEST_F(CatalogueViews, ShowWhatBelongsInAPlaceAndIsAllowed) {
  start(R"([{"utility_name": "1", "create_exp_entry": 1},
            {"utility_name": "2", "require_group_name": true, "create_exp_entry": "x"},
            {"utility_name": "3", "display_location": "NAV", "create_exp_entry": true},
            {"utility_name": "4", "display_location": "top", "require_group_name": 1,
             "create_exp_entry": [0]},
            {"utility_name": "5", "access_level": "ORG_ADMIN", "create_exp_entry": 0},
            {"utility_name": "6", "access_level": "ORG_ADMIN", "require_group_name": true,
             "create_exp_entry": 1},
            {"utility_name": "7", "access_level": "SYS_ADMIN", "display_location": "header",
             "create_exp_entry": ""}])");
  client.group_details = {{"ours", {{"organization_id", 1}}}, {"theirs", {{"organization_id", 2}}}};
  const char* const org_admin =
      R"({"organizations": [{"organization_id": 1, "user_role": "ORG_ADMIN"}]})";
  const char* const admin = R"({"is_system_admin": true})";
  const struct {
    const char* user;
    const char* group;
    const char* shown;
  } cases[] = {
      {"{}", "ours", "1 | 2 | 3 | 1 2 3 4 "},
      {org_admin, "ours", "1 5 | 2 6 | 3 | 1 2 3 4 6 "},
      {org_admin, "theirs", "1 5 | 2 | 3 | 1 2 3 4 "},
      {org_admin, "lost", "1 5 | 2 | 3 | 1 2 3 4 "},
      {org_admin, "", "1 5 | 2 6 | 3 | 1 3 "},
      {org_admin, " \t", "1 5 | 2 | 3 | 1 3 "},
      {org_admin, " ours\u00a0", "1 5 | 2 | 3 | 1 2 3 4 6 "},
      {admin, "lost", "1 5 | 2 6 | 3 7 | 1 2 3 4 6 "},
      {"null", "ours", "1 | 2 | 3 | 1 2 3 4 "},
  };
  for (const auto& [user, group, expected] : cases) {
    client.org_list = read_json(user);
    EXPECT_EQ(shown(group), expected) << user << group;
  }
}

TEST_F(CatalogueViews, AddTheRunningStateToACopy) {
  const auto icon = client.directory.write("plugins/p/i.png", "1");
  start(R"([{"utility_name": "g", "title": "T", "require_group_name": true, "extra": [1],
             "default_route": "/app", "icon_path": "i.png", "_icon_cache_": 1},
            {"utility_name": "n"}, {"utility_name": 5}])");
  adopt("a", 8001, R"({"utility_name": "g", "group_name": " x ", "lang": "de"})");
  adopt("b", 8002, R"({"utility_name": "n"})");
  const std::string fields =
      R"({"utility_name":"g","title":"T","en_title":"","description":"","en_description":"",)"
      R"("script_path":"","default_route":"/app","require_group_name":true,"plugin_name":"p",)"
      R"("builtin":false,"access_level":"ALL","persistent":false,"display_location":"default",)"
      R"("extra":[1],)";
  const auto before = manager->catalogue().find("g")->fields;
  EXPECT_EQ(json_of(manager->get_utilities_with_group_name(" x ")),
            json("[" + fields +
                 R"("is_running":true,"server_id":"a","port":8001,)"
                 R"("local_url":"http://localhost:8001",)"
                 R"("url":"http://127.0.0.1:7000/group_utility/ x /g",)"
                 R"("full_url":"http://127.0.0.1:7000/group_utility/ x /g/app",)"
                 R"("group_name":" x ","icon":"data:image/png;base64,MQ=="}])"));
  change_unseen(icon, [&] { client.directory.write("plugins/p/i.png", "not read"); });
  EXPECT_EQ(json_of(manager->get_utilities_with_group_name("x")),
            json("[" + fields + R"("is_running":false,"icon":"data:image/png;base64,MQ=="}])"));
  EXPECT_EQ(manager->catalogue().find("g")->fields, before);
  const auto without = manager->get_utilities_without_group_name().list();
  EXPECT_EQ(member(without[0], "full_url"), "http://127.0.0.1:7000/utility/n/");
  EXPECT_FALSE(without[0].mapping().contains("group_name"));
  EXPECT_EQ(member(without[1], "is_running"), false);
}

TEST_F(CatalogueViews, LookCreateExperimentEntriesUpWhereTheyRun) {
  start(R"([{"utility_name": "g", "require_group_name": true, "create_exp_entry": 1},
            {"utility_name": "n", "require_group_name": true, "create_exp_entry": 1,
             "display_location": "navbar"}, {"utility_name": "o", "create_exp_entry": 1}])");
  adopt("a", 8001, R"({"utility_name": "g", "group_name": "x"})");
  adopt("b", 8002, R"({"utility_name": "n"})");
  adopt("c", 8003, R"({"utility_name": "o", "group_name": "x"})");
  const auto entries = manager->get_create_exp_utilities(" x\n").list();
  ASSERT_EQ(entries.size(), 3U);
  EXPECT_EQ(member(entries[0], "group_name"), "x");
  EXPECT_EQ(member(entries[1], "server_id"), "b");
  EXPECT_FALSE(entries[1].mapping().contains("group_name"));
  EXPECT_EQ(member(entries[2], "is_running"), false);
}

TEST_F(CatalogueViews, SortCreateExperimentEntriesByFoldedTitle) {
  List items;
  const std::pair<const char*, Value> titles[] = {
      {"1", "\u00c4"},    {"gamma", nullptr},     {"2", "beta"},
      {"3", "STRASSE b"}, {"4", "stra\u00dfe a"}, {"5", "\ufb01b"},
      {"6", "FIA"},       {"7", "Alpha"},         {"8", "alpha"},
      {"9", 10},          {"10", "\U0001f600"},   {"11", "\uffe6"},
      {"", ""},           {"12", List{"x"}},
  };
  for (const auto& [name, title] : titles) {
    items.push_back(Mapping{{"utility_name", name}, {"title", title}, {"create_exp_entry", true}});
  }
  items.push_back(Mapping{{"utility_name", 13}, {"title", nullptr}, {"create_exp_entry", true}});
  start(json_of(items));
  std::string order;
  for (const auto& entry : manager->get_create_exp_utilities("").list()) {
    const auto& name = member(entry, "utility_name");
    order += (name.is_text() ? name.text() : json_of(name)) + " ";
  }
  EXPECT_EQ(order, "9 13 12 7 8 2 6 5 gamma 4 3 1 11 10 ");
}

TEST_F(CatalogueViews, KeepTheCataloguesOrderAmongManyEqualTitles) {
  List items;
  for (int i = 0; i < 100; ++i) {
    items.push_back(Mapping{{"utility_name", std::to_string(i)},
                            {"title", i % 3 ? "B" : "a"},
                            {"create_exp_entry", 1}});
  }
  start(json_of(items));
  std::pair<std::string, int> last{"", -1};
  for (const auto& entry : manager->get_create_exp_utilities("").list()) {
    std::pair<std::string, int> next(member(entry, "title").text() == "a" ? "1" : "2",
                                     std::stoi(member(entry, "utility_name").text()));
    EXPECT_LT(last, next);
    last = next;
  }
}

TEST_F(CatalogueViews, AskNoServiceTwice) {
  client.add_plugin("another", {{{"utility_name", "6"}, {"icon_path", "z"}}});
  start(R"([{"utility_name": "1", "access_level": "ORG_ADMIN", "require_group_name": true},
            {"utility_name": "2", "access_level": "ORG_ADMIN", "require_group_name": true},
            {"utility_name": "3", "access_level": "ORG_ADMIN", "require_group_name": true,
             "display_location": "nav"}, {"utility_name": "4", "icon_path": "x"},
            {"utility_name": "5", "icon_path": "y"}])");
  client.org_list = Mapping();
  client.group_details["g"] = {{"organization_id", 1}};
  adopt("a", 8001, R"({"utility_name": "4"})");
  adopt("b", 8002, R"({"utility_name": "5"})");
  using Calls = std::map<std::string, int>;
  manager->get_utilities_with_group_name("g");
  EXPECT_EQ(std::exchange(client.calls, {}), (Calls{{"get_org_list", 1}, {"get_group_detail", 1}}));
  manager->get_utilities_without_group_name();
  EXPECT_EQ(std::exchange(client.calls, {}), (Calls{{"get_org_list", 1},
                                                    {"get_gui_addr", 1},
                                                    {"get_default_config_dir", 1},
                                                    {"get_plugin_dir", 1}}));
  manager->get_navbar_utilities();
  manager->get_create_exp_utilities("g");
  EXPECT_EQ(client.calls, (Calls{{"get_org_list", 2}}));
  EXPECT_EQ(plugin->calls, 1);
}

TEST_F(CatalogueViews, WalkTheCatalogueAsItWas) {
  start(R"([{"utility_name": "1", "access_level": "ORG_ADMIN", "require_group_name": true},
            {"utility_name": "2", "require_group_name": true}])");
  client.org_list =
      read_json(R"({"organizations": [{"organization_id": 1, "user_role": "ORG_ADMIN"}]})");
  client.group_details["g"] = {{"organization_id", 1}};
  client.before = [&](const std::string& asked) {
    if (asked != "get_group_detail") return;
    plugin->registrations = [] {
      return std::vector{read_json(R"({"utility_name": "3", "access_level": "ORG_ADMIN",
                                          "require_group_name": true, "display_location": "nav"})")};
    };
    manager->catalogue().refresh();
  };
  EXPECT_EQ(each(manager->get_utilities_with_group_name("g"), "utility_name"), "1 2 ");
  EXPECT_EQ(json_of(manager->get_utilities_with_group_name("g")), "[]");
  EXPECT_EQ(client.calls["get_group_detail"], 1);  // not for what doesn't belong there
}

TEST_F(CatalogueViews, StayLinearForTwoThousandUtilities) {
  List items;
  for (int i = 0; i < 2000; ++i) {
    items.push_back(
        Mapping{{"utility_name", "u" + std::to_string(i)}, {"create_exp_entry", i < 1000}});
  }
  start(json_of(items));
  adopt("a", 8001, R"({"utility_name": "u7"})");
  system.probes = 0;
  EXPECT_EQ(manager->get_create_exp_utilities("g").list().size(), 1000U);
  EXPECT_EQ(system.probes.exchange(0), 5);  // one load, and twice a load and a sweep
  EXPECT_EQ(manager->get_utilities_without_group_name().list().size(), 2000U);
  EXPECT_EQ(system.probes, 5);
  EXPECT_EQ(client.calls, (std::map<std::string, int>{{"get_org_list", 2}, {"get_gui_addr", 2}}));
  EXPECT_EQ(plugin->calls, 1);
}

TEST_F(CatalogueViews, LookAgainWhenTheClientHasBeenAsked) {
  start(R"([{"utility_name": "u", "require_group_name": true},
            {"utility_name": "v", "require_group_name": true, "access_level": "ORG_ADMIN"},
            {"utility_name": "w", "require_group_name": true}])");
  client.group_details = {{"g", {{"organization_id", 1}}}};
  client.org_list =
      read_json(R"({"organizations": [{"organization_id": 1, "user_role": "ORG_ADMIN"}]})");
  adopt("a", 8001, R"({"utility_name": "u", "group_name": "g"})");
  adopt("b", 8002, R"({"utility_name": "v", "group_name": "g"})");
  client.before = [&](const std::string& asked) {
    if (asked != "get_group_detail") return;
    end_unseen("b");
    adopt("c", 8003, R"({"utility_name": "w", "group_name": "g"})");
  };
  const auto view = manager->get_utilities_with_group_name("g");
  ASSERT_EQ(each(view, "utility_name"), "u v w ");
  EXPECT_EQ(member(view.list()[0], "is_running"), true);
  EXPECT_EQ(member(view.list()[1], "is_running"), false);
  EXPECT_EQ(member(view.list()[2], "is_running"), true);
}

TEST_F(CatalogueViews, ReloadFirstAndLetFailuresThrough) {
  start("[]");
  adopt("a", 8001);
  processes.at("a").end();
  EXPECT_EQ(json_of(manager->get_navbar_utilities()), "[]");
  EXPECT_TRUE(manager->servers().empty());

  plugin->registrations = [&] {
    client.before("plugin");
    return std::vector{read_json(R"({"utility_name": "u", "icon_path": "i",
                                        "access_level": "ORG_ADMIN", "require_group_name": 1})")};
  };
  client.org_list = Mapping();
  for (const std::string service : {"get_org_list", "plugin", "get_group_detail"}) {
    manager->catalogue().refresh();
    client.before = [&](const std::string& asked) {
      if (asked == service) throw host::HostInterrupt();
    };
    EXPECT_THROW(manager->get_utilities_with_group_name("g"), host::HostInterrupt) << service;
  }
  client.org_list.mapping()["is_system_admin"] = true;
  client.before = [](const std::string& asked) {
    if (asked == "get_plugin_dir") throw host::HostFailure("refused");
  };
  manager->catalogue().find("u");
  EXPECT_THROW(manager->get_utilities_with_group_name("g"), host::HostFailure);
}

}  // namespace
}  // namespace utility_manager
