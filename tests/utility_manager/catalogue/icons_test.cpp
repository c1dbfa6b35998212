#include <gtest/gtest.h>

#include "tests/fakes/fake_client.h"
#include "tests/json.h"
#include "utility_manager/catalogue/icon_data_uri.h"
#include "utility_manager/host/failures.h"
#include "utility_manager/utility_manager.h"

using namespace utility_manager;

namespace utility_manager {
namespace {

namespace fs = std::filesystem;
using values::json;
using values::read_json;
using values::Value;

const char* const first = "data:image/png;base64,MQ==";
const char* const second = "data:image/png;base64,Mg==";

class Icons : public testing::Test {
 protected:
  Icons() { set_modification_time(icon, born); }

  /// Puts 2 in place of the icon's 1 and moves its modification time by `seconds`.
  void replace(int seconds = 0) const {
    client.directory.write("plugins/p/icon.png", "2");
    set_modification_time(icon, born + seconds);
  }

  Value icon_of(const UtilityInfo& info) const {
    PluginPlaces places;
    return member(with_icon(info, places), "icon");
  }

  static constexpr double born = 1'700'000'000;
  fakes::FakeClient client;
  const std::string icon = client.directory.write("plugins/p/icon.png", "1");
  const UtilityInfo record{Value{{"plugin_name", "p"}, {"icon_path", "icon.png"}}};
  const std::shared_ptr<UtilityServerManager> manager = std::make_shared<UtilityServerManager>();
};

TEST_F(Icons, NameTheTypeByTheExtensionAlone) {
  const std::pair<const char*, const char*> cases[] = {
      {"a.png", "png"},      {"/x.gif/LOGO.SVG", "svg+xml"},
      {"a.jpg", "jpeg"},     {"a.b.JpEg", "jpeg"},
      {"a.gif", "gif"},      {"a.ico", "x-icon"},
      {"a.webp", "webp"},    {"a.bmp", "png"},
      {"d.svg/icon", "png"}, {".svg", "png"},
      {"a.g\u0130f", "png"},
  };
  for (const auto& [path, type] : cases) {
    const auto start = "data:image/" + std::string(type) + ";base64,";
    EXPECT_EQ(icon_data_uri(path, "ab\xff"), start + "YWL/") << path;
    EXPECT_EQ(icon_data_uri(path, ""), start);
  }
}

TEST_F(Icons, AreLookedForInTheCandidatesInOrder) {
  const auto base = client.directory.path("b");
  client.directory.write("b/icons/sub/l.png", "");
  EXPECT_EQ(resolve_icon_path("sub/l.png", base), "sub/l.png");
  for (const char* folder : {"/assets/icons", "/static/icons", "/icons", ""}) {
    client.directory.write("b" + std::string(folder) + "/l.png", "");
    EXPECT_EQ(resolve_icon_path("l.png", base), native_path(base + folder + "/l.png"));
  }
  EXPECT_EQ(resolve_icon_path("l.png", {}), "l.png");
}

TEST_F(Icons, AreReadAgainOnlyWhenTheTimeIsAnother) {
  const auto loaded = load_icon(icon, record);
  replace();
  EXPECT_EQ(load_icon(icon, record), loaded);
  EXPECT_EQ(*loaded, first);
  replace(-60);
  EXPECT_EQ(*load_icon(icon, record), second);
  EXPECT_EQ(record.icons.entries().size(), 1U);
}

TEST_F(Icons, GoToACopyAndNeverBack) {
  EXPECT_EQ(icon_of(UtilityInfo(record)), first);
  EXPECT_TRUE(record.icons.entries().empty());
  EXPECT_EQ(icon_of(record), first);
  replace();
  EXPECT_EQ(icon_of(UtilityInfo(record)), first);
  EXPECT_EQ(icon_of(UtilityInfo(record.fields)), second);
}

TEST_F(Icons, LeaveWithTheirRecordAtARefresh) {
  client.add_plugin("p", {{{"utility_name", "u"}, {"icon_path", "icon.png"}}});
  EXPECT_EQ(icon_of(*manager->catalogue().find("u")), first);
  replace();
  EXPECT_EQ(icon_of(*manager->catalogue().find("u")), first);
  manager->catalogue().refresh();
  EXPECT_EQ(icon_of(*manager->catalogue().find("u")), second);
}

TEST_F(Icons, AreNullForWhatCanNotBeRead) {
  const auto fifo = client.directory.path("fifo");
  make_special_file(fifo);
  for (const std::string& path : {std::string(), "/no" + icon, client.directory.path(), fifo}) {
    EXPECT_EQ(load_icon(path, record), nullptr) << path;
  }
  EXPECT_EQ(load_icon({}, record), nullptr);
  EXPECT_TRUE(record.icons.entries().empty());
}

TEST_F(Icons, TakeThePlaceOfTheirPathInACopy) {
  const LockHeld held(manager->lock);  // it never takes it
  const std::pair<const char*, const char*> cases[] = {
      {R"({"a":[1],"icon_path":"icon.png","plugin_name":"p","b":2})",
       R"({"a":[1],"plugin_name":"p","b":2,"icon":"data:image/png;base64,MQ=="})"},
      {R"({"icon":"own","_icon_cache_x":1,"icon_path":"icon.png","plugin_name":"p"})",
       R"({"icon":"data:image/png;base64,MQ==","plugin_name":"p"})"},
      {R"({"icon":"own","icon_path":"no.png","plugin_name":"p"})",
       R"({"icon":"own","plugin_name":"p"})"},
      {R"({"icon_path":"","plugin_name":null})", R"({"plugin_name":null,"icon":null})"},
      {"{}", R"({"icon":null})"},
  };
  for (const auto& [fields, copy] : cases) {
    const UtilityInfo info(read_json(fields));
    PluginPlaces places;
    EXPECT_EQ(json_of(with_icon(info, places)), json(copy));
    EXPECT_EQ(json_of(info.fields), json(fields));
  }
  EXPECT_EQ(client.calls["get_plugin_dir"], 3);
}

TEST_F(Icons, NeedTheirPlugin) {
  EXPECT_THROW(icon_of(UtilityInfo(Value{{"icon_path", icon}})), TypeError);
  client.before = [](const std::string&) { throw host::HostFailure("no plugin directory"); };
  EXPECT_THROW(icon_of(record), host::HostFailure);
}

}  // namespace
}  // namespace utility_manager
