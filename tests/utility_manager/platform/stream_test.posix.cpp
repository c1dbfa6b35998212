#include "utility_manager/platform/stream.h"

#include <array>
#include <atomic>
#include <fstream>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "utility_manager/platform/descriptor.posix.h"
#include "utility_manager/platform/pipe.h"

using namespace utility_manager::platform;

namespace {

struct BlockedStream : testing::Test {
  Pipe pipe = make_pipe();
  const int number = descriptor(pipe.read_end);
  Stream stream{std::move(pipe.read_end)};
  std::array<char, 16> buffer{};
  bool is_open() const { return ::fcntl(number, F_GETFD) >= 0; }
};

}  // namespace

TEST_F(BlockedStream, ABlockedReaderHoldsUpNothingButTheDescriptor) {
  std::atomic<pid_t> id = 0;
  std::thread reader([&] {
    id = ::gettid();
    stream.read_some(buffer);
  });
  const auto asleep = [&] {
    std::ifstream stat("/proc/self/task/" + std::to_string(id) + "/stat");
    return std::string(std::istreambuf_iterator<char>(stat), {}).find(") S ") != std::string::npos;
  };
  while (id == 0 || !asleep()) std::this_thread::yield();
  EXPECT_EQ(stream.read_rest(100, 0.02), "");
  stream.close();
  EXPECT_TRUE(stream.closed());
  EXPECT_TRUE(is_open());
  EXPECT_EQ(stream.read_some(buffer), 0u);
  EXPECT_EQ(stream.read_rest(100, 60), "");
  pipe.write_end.close();
  reader.join();
  EXPECT_FALSE(is_open());
}
