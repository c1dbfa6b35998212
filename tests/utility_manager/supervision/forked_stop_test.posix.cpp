#include <sys/wait.h>
#include <unistd.h>

#include "tests/utility_manager/manager_fixture.h"

using namespace utility_manager;

using ForkedStop = ManagerTest;

TEST_F(ForkedStop, AForkedChildIsRefusedAndTouchesNothing) {
  offer("notes");
  const auto id = start_id("notes");
  const auto handle = record(id)->process;
  const pid_t child = ::fork();
  if (child == 0) {
    int code = 1;
    try {
      manager->stop_utility_server(id);
    } catch (const RuntimeError&) {
      code = 0;
    }
    ::_exit(code);
  }
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(handle->poll(), std::nullopt);
  EXPECT_TRUE(manager->stop_utility_server(id));
}
