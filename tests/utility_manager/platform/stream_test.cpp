#include "utility_manager/platform/stream.h"

#include <array>

#include <gtest/gtest.h>

#include "tests/fakes/pipe_stream.h"

using namespace utility_manager;
using platform::Stream;

TEST(Stream, TheRestIsBoundedInSizeAndTimeWhileAWriterRemains) {
  fakes::PipeStream source;
  Stream& stream = *source.stream();
  std::array<char, 16> buffer;
  source.write("abcdef");
  EXPECT_EQ(stream.read_rest(4, 60), "abcd");
  EXPECT_EQ(stream.read_rest(100, 0.02), "ef");
  EXPECT_EQ(stream.read_rest(100, -1), "");
  source.write(std::string(20'000, 'x'));
  EXPECT_EQ(stream.read_rest(1 << 20, 0).size(), 20'000u);
  source.write("end");
  source.end();
  EXPECT_EQ(stream.read_rest(100, 60), "end");
  EXPECT_EQ(stream.read_some(buffer), 0u);
}
