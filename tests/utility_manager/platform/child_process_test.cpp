#include "utility_manager/platform/child_process.h"

#include <atomic>
#include <cmath>
#include <thread>

#include <gtest/gtest.h>

#include "tests/children/start_child.h"

using namespace utility_manager;
using namespace utility_manager::platform;

TEST(ChildProcess, GivesExitCodesAndSignals) {
  const std::pair<const char*, int> cases[] = {{"exit 0", 0},
                                               {"exit 3", 3},
                                               {"exit 255", 255},
                                               {"kill", code_of(Signal::kill)},
                                               {"terminate", code_of(Signal::terminate)}};
  for (const auto& [script, code] : cases) {
    const auto child = start_child(std::string("out out\nerr err\n") + script);
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
  const auto child = start_child("wait");
  for (const double seconds : {0.02, 0.0, -1.0, std::nan("")}) {
    EXPECT_EQ(child->wait(seconds), std::nullopt);
  }
  EXPECT_EQ(child->poll(), std::nullopt);
  const int code = code_of(Signal::terminate);
  std::vector<std::thread> waiters;
  std::atomic<int> right = 0;
  for (int i = 0; i < 8; ++i) {
    waiters.emplace_back([&, i] {
      const auto limit = i % 2 == 0 ? std::nullopt : std::optional<double>(1e300);
      if (child->wait(limit) == code && child->poll() == code) ++right;
    });
  }
  child->terminate();
  for (std::thread& waiter : waiters) waiter.join();
  EXPECT_EQ(right, 8);
}
