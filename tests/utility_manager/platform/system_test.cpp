#include "utility_manager/platform/system.h"

#include <cmath>
#include <set>

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include "tests/utility_manager/platform/child.h"
#include "utility_manager/platform/failures.h"
#include "utility_manager/platform/handle.h"

using namespace utility_manager::platform;

TEST(System, APortIsFreeUntilSomebodyHoldsIt) {
  const int number = ::socket(AF_INET, SOCK_STREAM, 0);
  const Handle holder(number);
  sockaddr_in address{
      .sin_family = AF_INET, .sin_port = 0, .sin_addr = {htonl(INADDR_LOOPBACK)}, .sin_zero = {}};
  socklen_t size = sizeof address;
  auto* const generic = reinterpret_cast<sockaddr*>(&address);
  ASSERT_EQ(::bind(number, generic, size), 0);
  ASSERT_EQ(::getsockname(number, generic, &size), 0);
  const int port = ntohs(address.sin_port);
  const int before = open_descriptors();
  EXPECT_TRUE(system().can_bind(0));
  EXPECT_FALSE(system().can_bind(port));
  for (const std::int64_t no_port : {-1L, 65536L, 70000L, 65536L * 65536L, INT64_MIN}) {
    EXPECT_FALSE(system().can_bind(no_port)) << no_port;
  }
  EXPECT_EQ(open_descriptors(), before);

  rlimit limit{};
  ::getrlimit(RLIMIT_NOFILE, &limit);
  const rlimit none{.rlim_cur = 0, .rlim_max = limit.rlim_max};
  ::setrlimit(RLIMIT_NOFILE, &none);
  EXPECT_THROW(system().can_bind(0), SystemError);
  EXPECT_THROW(system().spawn({"/bin/true"}, 0), SystemError);
  ::setrlimit(RLIMIT_NOFILE, &limit);
}

TEST(System, ACommandThatTakesTooLongIsEnded) {
  const TemporaryDirectory directory;
  EXPECT_NO_THROW(system().run_command({"/bin/sh", "-c", "echo dropped; exit 3"}, 60, 0));
  EXPECT_THROW(system().run_command({directory / "missing"}, 60, 0), SystemError);
  EXPECT_THROW(system().run_command({"/bin/sleep", "1000"}, 0.05, 0), std::runtime_error);
  EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);  // it is gone
}

TEST(System, SignalsEndAChild) {
  for (const auto& [signal, number] :
       {std::pair(Signal::terminate, SIGTERM), {Signal::kill, SIGKILL}}) {
    const auto child = system().spawn({"/bin/sleep", "1000"}, creation_flags::create_no_window);
    EXPECT_TRUE(system().can_signal(child->pid()));
    system().signal(child->pid(), signal);
    EXPECT_EQ(child->wait(60), -number);
    EXPECT_FALSE(system().can_signal(child->pid()));
    EXPECT_THROW(system().signal(child->pid(), signal), NoSuchProcess);
  }
}

TEST(System, UuidsAreRandomAndCanonical) {
  std::set<std::string> seen;
  for (int i = 0; i < 100; ++i) {
    const std::string uuid = system().random_uuid();
    unsigned a, b, c, variant;
    unsigned long d;
    int length = 0;
    std::sscanf(uuid.c_str(), "%8x-%4x-4%3x-%4x-%12lx%n", &a, &b, &c, &variant, &d, &length);
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
