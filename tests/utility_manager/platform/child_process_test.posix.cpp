#include "utility_manager/platform/child_process.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/children/start_child.h"
#include "utility_manager/platform/failures.h"
#include "utility_manager/platform/process_reference.h"

using namespace utility_manager;
using namespace utility_manager::platform;

TEST(ChildProcess, AStatusTakenBySomebodyElseIsAnEnd) {
  const auto child = start_child("exit 5");
  ASSERT_EQ(::waitpid(static_cast<pid_t>(child->pid()), nullptr, 0), child->pid());
  child->terminate();
  EXPECT_EQ(child->wait(60), 0);

  const auto previous = ::signal(SIGCHLD, SIG_IGN);  // the system collects all by itself
  const auto uncollectable = start_child("exit 5");
  EXPECT_EQ(uncollectable->wait(60), 0);
  ::signal(SIGCHLD, previous);
}

TEST(ChildProcess, AForkedClientLeavesItAlone) {
  auto child = start_child("wait");
  const pid_t forked = ::fork();
  if (forked == 0) {
    int code = 1;
    try {
      child->poll();
    } catch (const SystemError&) {
      code = 0;
    }
    child.reset();  // the last one
    ::_exit(code);
  }
  int status = 0;
  ASSERT_EQ(::waitpid(forked, &status, 0), forked);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(child->poll(), std::nullopt);
  child->kill();
  EXPECT_EQ(child->wait(60), -SIGKILL);
}

TEST(ChildProcess, ADroppedChildIsCollectedByALaterStart) {
  const int before = open_handles();
  auto child = start_child("wait");
  const auto pid = static_cast<pid_t>(child->pid());
  child.reset();
  EXPECT_EQ(own_child(pid), nullptr);
  ASSERT_EQ(::kill(pid, SIGKILL), 0);
  siginfo_t result{};
  ASSERT_EQ(::waitid(P_PID, static_cast<id_t>(pid), &result, WEXITED | WNOWAIT), 0);
  EXPECT_TRUE(process_exists(pid));
  start_child("exit 0")->wait(60);
  EXPECT_FALSE(process_exists(pid));
  EXPECT_EQ(open_handles(), before);
}
