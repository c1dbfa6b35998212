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

struct StreamTest : testing::Test {
  Pipe pipe = make_pipe();
  const int number = descriptor(pipe.read_end);
  Stream stream{std::move(pipe.read_end)};
  std::array<char, 16> buffer{};

  void write(std::string_view bytes) {
    ASSERT_EQ(::write(descriptor(pipe.write_end), bytes.data(), bytes.size()),
              ssize_t(bytes.size()));
  }
  bool is_open() const { return ::fcntl(number, F_GETFD) >= 0; }
};

}  // namespace

TEST_F(StreamTest, TheRestIsBoundedInSizeAndTimeWhileAWriterRemains) {
  write("abcdef");
  EXPECT_EQ(stream.read_rest(4, 60), "abcd");
  EXPECT_EQ(stream.read_rest(100, 0.02), "ef");
  EXPECT_EQ(stream.read_rest(100, -1), "");
  write(std::string(20'000, 'x'));
  EXPECT_EQ(stream.read_rest(1 << 20, 0).size(), 20'000u);
  write("end");
  pipe.write_end.close();
  EXPECT_EQ(stream.read_rest(100, 60), "end");
  EXPECT_EQ(stream.read_some(buffer), 0u);
}

TEST_F(StreamTest, ABlockedReaderHoldsUpNothingButTheDescriptor) {
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
