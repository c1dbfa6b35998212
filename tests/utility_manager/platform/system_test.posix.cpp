#include "utility_manager/platform/system.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include "utility_manager/platform/failures.h"

using namespace utility_manager::platform;

TEST(System, TellsThatThereAreNoDescriptorsLeft) {
  rlimit limit{};
  ::getrlimit(RLIMIT_NOFILE, &limit);
  const rlimit none{.rlim_cur = 0, .rlim_max = limit.rlim_max};
  ::setrlimit(RLIMIT_NOFILE, &none);
  EXPECT_THROW(system().can_bind(0), SystemError);
  EXPECT_THROW(system().spawn({"/bin/true"}, 0), SystemError);
  ::setrlimit(RLIMIT_NOFILE, &limit);
}
