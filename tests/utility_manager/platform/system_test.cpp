#include "utility_manager/platform/system.h"

#include <cmath>
#include <set>

#include <gtest/gtest.h>

#include "tests/fakes/fake_client.h"
#include "utility_manager/platform/failures.h"
#include "utility_manager/platform/handle.h"

using namespace utility_manager;
using namespace utility_manager::platform;
using fakes::TemporaryDirectory;

TEST(System, APortIsFreeUntilSomebodyHoldsIt) {
  for (const char* const holding : {"hold", "share"}) {
    const auto holder = start_child(holding);
    const auto port = next_number(*holder);
    const int before = open_handles();
    EXPECT_TRUE(system().can_bind(0));
    EXPECT_FALSE(system().can_bind(port)) << holding;
    EXPECT_NE(system().first_bindable(port, port + 100, {}), port) << holding;
    for (const std::int64_t no_port : {std::int64_t{-1}, std::int64_t{65536}, std::int64_t{70000},
                                       std::int64_t{1} << 32, INT64_MIN}) {
      EXPECT_FALSE(system().can_bind(no_port)) << no_port;
    }
    EXPECT_EQ(open_handles(), before);
    holder->kill();
    holder->wait(60);
    EXPECT_TRUE(system().can_bind(port)) << holding;
  }
}

TEST(System, ACommandThatTakesTooLongIsEnded) {
  const TemporaryDirectory directory;
  EXPECT_NO_THROW(system().run_command({child_program(), "-c", "out dropped\nexit 3"}, 60, 0));
  EXPECT_THROW(system().run_command({directory / "missing"}, 60, 0), SystemError);
  EXPECT_THROW(system().run_command({child_program(), "-c", "wait"}, 0.05, 0), std::runtime_error);
  EXPECT_TRUE(has_no_children());  // it is gone
}

TEST(System, SignalsEndAChild) {
  for (const auto signal : {Signal::terminate, Signal::kill}) {
    const auto child =
        system().spawn({child_program(), "-c", "wait"}, creation_flags::create_no_window);
    EXPECT_TRUE(system().can_signal(child->pid()));
    system().signal(child->pid(), signal);
    EXPECT_EQ(child->wait(60), code_of(signal));
    EXPECT_FALSE(system().can_signal(child->pid()));
    EXPECT_THROW(system().signal(child->pid(), signal), NoSuchProcess);
  }
}

TEST(System, UuidsAreRandomAndCanonical) {
  std::set<std::string> seen;
  for (int i = 0; i < 100; ++i) {
    const std::string uuid = system().random_uuid();
    unsigned a, b, c, variant;
    unsigned long long d;
    int length = 0;
    std::sscanf(uuid.c_str(), "%8x-%4x-4%3x-%4x-%12llx%n", &a, &b, &c, &variant, &d, &length);
    EXPECT_TRUE(length == 36 && uuid.size() == 36 && variant >> 14 == 2) << uuid;
    EXPECT_EQ(uuid.find_first_of("ABCDEF"), uuid.npos) << uuid;
    EXPECT_TRUE(seen.insert(uuid).second) << uuid;
  }
}

TEST(System, AClockThatIsSetBackPutsNoDeadlineOff) {
  struct SlippingClock : System {
    mutable double now = 1000;
    double wall_clock() const override { return now -= 100; }
  } slipping;
  const BindSystem binding(slipping);
  const WallDeadline deadline(0.02);
  while (!deadline.passed()) EXPECT_LE(deadline.left(), 0.02);
  slipping.now = 1e6;  // set forward, as the clock says
  EXPECT_FALSE(WallDeadline(1e9).passed());
  for (const double none : {0.0, -1.0, std::nan("")}) EXPECT_TRUE(WallDeadline(none).passed());
  const WallDeadline later(500);
  slipping.now += 2000;
  EXPECT_TRUE(later.passed());
}

TEST(System, AReplacementLastsForItsScope) {
  struct StoppedClock : System {
    double wall_clock() const override { return 12.5; }
    void sleep(double) const override {}
  } stopped;
  {
    const BindSystem binding(stopped);
    system().sleep(1e9);
    EXPECT_EQ(system().wall_clock(), 12.5);
  }
  const double before = system().wall_clock();
  system().sleep(-1);
  system().sleep(0.01);
  EXPECT_GE(system().wall_clock(), before + 0.009);
}
