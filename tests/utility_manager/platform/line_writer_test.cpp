#include "utility_manager/platform/line_writer.h"

#include <future>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "tests/children/start_child.h"
#include "utility_manager/platform/pipe.h"
#include "utility_manager/platform/stream.h"

using namespace utility_manager;
using namespace utility_manager::platform;

TEST(LineWriter, LinesOfSeveralThreadsStayWhole) {
  constexpr int rounds = 400;
  const std::map<std::size_t, char> lines = {{7, 'a'}, {80, 'b'}, {4095, 'c'}, {70'000, 'd'}};
  std::map<std::string, int> counts;
  {
    Pipe pipe = make_pipe();
    const StandardStream output(1, pipe.write_end);
    output.refuse_to_wait();  // a full pipe must not lose a line
    std::vector<std::thread> writers;
    std::promise<void> all_started;
    const std::shared_future<void> go = all_started.get_future().share();
    for (const auto& [length, letter] : lines) {
      writers.emplace_back([&, line = std::string(length, letter) + "\n"] {
        go.wait();
        for (int i = 0; i < rounds / 4; ++i) write_lines(line + line + line + line);
      });
    }
    all_started.set_value();
    Stream input(std::move(pipe.read_end));
    std::vector<char> block(1 << 16);
    std::string line;
    for (int left = 4 * rounds; left > 0;) {
      const auto count = input.read_some(block, 60);
      ASSERT_GT(count.value_or(0), 0u);
      for (const char letter : std::string_view(block.data(), *count)) {
        line += letter;
        if (letter != '\n') continue;
        ++counts[std::exchange(line, {})];
        --left;
      }
    }
    for (std::thread& writer : writers) writer.join();
  }
  ASSERT_EQ(counts.size(), lines.size());
  for (const auto& [length, letter] : lines) {
    EXPECT_EQ(counts[std::string(length, letter) + '\n'], rounds);
  }
}
