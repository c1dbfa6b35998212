#include "utility_manager/output_relay.h"

#include <optional>
#include <thread>

#include <gtest/gtest.h>

#include "tests/children/start_child.h"
#include "tests/fakes/pipe_stream.h"
#include "utility_manager/limits.h"
#include "utility_manager/stderr_buffer.h"

using namespace utility_manager;
using utility_manager::start_relay;
using utility_manager::StderrBuffer;

namespace {

using Lines = std::vector<std::string>;

constexpr double patience = 60;

/// Relays `bytes` to its end; gives what went to the standard output.
std::string relay(std::string_view bytes, const std::shared_ptr<StderrBuffer>& buffer) {
  fakes::PipeStream source;
  testing::internal::CaptureStdout();
  start_relay(source.stream(), "UTILITY-STDERR", buffer);
  source.write(bytes);
  source.end();
  buffer->wait_for_lines(patience, patience);
  EXPECT_TRUE(source.stream()->closed());
  return testing::internal::GetCapturedStdout();
}

}  // namespace

TEST(OutputRelay, RelaysAndKeepsWholeLines) {
  const std::string filler(64 * 1024 - 2, 'x');
  const std::string long_line(1 << 20, 'y');
  const struct {
    std::string bytes;
    Lines lines;
  } cases[] = {
      {"", {}},
      {"one\ntwo\n", {"one", "two"}},
      {"no end", {"no end"}},
      {"\n \t\r\n\xFF\n\xC2\x85\n", {}},
      {"  begins\r\nends \t\xC2\xA0\x1F\n", {"  begins", "ends"}},
      {"a\rb\x0B"
       "c\x0C"
       "d\xE2\x80\xA8"
       "e\n",
       {"a\rb\x0B"
        "c\x0C"
        "d\xE2\x80\xA8"
        "e"}},
      {"a\xFF"
       "b\xC3\n\xC3\xA4\xED\xA0\x80!\n",
       {"ab", "ä!"}},
      {std::string("nul\0x\n", 6), {std::string("nul\0x", 5)}},
      {filler + "ä\nb", {filler + "ä", "b"}},  // cut by the first read
      {filler + filler + filler, {filler + filler + filler}},
      {long_line + "\nnext\nrest", {long_line, "next", "rest"}},  // and its memory goes
  };
  for (const auto& [bytes, lines] : cases) {
    const auto buffer = std::make_shared<StderrBuffer>();
    std::string output;
    for (const auto& line : lines) output += "[UTILITY-STDERR] " + line + "\n";
    EXPECT_EQ(relay(bytes, buffer), output);
    EXPECT_EQ(buffer->lines(), lines);
  }
}

TEST(OutputRelay, AStreamThatIsNotBufferedAndOneThatIsNotThere) {
  fakes::PipeStream source;
  testing::internal::CaptureStdout();
  start_relay(nullptr, "NOTHING", nullptr);
  start_relay(source.stream(), "UTILITY-STDOUT", nullptr);
  source.write("line\n");
  source.end();
  while (!source.stream()->closed()) std::this_thread::yield();
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "[UTILITY-STDOUT] line\n");
}

TEST(OutputRelay, GoesOnWhenTheOutputTookNothingForAWhile) {
  auto broken = platform::make_pipe();
  auto sound = platform::make_pipe();
  broken.read_end.close();
  std::optional<StandardStream> output(std::in_place, 1, broken.write_end);
  fakes::PipeStream source;
  const auto buffer = std::make_shared<StderrBuffer>();
  start_relay(source.stream(), "UTILITY-STDERR", buffer);
  std::string bytes;
  for (int i = 0; i < 100'000; ++i) bytes += "a line\n";
  source.write(bytes);
  while (buffer->size() < 100'000) std::this_thread::yield();
  output->change(sound.write_end);
  source.write("heard\n");
  source.end();
  buffer->wait_for_lines(patience, patience);
  output.reset();
  sound.write_end.close();
  platform::Stream seen(std::move(sound.read_end));
  EXPECT_EQ(seen.read_rest(1000, patience), "[UTILITY-STDERR] heard\n");
  EXPECT_EQ(buffer->size(), 100'001u);
  EXPECT_EQ(buffer->lines(99'999), Lines({"a line", "heard"}));
}

TEST(OutputRelay, ALineWithoutEndIsRelayedAsItStands) {
  std::string line = "x";
  while (line.size() < limits::longest_line_bytes + 200'000) line += "错";
  const auto buffer = std::make_shared<StderrBuffer>();
  const auto output = relay(line + "\nshort\n", buffer);
  const auto lines = buffer->lines();
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(lines[0] + lines[1], line);
  EXPECT_GE(lines[0].size(), limits::longest_line_bytes - 3);
  EXPECT_EQ(lines[2], "short");
  EXPECT_EQ(output.size(), line.size() + sizeof "[UTILITY-STDERR] \n[UTILITY-STDERR] \n" - 1 +
                               sizeof "[UTILITY-STDERR] short\n" - 1);
}
