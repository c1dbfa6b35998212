#include "utility_manager/addresses.h"

#include "tests/utility_manager/manager_fixture.h"
#include "utility_manager/host/failures.h"

using namespace utility_manager;

TEST(Addresses, OfTheStudiosWebApplication) {
  const struct {
    Value gui_addr;
    std::optional<std::string> address;
  } cases[] = {
      {nullptr, std::nullopt},
      {Mapping(), std::nullopt},
      {false, std::nullopt},
      {{{"server_addr", "10.0.0.7"}, {"port", 80}}, "http://10.0.0.7:80"},
      {{{"server_addr", "studio"}}, "http://studio:6886"},
      {{{"port", 7001}}, "http://127.0.0.1:7001"},
      {{{"port", "7001"}, {"server_addr", "h"}}, "http://h:7001"},
  };
  fakes::FakeClient client;
  for (const auto& [gui_addr, address] : cases) {
    EXPECT_EQ(utility_manager::gui_address(gui_addr), address) << gui_addr;
    client.gui_addr = gui_addr;
    EXPECT_EQ(build_mapped_url("notes", "", false),
              address.value_or("http://127.0.0.1:6886") + "/utility/notes");
  }
  const Value wrong[] = {
      "studio", {{"server_addr", nullptr}}, {{"port", true}}, {{"port", Mapping()}}};
  for (const auto& gui_addr : wrong) {
    client.gui_addr = gui_addr;
    EXPECT_THROW(build_mapped_url("notes", "", false), TypeError) << gui_addr;
  }
  client.before = [](const std::string&) { throw host::HostFailure("offline"); };
  EXPECT_THROW(build_mapped_url("notes", "", false), host::HostFailure);
}

TEST(Addresses, OfUtilities) {
  const struct {
    const char* name;
    std::optional<std::string> group;
    bool require_group;
    const char* path;
  } cases[] = {
      {"notes", "lab", true, "/group_utility/lab/notes"},
      {"notes", "lab", false, "/utility/notes"},
      {"notes", "", true, "/utility/notes"},
      {"notes", std::nullopt, true, "/utility/notes"},
      {"a b/ü?#", "实验 %", true, "/group_utility/实验 %/a b/ü?#"},
  };
  const fakes::FakeClient client;
  for (const auto& [name, group, require_group, path] : cases) {
    EXPECT_EQ(build_mapped_url(name, group, require_group),
              std::string("http://127.0.0.1:7000") + path);
  }
  EXPECT_EQ(utility_manager::local_address(8890), "http://localhost:8890");
}
