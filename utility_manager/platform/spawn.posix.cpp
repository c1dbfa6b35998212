#include "utility_manager/platform/spawn.h"

#include <cerrno>
#include <stdexcept>

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <unistd.h>

#include "utility_manager/platform/descriptor.posix.h"
#include "utility_manager/platform/failures.h"
#include "utility_manager/platform/pipe.h"
#include "utility_manager/platform/unshared.posix.h"

extern "C" char** environ;  // POSIX leaves it to the program to declare it

namespace utility_manager::platform {
namespace {

void require(int failure) {
  if (failure != 0) throw SystemError(failure);
}

class FileActions {
 public:
  FileActions() { require(::posix_spawn_file_actions_init(&actions_)); }
  FileActions(const FileActions&) = delete;
  FileActions& operator=(const FileActions&) = delete;
  ~FileActions() { ::posix_spawn_file_actions_destroy(&actions_); }

  void duplicate(const Handle& from, int to) {
    require(::posix_spawn_file_actions_adddup2(&actions_, descriptor(from), to));
  }
  void close_from(int first) { require(platform::close_from(actions_, first)); }
  const posix_spawn_file_actions_t* get() const { return &actions_; }

 private:
  posix_spawn_file_actions_t actions_;
};

/// The client may ignore or block what a program expects at its default.
class DefaultSignals {
 public:
  DefaultSignals() {
    require(::posix_spawnattr_init(&attributes_));
    sigset_t signals;
    sigemptyset(&signals);
    ::posix_spawnattr_setsigmask(&attributes_, &signals);
    sigaddset(&signals, SIGPIPE);
    sigaddset(&signals, SIGXFSZ);
    ::posix_spawnattr_setsigdefault(&attributes_, &signals);
    ::posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  }
  DefaultSignals(const DefaultSignals&) = delete;
  DefaultSignals& operator=(const DefaultSignals&) = delete;
  ~DefaultSignals() { ::posix_spawnattr_destroy(&attributes_); }

  const posix_spawnattr_t* get() const { return &attributes_; }

 private:
  posix_spawnattr_t attributes_;
};

std::vector<char*> argument_vector(const std::vector<std::string>& arguments) {
  if (arguments.empty()) throw std::invalid_argument("no program to start");
  std::vector<char*> pointers;
  for (const std::string& argument : arguments) {
    if (argument.find('\0') != argument.npos) throw std::invalid_argument("embedded null byte");
    pointers.push_back(const_cast<char*>(argument.c_str()));  // posix_spawn changes nothing
  }
  pointers.push_back(nullptr);
  return pointers;
}

}  // namespace

Pipe make_pipe() {
  Pipe pipe;
  if (!open_pipe(pipe.read_end, pipe.write_end)) throw SystemError(errno);
  pipe.read_end = above_standard(std::move(pipe.read_end));
  pipe.write_end = above_standard(std::move(pipe.write_end));
  if (!pipe.read_end || !pipe.write_end) throw SystemError(EMFILE);
  return pipe;
}

Handle null_output() {
  const char* const sink = "/dev/null";
  Handle output = above_standard(Handle(::open(sink, O_WRONLY | O_CLOEXEC)));
  if (!output) throw SystemError(errno, sink);
  return output;
}

ProcessReference start_program(const std::vector<std::string>& arguments, const Handle& output,
                               const Handle& error, std::uint32_t /*flags*/) {
  const std::vector<char*> vector = argument_vector(arguments);
  const std::string& program = arguments.front();
  if (program.empty()) throw SystemError(EACCES, program);  // as on every directory of PATH
  const auto held = hold_openings();
  FileActions actions;
  actions.duplicate(output, STDOUT_FILENO);
  actions.duplicate(error, STDERR_FILENO);
  actions.close_from(STDERR_FILENO + 1);
  const DefaultSignals signals;
  pid_t pid = 0;
  const int failure =
      ::posix_spawnp(&pid, program.c_str(), actions.get(), signals.get(), vector.data(), environ);
  if (failure != 0) throw SystemError(failure, program);
  return ProcessReference(pid);
}

}  // namespace utility_manager::platform
