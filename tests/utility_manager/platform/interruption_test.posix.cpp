#include <cerrno>
#include <functional>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "tests/fakes/fake_client.h"
#include "utility_manager/platform/deadline.h"
#include "utility_manager/platform/descriptor.posix.h"
#include "utility_manager/platform/failures.h"
#include "utility_manager/platform/files.h"
#include "utility_manager/platform/line_writer.h"
#include "utility_manager/platform/pipe.h"
#include "utility_manager/platform/stream.h"

using namespace utility_manager;
using namespace utility_manager::platform;
using fakes::TemporaryDirectory;

namespace {

thread_local int interruptions = 0;

/// Whether a signal interrupts the call that is about to be made.
bool interrupts() {
  if (interruptions == 0) return false;
  --interruptions;
  errno = EINTR;
  return true;
}

}  // namespace

// In place of the system's own calls, wherever this program makes them.
extern "C" {
ssize_t read(int file, void* bytes, size_t size) {
  return interrupts() ? -1 : ::syscall(SYS_read, file, bytes, size);
}
ssize_t write(int file, const void* bytes, size_t size) {
  return interrupts() ? -1 : ::syscall(SYS_write, file, bytes, size);
}
int poll(pollfd* entries, nfds_t count, int milliseconds) {
  return interrupts() ? -1 : static_cast<int>(::syscall(SYS_poll, entries, count, milliseconds));
}
}

TEST(Interruption, ACallThatASignalInterruptsIsMadeAgain) {
  const TemporaryDirectory directory;
  Pipe pipe = make_pipe();
  const Handle output(::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3));
  const Deadline soon(60);
  std::string text(8, ' ');
  Stream stream(std::move(pipe.read_end));
  const std::vector<std::pair<const char*, std::function<bool()>>> steps = {
      {"write_file",
       [&] {
         write_file(directory / "file", "word");
         return true;
       }},
      {"read_file", [&] { return read_file(directory / "file") == "word"; }},
      {"write_lines", [] { return write_lines("a line\n"); }},
      {"poll", [&] { return wait_until_ready(STDOUT_FILENO, POLLOUT, soon); }},
      {"read_some", [&] { return stream.read_some(text) == 7 && text == "a line\n "; }},
  };
  ::dup2(descriptor(pipe.write_end), STDOUT_FILENO);
  std::string failed;
  for (const auto& [call, succeeds] : steps) {
    interruptions = 3;
    try {
      if (succeeds() && interruptions == 0) continue;
    } catch (const SystemError&) {
    }
    failed += std::string(call) + " ";
  }
  interruptions = 0;
  ::dup2(descriptor(output), STDOUT_FILENO);
  EXPECT_EQ(failed, "");
}
