#include "utility_manager/catalogue/icons.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include "tests/fakes/fake_client.h"

using namespace utility_manager;

TEST(IconSearch, FindsThemWithoutADescriptorToSpare) {
  const fakes::FakeClient client;
  const auto icon = client.directory.write("plugins/p/icon.png", "1");
  rlimit before;
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
  const rlimit none{.rlim_cur = 0, .rlim_max = before.rlim_max};
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
  const auto found = resolve_icon_path("icon.png", client.directory.path("plugins/p"));
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &before), 0);
  EXPECT_EQ(found, icon);
}
