#include <array>
#include <atomic>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include "utility_manager/platform/child_process.h"
#include "utility_manager/platform/descriptor.posix.h"
#include "utility_manager/platform/pipe.h"
#include "utility_manager/platform/unshared.posix.h"

using namespace utility_manager::platform;

TEST(Unshared, IsClosedInEveryChild) {
  const Pipe pipe = make_pipe();
  const Handle socket = open_socket(AF_INET, SOCK_STREAM);
  for (const Handle* const handle : {&pipe.read_end, &pipe.write_end, &socket}) {
    EXPECT_EQ(::fcntl(descriptor(*handle), F_GETFD), FD_CLOEXEC);
  }
}

TEST(Unshared, AChildThatIsStartedMeanwhileHoldsNothing) {
  constexpr double patience = 60;
  std::atomic<bool> done = false;
  std::atomic<int> held = 0;
  std::vector<std::thread> openers;
  for (int i = 0; i < 3; ++i) {
    openers.emplace_back([&] {
      std::array<char, 1> byte;
      while (!done && held == 0) {
        Pipe pipe = make_pipe();
        pipe.write_end.close();
        if (Stream(std::move(pipe.read_end)).read_some(byte, patience) != 0) ++held;
      }
    });
  }
  std::vector<std::shared_ptr<ProcessHandle>> children;
  for (int i = 0; i < 60; ++i) children.push_back(spawn_child({"/bin/sleep", "1000"}));
  done = true;
  for (std::thread& opener : openers) opener.join();
  EXPECT_EQ(held, 0);
  for (const auto& child : children) child->kill();
  for (const auto& child : children) EXPECT_EQ(child->wait(patience), -9);
}
