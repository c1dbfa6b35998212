#include "utility_manager/access/access.h"

#include <cmath>

#include <gtest/gtest.h>

#include "tests/fakes/fake_client.h"
#include "tests/json.h"
#include "utility_manager/host/failures.h"
#include "utility_manager/utility_manager.h"

using namespace utility_manager;

namespace utility_manager {
namespace {

using values::json;
using values::List;
using values::Mapping;
using values::read_json;
using values::Value;
using Manager = UtilityServerManager;

class Access : public testing::Test {
 protected:
  fakes::FakeClient client;
};

TEST_F(Access, TellsTheUsersRights) {
  const std::string nobody = R"({"is_admin":false,"is_org_admin":false,"organizations":[]})";
  const std::pair<const char*, std::string> cases[] = {
      {"{}", nobody},
      {"[]", nobody},
      {R"({"is_system_admin": 1, "organizations": {"user_role": "ORG_ADMIN"}})",
       R"({"is_admin":true,"is_org_admin":true,"organizations":[]})"},
      {R"({"organizations": [3, {"user_role": "org_admin"}]})",
       R"({"is_admin":false,"is_org_admin":false,"organizations":[3,{"user_role":"org_admin"}]})"},
      {R"({"organizations": [null, {"user_role": "ORG_ADMIN"}]})",
       R"({"is_admin":false,"is_org_admin":true,"organizations":[null,{"user_role":"ORG_ADMIN"}]})"},
  };
  for (const auto& [org_list, rights] : cases) {
    client.org_list = read_json(org_list);
    EXPECT_EQ(json_of(user_permissions()), json(rights)) << org_list;
  }
  client.before = [](const std::string&) { throw host::HostFailure("offline"); };
  EXPECT_EQ(json_of(user_permissions()), json(nobody));
}

TEST_F(Access, DecidesByLevelAndAsksForNoMoreThanItNeeds) {
  const Value admin = {{"is_admin", true}};
  const auto member = read_json(R"({"is_org_admin": true, "organizations":
      [{"organization_id": 1, "user_role": "ORG_ADMIN"}]})");
  const Value none = Mapping();
  client.group_details = {{"ours", {{"organization_id", 1}}}, {"theirs", {{"organization_id", 2}}}};
  const struct {
    const char* level;
    bool in_group;
    Value rights;
    std::optional<std::string> group;
    bool allowed;
    int asked;
  } cases[] = {
      {"whatever", true, none, "ours", true, 0},
      {"SYS_ADMIN", false, admin, {}, true, 0},
      {"SYS_ADMIN", false, member, {}, false, 0},
      {"ORG_ADMIN", true, admin, "theirs", true, 0},
      {"ORG_ADMIN", true, member, "ours", true, 1},
      {"ORG_ADMIN", true, member, "theirs", false, 1},
      {"ORG_ADMIN", true, member, "lost", false, 1},
      {"ORG_ADMIN", true, member, "", true, 0},
      {"ORG_ADMIN", true, member, {}, true, 0},
      {"ORG_ADMIN", true, none, "ours", false, 1},
      {" org_admin", false, member, "lost", true, 0},
      {"ORG_ADMIN", false, none, "ours", false, 0},
  };
  for (const auto& [level, in_group, rights, group, allowed, asked] : cases) {
    client.calls.clear();
    const Value record = {{"access_level", level}, {"require_group_name", in_group}};
    EXPECT_EQ(check_utility_permission(record, rights, group), allowed)
        << record << rights << group.value_or("null");
    EXPECT_EQ(client.calls["get_group_detail"], asked) << record << rights;
    EXPECT_EQ(client.calls["get_org_list"], 0);
  }
  EXPECT_THROW(check_utility_permission({{"access_level", nullptr}}, admin), TypeError);
  EXPECT_TRUE(check_utility_permission(none));
  EXPECT_EQ(client.calls["get_org_list"], 1);
}

TEST_F(Access, FindsTheRoleInAnOrganisation) {
  const auto rights = read_json(R"({"organizations": [7, {"user_role": "NONE"},
      {"organization_id": 0, "user_role": "ORG_ADMIN"}, {"organization_id": 1}, {"organization_id": 1, "user_role": "X"},
      {"organization_id": 2.0, "user_role": "ORG_MEMBER"}, {"organization_id": 2, "user_role": "X"},
      {"organization_id": "3", "user_role": "X"}, {"organization_id": 4, "user_role": 5}]})");
  const std::pair<Value, std::optional<std::string>> cases[] = {
      {0, "ORG_ADMIN"}, {0.9, "ORG_ADMIN"},  {-0.5, "ORG_ADMIN"},
      {1, {}},          {2.7, "ORG_MEMBER"}, {3, {}},
  };
  for (const auto& [id, role] : cases) {
    EXPECT_EQ(user_role_in_org(id, rights), role) << id;
  }
  for (const Value& id : {Value(), Value("1"), Value(List{1}), Value(4), Value(HUGE_VAL)}) {
    EXPECT_THROW(user_role_in_org(id, rights), TypeError) << id;
  }
  const auto no_list =
      read_json(R"({"organizations": {"a": {"organization_id": 1, "user_role": "ORG_ADMIN"}}})");
  EXPECT_EQ(user_role_in_org(1, no_list), std::nullopt);
}

TEST_F(Access, ClosesAGroupThatCanNotBeAskedAbout) {
  client.org_list = read_json(R"({"organizations": [
      {"organization_id": 0, "user_role": "ORG_ADMIN"}, {"organization_id": 1, "user_role": "X"},
      {"organization_id": 1, "user_role": "ORG_ADMIN"}, {"organization_id": 4, "user_role": 5}]})");
  const struct {
    const char* detail;
    bool for_member, for_admin;
  } cases[] = {
      {R"({"organization_id": 0})", true, true},
      {R"({"organization_id": 1})", false, true},
      {R"({"organization_id": 2})", false, true},
      {R"({"organization_id": 4})", false, true},
      {R"({"organization_id": "0"})", false, true},
      {R"({"organization_id": null})", false, false},
      {"{}", false, false},
      {"[]", false, false},
  };
  for (const auto& [detail, for_member, for_admin] : cases) {
    client.group_details["g"] = read_json(detail);
    EXPECT_EQ(check_org_admin_for_group("g"), for_member) << detail;
    EXPECT_EQ(check_org_admin_for_group("g", {{"is_admin", true}}), for_admin) << detail;
  }
  EXPECT_FALSE(check_org_admin_for_group("unknown", {{"is_admin", true}}));
}

TEST_F(Access, LetsInterruptsThrough) {
  client.group_details["g"] = {{"organization_id", 1}};
  for (const std::string service : {"get_org_list", "get_group_detail"}) {
    client.before = [&](const std::string& asked) {
      if (asked == service) throw host::HostInterrupt();
    };
    EXPECT_THROW(check_org_admin_for_group("g"), host::HostInterrupt) << service;
  }
}

}  // namespace
}  // namespace utility_manager
