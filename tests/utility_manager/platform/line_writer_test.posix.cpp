#include "utility_manager/platform/line_writer.h"

#include <climits>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include "tests/children/start_child.h"
#include "utility_manager/platform/descriptor.posix.h"
#include "utility_manager/platform/pipe.h"

using namespace utility_manager;
using namespace utility_manager::platform;

namespace {

/// Descriptor 1 is a pipe for the life of the object.
struct RedirectedOutput {
  Pipe pipe = make_pipe();
  StandardStream output{STDOUT_FILENO, pipe.write_end};

  RedirectedOutput() { pipe.write_end.close(); }
  int read_end() const { return descriptor(pipe.read_end); }
};

}  // namespace

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
    std::optional<StandardStream> output(std::in_place, STDOUT_FILENO, file);
    rlimit before;
    ::getrlimit(RLIMIT_FSIZE, &before);
    for (const rlim_t size : {7, 7, 13}) {
      const rlimit full{.rlim_cur = size, .rlim_max = before.rlim_max};
      ::setrlimit(RLIMIT_FSIZE, &full);
      EXPECT_FALSE(write_lines("one\ntwo and\n"));
    }
    ::setrlimit(RLIMIT_FSIZE, &before);
    EXPECT_TRUE(write_lines("three\n"));
    output.reset();
    std::string text(100, ' ');
    text.resize(::pread(descriptor(file), text.data(), text.size(), 0));
    EXPECT_EQ(text, "one\ntwo\none\nt\nthree\n");
  }).join();
}

TEST(LineWriter, ALostReaderIsNoSignal) {
  std::thread([] {
    RedirectedOutput output;
    block_write_signals();
    output.pipe.read_end.close();
    EXPECT_FALSE(write_lines("lost\n"));
    ::close(STDOUT_FILENO);
    EXPECT_FALSE(write_lines("lost\n"));
  }).join();
}
