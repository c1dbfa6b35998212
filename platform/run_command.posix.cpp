#include "platform/run_command.h"

#include <cerrno>
#include <stdexcept>

#include <fcntl.h>

#include "platform/child_process.h"
#include "platform/failures.h"
#include "platform/spawn.h"

namespace platform {

void run_command(const std::vector<std::string>& arguments, double seconds) {
  const char* const sink = "/dev/null";
  const Descriptor output = above_standard(Descriptor(::open(sink, O_WRONLY | O_CLOEXEC)));
  if (!output) throw SystemError(errno, sink);
  ChildProcess command(start_program(arguments, output, output), nullptr, nullptr);
  if (command.wait(seconds)) return;
  command.kill();
  command.wait(std::nullopt);
  throw std::runtime_error("command '" + arguments.front() + "' took too long");
}

}  // namespace platform
