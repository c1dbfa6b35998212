#include "utility_manager/platform/child_process.h"

#include <atomic>
#include <cmath>
#include <thread>

#include <gtest/gtest.h>
#include <signal.h>

#include "tests/utility_manager/platform/child.h"
#include "utility_manager/platform/failures.h"
#include "utility_manager/platform/process_reference.h"

using namespace utility_manager::platform;

TEST(ChildProcess, GivesExitCodesAndSignals) {
  const struct {
    const char* script;
    int code;
  } cases[] = {
      {"exit 0", 0}, {"exit 3", 3}, {"exit 255", 255}, {"kill -9 $$", -9}, {"kill $$", -15}};
  for (const auto& [script, code] : cases) {
    const auto child = start_shell(std::string("echo out; echo err >&2; ") + script);
    EXPECT_EQ(child->returncode(), std::nullopt);
    EXPECT_EQ(next_line(*child->output_stream()), "out");
    EXPECT_EQ(next_line(*child->error_stream()), "err");
    EXPECT_EQ(child->wait(std::nullopt), code) << script;
    EXPECT_EQ(child->poll(), code);
    EXPECT_EQ(child->returncode(), code);
    child->terminate();
    EXPECT_FALSE(child->id_has_new_owner());
  }
}

TEST(ChildProcess, EveryWaiterIsWokenAndSeesTheSameCode) {
  const auto child = start_shell("exec sleep 1000");
  for (const double seconds : {0.02, 0.0, -1.0, std::nan("")}) {
    EXPECT_EQ(child->wait(seconds), std::nullopt);
  }
  EXPECT_EQ(child->poll(), std::nullopt);
  std::vector<std::thread> waiters;
  std::atomic<int> right = 0;
  for (int i = 0; i < 8; ++i) {
    waiters.emplace_back([&, i] {
      const auto limit = i % 2 == 0 ? std::nullopt : std::optional<double>(1e300);
      if (child->wait(limit) == -SIGTERM && child->poll() == -SIGTERM) ++right;
    });
  }
  child->terminate();
  for (std::thread& waiter : waiters) waiter.join();
  EXPECT_EQ(right, 8);
}

TEST(ChildProcess, AStatusTakenBySomebodyElseIsAnEnd) {
  const auto child = start_shell("exit 5");
  ASSERT_EQ(::waitpid(static_cast<pid_t>(child->pid()), nullptr, 0), child->pid());
  child->terminate();
  EXPECT_EQ(child->wait(60), 0);

  const auto previous = ::signal(SIGCHLD, SIG_IGN);  // the system collects all by itself
  const auto uncollectable = start_shell("exit 5");
  EXPECT_EQ(uncollectable->wait(60), 0);
  ::signal(SIGCHLD, previous);
}

TEST(ChildProcess, AForkedClientLeavesItAlone) {
  auto child = start_shell("exec sleep 1000");
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
  const int before = open_descriptors();
  auto child = start_shell("exec sleep 1000");
  const auto pid = static_cast<pid_t>(child->pid());
  child.reset();
  EXPECT_EQ(own_child(pid), nullptr);
  ASSERT_EQ(::kill(pid, SIGKILL), 0);
  siginfo_t result{};
  ASSERT_EQ(::waitid(P_PID, static_cast<id_t>(pid), &result, WEXITED | WNOWAIT), 0);
  EXPECT_TRUE(process_exists(pid));
  start_shell("exit 0")->wait(60);
  EXPECT_FALSE(process_exists(pid));
  EXPECT_EQ(open_descriptors(), before);
}
