#include <gtest/gtest.h>

#include "tests/fakes/fake_client.h"
#include "tests/json.h"
#include "utility_manager/host/failures.h"
#include "utility_manager/utility_manager.h"

using namespace utility_manager;

namespace utility_manager {
namespace {

namespace fs = std::filesystem;
using values::read_json;
using Manager = UtilityServerManager;

/// The client's folder is the working directory, so that the tests can do with relative paths.
class PluginPaths : public testing::Test {
 protected:
  PluginPaths() { fs::current_path(root); }
  ~PluginPaths() override { fs::current_path(before_); }

  void include(const std::string& lines) {
    client.directory.write("config/plugin_includes.txt", lines);
  }

  fakes::FakeClient client;
  const std::string root = client.directory.path();

 private:
  const fs::path before_ = fs::current_path();
};

TEST_F(PluginPaths, ReadsTheLinesOfTheIncludesFileAsPythonDoes) {
  for (const char* plugin : {"p/y", "p/broken", "q/other", "y"}) {
    client.directory.write(std::string(plugin) + "/main.py", "");
  }
  client.modules = {{"y.main", "wanted"}, {"other.main", "another"}};
  const struct {
    std::string lines;
    std::string found;
    std::vector<std::string> module_path;
    std::size_t imports;
  } cases[] = {
      {"", "", {}, 0},
      {"p/x/../y//\n", "p/y", {"p"}, 1},
      {" \t\n\n\u00a0./p/./y\u2003", "p/y", {"p"}, 1},
      {"#p/y\rnowhere\r\np\np/y/main.py\rp/y\r", "p/y", {"p"}, 1},
      {"\ufeffp/y\n", "", {}, 0},
      {"q/other\np/broken\np/y\ny", "p/y", {"p", "q"}, 3},
      {"q/other", "", {"q"}, 1},
      {"y", "y", {""}, 1},
      {root + "/p/y", root + "/p/y", {root + "/p"}, 1},
      {"p/y\n\xff\n", "p/y", {"p"}, 1},
      {"\xff\np/y\n", "", {}, 0},
      {std::string("p/y\0\np/y", 8), "p/y", {"p"}, 1},
  };
  for (const auto& [lines, found, module_path, imports] : cases) {
    include(lines);
    client.module_path.clear();
    client.calls.clear();
    EXPECT_EQ(PluginPlaces().included_path("wanted").value_or(""), native_path(found)) << lines;
    std::vector<std::string> expected;
    for (const auto& path : module_path) expected.push_back(native_path(path));
    EXPECT_EQ(client.module_path, expected) << lines;
    client.calls.erase("get_default_config_dir");
    EXPECT_EQ(client.calls.size(), imports) << lines;
  }
}

TEST_F(PluginPaths, LooksForAPluginInOrderOfPrecedence) {
  include("p/y");
  client.directory.write("p/y/main.py", "");
  client.directory.write("plugins/both", "a file will do");
  client.directory.write("plugins/builtin_x", "");
  client.modules = {{"y.main", "both"}};
  EXPECT_EQ(PluginPlaces().base_path("both", true), native_path(root + "/built_in"));
  EXPECT_EQ(client.calls, (std::map<std::string, int>{{"built_in", 1}}));
  EXPECT_EQ(PluginPlaces().base_path("both", false), native_path("p/y"));
  EXPECT_EQ(PluginPlaces().base_path("builtin_x", false), native_path(root + "/plugins/builtin_x"));
  EXPECT_EQ(PluginPlaces().base_path("none", false), std::nullopt);
  fs::remove("config/plugin_includes.txt");
  EXPECT_EQ(PluginPlaces().base_path("both", false), native_path(root + "/plugins/both"));
  fs::create_directories("config/plugin_includes.txt");
  EXPECT_EQ(PluginPlaces().base_path("both", false), native_path(root + "/plugins/both"));
}

TEST_F(PluginPaths, TriesTheCandidatesInOrder) {
  const struct {
    std::vector<std::string> existing;  ///< directories, which count like files
    std::string script;
    std::optional<std::string> base;
    std::string resolved;  ///< below the client's folder where it begins with a slash
  } cases[] = {
      {{"b/s", "b/utility_servers/s", "b/utils/s"}, "s", "b", "/b/s"},
      {{"b/utility_servers/s", "b/utils/s"}, "s", root + "/b", "/b/utility_servers/s"},
      {{"b/utils/s"}, "s", "b", "/b/utils/s"},
      {{"b/utils/d/s"}, "d/s", "b", "d/s"},
      // Windows goes up from what isn't there.
      {{"b/d/s"}, "./d//s", "x/../b", fs::exists("x/..") ? "/b/d/s" : "./d//s"},
      {{"b/d/s"}, "./d//s", "b", "/b/d/s"},
      {{"b", "s"}, "../s", "b", "/s"},
      {{"b"}, "", "b", "/b"},
      {{"s"}, "s", {}, "s"},
      {{"s"}, "s", "", "s"},
  };
  for (const auto& [existing, script, base, resolved] : cases) {
    for (const auto& path : existing) fs::create_directories(path);
    const bool is_found = resolved.starts_with('/');
    EXPECT_EQ(resolve_script_path(script, base), is_found ? native_path(root + resolved) : resolved)
        << script << " " << existing.front();
    for (const auto& entry : fs::directory_iterator(root)) fs::remove_all(entry);
  }
  EXPECT_EQ(resolve_script_path("/no/../s", "b"), "/no/../s");
}

TEST_F(PluginPaths, ResolvesForThePluginOfARecord) {
  client.directory.write("built_in/s", "");
  client.directory.write("plugins/user/s", "");
  const std::pair<const char*, const char*> cases[] = {
      {R"({"plugin_name": "user"})", "/plugins/user/s"},
      {R"({"plugin_name": "user", "builtin": "yes"})", "/built_in/s"},
      {R"({"plugin_name": "builtin_user", "builtin": false})", "/built_in/s"},
      {R"({"plugin_name": "builtin_utility_server"})", "/built_in/s"},
  };
  for (const auto& [record, resolved] : cases) {
    EXPECT_EQ(resolve_plugin_script_path("s", read_json(record)), native_path(root + resolved));
  }
  EXPECT_EQ(resolve_plugin_script_path("s", {{"plugin_name", "my_builtin_"}}), "s");
  for (const char* record : {"{}", R"({"plugin_name": null, "builtin": true})"}) {
    EXPECT_THROW(resolve_plugin_script_path("s", read_json(record)), TypeError);
    EXPECT_EQ(resolve_plugin_script_path("/s", read_json(record)), "/s");
  }
}

TEST_F(PluginPaths, GuardsTheIncludesAgainstOrdinaryFailuresOnly) {
  include("p/y");
  client.directory.write("p/y/main.py", "");
  for (const std::string service : {"get_default_config_dir", "import y.main"}) {
    client.before = [&](const std::string& asked) {
      if (asked == service) throw host::HostFailure("refused");
    };
    EXPECT_EQ(PluginPlaces().base_path("wanted", false), std::nullopt) << service;
    client.before = [&](const std::string& asked) {
      if (asked == service) throw host::HostInterrupt();
    };
    EXPECT_THROW(PluginPlaces().base_path("wanted", false), host::HostInterrupt) << service;
  }
  client.before = [](const std::string&) { throw host::HostFailure("refused"); };
  EXPECT_THROW(PluginPlaces().base_path("wanted", false), host::HostFailure);
  EXPECT_THROW(PluginPlaces().base_path("wanted", true), host::HostFailure);
}

}  // namespace
}  // namespace utility_manager
