#include "utility_manager/platform/line_writer.h"

#include <algorithm>
#include <climits>
#include <latch>
#include <map>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include "utility_manager/platform/descriptor.posix.h"
#include "utility_manager/platform/pipe.h"

using namespace utility_manager::platform;

namespace {

/// Descriptor 1 is a pipe for the life of the object.
class RedirectedOutput {
 public:
  RedirectedOutput() : pipe_(make_pipe()) {
    ::dup2(descriptor(pipe_.write_end), STDOUT_FILENO);
    pipe_.write_end.close();
  }
  ~RedirectedOutput() { ::dup2(descriptor(original_), STDOUT_FILENO); }

  int read_end() const { return descriptor(pipe_.read_end); }
  int take_read_end() { return pipe_.read_end.release(); }

 private:
  Handle original_{::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3)};
  Pipe pipe_;
};

}  // namespace

TEST(LineWriter, LinesOfSeveralThreadsStayWhole) {
  constexpr int rounds = 400;
  const std::map<std::size_t, char> lines = {
      {7, 'a'}, {80, 'b'}, {PIPE_BUF - 1, 'c'}, {70'000, 'd'}};
  std::map<std::string, int> counts;
  {
    RedirectedOutput output;
    ::fcntl(STDOUT_FILENO, F_SETFL, O_WRONLY | O_NONBLOCK);  // a full pipe must not lose a line
    std::vector<std::thread> writers;
    std::latch all_started(lines.size());
    for (const auto& [length, letter] : lines) {
      writers.emplace_back([&, line = std::string(length, letter) + "\n"] {
        all_started.arrive_and_wait();
        for (int i = 0; i < rounds / 4; ++i) write_lines(line + line + line + line);
      });
    }
    std::FILE* const input = ::fdopen(output.take_read_end(), "r");
    char* line = nullptr;
    std::size_t size = 0;
    for (int left = 4 * rounds; left > 0 && ::getline(&line, &size, input) > 0; --left) {
      ++counts[line];
    }
    std::free(line);
    std::fclose(input);
    for (std::thread& writer : writers) writer.join();
  }
  ASSERT_EQ(counts.size(), lines.size());
  for (const auto& [length, letter] : lines)
    EXPECT_EQ(counts[std::string(length, letter) + '\n'], rounds);
}

TEST(LineWriter, PiecesEndAtLineEndsAndFitIntoThePipesBuffer) {
  RedirectedOutput output;
  ::fcntl(output.read_end(), F_SETPIPE_SZ, 1 << 16);
  ::fcntl(STDOUT_FILENO, F_SETFL, O_WRONLY | O_DIRECT);  // each write is read by itself
  std::string lines = "\n" + std::string(PIPE_BUF - 1, 'x') + "\n";
  for (int i = 0; i < 100; ++i) lines += std::string(i * 3, 'x') + "\n";
  ASSERT_TRUE(write_lines(lines));
  std::string all;
  std::vector<char> block(1 << 16);
  while (all.size() < lines.size()) {
    const ssize_t count = ::read(output.read_end(), block.data(), block.size());
    ASSERT_GT(count, 0);
    EXPECT_LE(count, PIPE_BUF);
    EXPECT_EQ(block[count - 1], '\n');
    all.append(block.data(), count);
  }
  EXPECT_EQ(all, lines);
}

TEST(LineWriter, ALineThatWasCutOffIsEndedBeforeTheNext) {
  std::thread([] {
    block_write_signals();
    char path[] = "/tmp/line_writer.XXXXXX";
    const Handle file(::mkostemp(path, O_CLOEXEC));
    ::unlink(path);
    const Handle original(::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3));
    ::dup2(descriptor(file), STDOUT_FILENO);
    rlimit before;
    ::getrlimit(RLIMIT_FSIZE, &before);
    for (const rlim_t size : {7, 7, 13}) {
      const rlimit full{.rlim_cur = size, .rlim_max = before.rlim_max};
      ::setrlimit(RLIMIT_FSIZE, &full);
      EXPECT_FALSE(write_lines("one\ntwo and\n"));
    }
    ::setrlimit(RLIMIT_FSIZE, &before);
    EXPECT_TRUE(write_lines("three\n"));
    ::dup2(descriptor(original), STDOUT_FILENO);
    std::string text(100, ' ');
    text.resize(::pread(descriptor(file), text.data(), text.size(), 0));
    EXPECT_EQ(text, "one\ntwo\none\nt\nthree\n");
  }).join();
}

TEST(LineWriter, ALostReaderIsNoSignal) {
  std::thread([] {
    RedirectedOutput output;
    block_write_signals();
    ::close(output.take_read_end());
    EXPECT_FALSE(write_lines("lost\n"));
    ::close(STDOUT_FILENO);
    EXPECT_FALSE(write_lines("lost\n"));
  }).join();
}
