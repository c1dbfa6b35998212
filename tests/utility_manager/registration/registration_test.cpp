#include "utility_manager/registration/registration.h"

#include <gtest/gtest.h>

#include "tests/json.h"
#include "utility_manager/registration/placement.h"
#include "utility_manager/utility_manager.h"

using namespace utility_manager;

namespace utility_manager {
namespace {

using values::List;
using values::Mapping;
using values::read_json;
using values::Value;
using Registration = UtilityRegistration;

const char* const defaults =
    R"({"utility_name":"","title":"","en_title":"","description":"","en_description":"",)"
    R"("script_path":"","default_route":"/","require_group_name":false,"plugin_name":"demo",)"
    R"("builtin":false,"access_level":"ALL","persistent":false,"icon_path":"",)"
    R"("display_location":"default"})";

std::string canonical(const std::string& data) {
  return json_of(Registration::from_dict(read_json(data), "demo").to_dict());
}

TEST(Registration, BringsEachFieldToItsForm) {
  const std::pair<const char*, const char*> cases[] = {
      {"{}", "{}"},
      {R"({"utility_name": "u"})", R"({"utility_name": "u", "title": "u"})"},
      {R"({"utility_name": [7], "title": ""})", R"({"utility_name": [7]})"},
      {R"({"utility_name": 7})", R"({"utility_name": 7, "title": 7})"},
      {R"({"title": null, "description": null, "script_path": {"a": 1}, "icon_path": false})",
       R"({"title": null, "description": null, "script_path": {"a": 1}, "icon_path": false})"},
      {R"({"en_title": 0, "en_description": null, "default_route": ""})", "{}"},
      {R"({"en_title": [1, "a", true], "en_description": 1e16, "default_route": 7})",
       R"({"en_title": "[1, 'a', True]", "en_description": "1e+16", "default_route": 7})"},
      {R"({"require_group_name": {}, "builtin": 0.0, "persistent": ""})", "{}"},
      {R"({"require_group_name": "no", "builtin": 1, "persistent": [0]})",
       R"({"require_group_name": true, "builtin": true, "persistent": true})"},
      {R"({"plugin_name": null, "display_location": null})", R"({"plugin_name": null})"},
      {R"({"access_level": "org_admin", "display_location": "NAV", "plugin_name": "own"})",
       R"({"access_level": "ORG_ADMIN", "display_location": "navbar", "plugin_name": "own"})"},
  };
  for (const auto& [data, changes] : cases) {
    auto expected = read_json(defaults);
    update(expected, read_json(changes));
    EXPECT_EQ(canonical(data), json_of(expected)) << data;
  }
}

TEST(Registration, KnowsLevelsAndPlacesHoweverTheyAreWritten) {
  for (const char* level : {" org_admin\t", "\u001cOrg_Admin\u00a0\u0085", "ORG_ADM\u0131N"}) {
    EXPECT_EQ(Registration::_normalize_access_level(level), "ORG_ADMIN") << level;
  }
  EXPECT_EQ(Registration::_normalize_access_level("sys_admin"), "SYS_ADMIN");
  for (const char* level : {"", "  ", "all", "SYSADMIN", "None"}) {
    EXPECT_EQ(Registration::_normalize_access_level(level), "ALL") << level;
  }
  for (const char* place : {"navbar", " NAV\u001f", "TopNav", "top", "header\n"}) {
    EXPECT_EQ(Registration::_normalize_display_location(place), "navbar") << place;
    EXPECT_TRUE(is_navbar({{"display_location", place}}));
  }
  for (const Value& place : {Value("SPACE_TOOLS"), Value("nav bar"), Value(""), Value(true),
                             Value(), Value(0), Value(List{"nav"})}) {
    EXPECT_EQ(Registration::_normalize_display_location(place), "default") << place;
    EXPECT_FALSE(is_navbar({{"display_location", place}}));
  }
  EXPECT_FALSE(is_navbar(Mapping()));
}

TEST(Registration, RefusesOnlyABadAccessLevelAndWhatIsNoMapping) {
  for (const char* data : {"null", "[]", R"("u")", R"({"access_level": null})",
                           R"({"access_level": ["ALL"]})", R"({"access_level": true})"}) {
    EXPECT_THROW(canonical(data), TypeError) << data;
    EXPECT_THROW(Registration::_convert_legacy_access_fields(read_json(data)), TypeError);
  }
}

TEST(Registration, CarriesUnknownKeysBehindTheFieldsInTheirOrder) {
  const auto record = canonical(
      R"({"zeta":1,"persistent":1,"create_exp_entry":[],"utility_name":"u","extra":{"a":1}})");
  EXPECT_TRUE(record.ends_with(
      R"("display_location": "default", "zeta": 1, "create_exp_entry": [], "extra": {"a": 1}})"));
  EXPECT_EQ(canonical(record), record);
}

TEST(Registration, NormalisesNothingByItself) {
  Registration record;
  record.utility_name = "u";
  record.access_level = "nobody";
  auto copy = record;
  EXPECT_EQ(copy, record);
  copy.extra = {{"title", "in place"}, {"k", 1}};
  EXPECT_NE(copy, record);
  EXPECT_EQ(copy.to_dict().mapping().size(), 15U);
  EXPECT_EQ(member(copy.to_dict(), "title"), "in place");
  EXPECT_EQ(record.text_form(),
            "UtilityRegistration(utility_name='u', title='', en_title='', description='', "
            "en_description='', script_path='', default_route='/', require_group_name=False, "
            "plugin_name=None, builtin=False, access_level='nobody', persistent=False, "
            "icon_path='', display_location='default', extra={})");
}

}  // namespace
}  // namespace utility_manager
