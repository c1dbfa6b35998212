#include "utility_manager/addresses.h"

#include "host/failures.h"
#include "tests/utility_manager/manager_fixture.h"

using utility_manager::_build_mapped_url;

TEST(Addresses, OfTheStudiosWebApplication) {
  const struct {
    Value gui_addr;
    std::optional<std::string> address;
  } cases[] = {
      {nullptr, std::nullopt},
      {Value::object(), std::nullopt},
      {false, std::nullopt},
      {{{"server_addr", "10.0.0.7"}, {"port", 80}}, "http://10.0.0.7:80"},
      {{{"server_addr", "studio"}}, "http://studio:6886"},
      {{{"port", 7001}}, "http://127.0.0.1:7001"},
      {{{"port", "7001"}, {"server_addr", nullptr}}, "http://None:7001"},
  };
  fakes::FakeClient client(nullptr);
  for (const auto& [gui_addr, address] : cases) {
    EXPECT_EQ(utility_manager::gui_address(gui_addr), address) << gui_addr;
    client.gui_addr = gui_addr;
    EXPECT_EQ(_build_mapped_url("notes", "", false),
              address.value_or("http://127.0.0.1:6886") + "/utility/notes");
  }
  client.gui_addr = "studio";
  EXPECT_THROW(_build_mapped_url("notes", "", false), TypeError);
  client.before = [](const std::string&) { throw host::HostFailure("offline"); };
  EXPECT_THROW(_build_mapped_url("notes", "", false), host::HostFailure);
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
  const fakes::FakeClient client(nullptr);
  for (const auto& [name, group, require_group, path] : cases) {
    EXPECT_EQ(_build_mapped_url(name, group, require_group),
              std::string("http://127.0.0.1:7000") + path);
  }
  EXPECT_EQ(utility_manager::local_address(8890), "http://localhost:8890");
}
