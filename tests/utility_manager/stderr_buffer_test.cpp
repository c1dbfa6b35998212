#include "utility_manager/stderr_buffer.h"

#include <random>
#include <thread>

#include <gtest/gtest.h>

#include "tests/children/start_child.h"
#include "utility_manager/limits.h"
#include "utility_manager/values/text.h"

using namespace utility_manager;

namespace {

using Lines = std::vector<std::string>;

constexpr double patience = 60;

/// Appends lines of every size until there are `bytes`, in chunks that hold one or many of them.
void fill(StderrBuffer& buffer, Lines& lines, std::size_t bytes, std::mt19937& random) {
  const std::size_t lengths[] = {1, 7, 80, 4000, Spool::page_bytes - 1, Spool::page_bytes, 300'000};
  while (bytes > 0) {
    const bool is_short = random() % 50 != 0;
    const auto length = lengths[random() % (is_short ? 3 : std::size(lengths))];
    std::string chunk;
    for (std::size_t count = 1 + random() % 200 * is_short; count > 0 && bytes > 0; --count) {
      auto line = std::to_string(lines.size());
      if (lines.empty()) line = " \xE2\x80\x83" + line;
      while (line.size() < length) line += random() % 9 == 0 ? "错" : "x";
      chunk += line + '\n';
      bytes -= std::min(bytes, line.size());
      lines.push_back(std::move(line));
    }
    buffer.append(chunk);
  }
}

void expect_all(const StderrBuffer& buffer, const Lines& lines, std::mt19937& random) {
  ASSERT_EQ(buffer.size(), lines.size());
  ASSERT_EQ(buffer.lines(), lines);
  for (int i = 0; i < 200; ++i) {
    const auto first = random() % (lines.size() + 2);
    const auto count = random() % 5;
    const auto begin = lines.begin() + std::min(first, lines.size());
    const auto end = begin + std::min<std::ptrdiff_t>(count, lines.end() - begin);
    ASSERT_EQ(buffer.lines(first, count), Lines(begin, end)) << first << " " << count;
  }
  std::string joined;
  for (const auto& line : lines) joined += line + '\n';
  const auto whole = values::strip(joined);
  for (const std::size_t count : {0, 1, 800, 90'000, 400'000, 1'000'000'000}) {
    ASSERT_EQ(buffer.tail(count), values::last_code_points(whole, count)) << count;
  }
}

}  // namespace

TEST(StderrBuffer, KeepsEveryLineHoweverManyThereAre) {
  std::mt19937 random(1);
  for (const std::size_t bytes : {1, 60'000, 400'000, 3'000'000}) {
    StderrBuffer buffer;
    Lines lines;
    fill(buffer, lines, bytes, random);
    expect_all(buffer, lines, random);
  }
}

TEST(StderrBuffer, KeepsInMemoryWhatTheDiskDoesNotTake) {
  std::mt19937 random(2);
  const auto buffer = std::make_shared<StderrBuffer>();
  Lines lines;
  if (!FullDisk::is_possible()) GTEST_SKIP() << "the size of files can't be limited here";
  for (const std::uint64_t size : {100'000, 0}) {
    const FullDisk full(size);
    fill(*buffer, lines, 1'000'000, random);
    expect_all(*buffer, lines, random);
  }
  fill(*buffer, lines, 1'000'000, random);
  expect_all(*buffer, lines, random);
  LineReader reader(buffer);
  for (const auto& line : lines) ASSERT_EQ(reader.next(), line);
  EXPECT_EQ(reader.next(), std::nullopt);
  buffer->append("one more\n");
  EXPECT_EQ(reader.next(), "one more");
}

TEST(StderrBuffer, IsReadWhileItGrows) {
  const auto buffer = std::make_shared<StderrBuffer>();
  buffer->append("0\n");
  buffer->wait_for_lines(patience, 0);
  EXPECT_EQ(buffer->lines(), Lines({"0"}));
  constexpr std::size_t count = 200'000;
  std::thread writer([&] {
    for (std::size_t i = 1; i < count; ++i) buffer->append(std::to_string(i) + "\n");
    buffer->end();
  });
  for (std::size_t size = 0; size < count;) {
    size = buffer->size();
    EXPECT_EQ(buffer->lines(size / 2, 1), Lines({std::to_string(size / 2)}));
  }
  buffer->wait_for_lines(patience, patience);
  LineReader reader(buffer);
  for (std::size_t i = 0; i < count; ++i) ASSERT_EQ(reader.next(), std::to_string(i));
  writer.join();
}
