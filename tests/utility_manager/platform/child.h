#pragma once

#include <array>
#include <filesystem>
#include <memory>
#include <string>

#include <sys/wait.h>

#include "utility_manager/platform/child_process.h"

using namespace utility_manager;

/// A child that runs `script` in the shell. A script ends in `exec` where its process matters.
inline std::shared_ptr<platform::ProcessHandle> start_shell(const std::string& script) {
  return platform::spawn_child({"/bin/sh", "-c", script});
}

inline std::shared_ptr<platform::ProcessHandle> start_python(const std::string& script) {
  return platform::spawn_child({"/usr/bin/python3", "-IS", "-c", script});
}

/// The next line of the stream, without its end; what there is when the stream ends first.
inline std::string next_line(platform::Stream& stream) {
  std::string line;
  for (std::array<char, 1> byte; stream.read_some(byte) == 1 && byte[0] != '\n';) line += byte[0];
  return line;
}

/// All that a child writes to its output until it ends; collects it.
inline std::string output_of(const std::shared_ptr<platform::ProcessHandle>& child) {
  std::string output = child->output_stream()->read_rest(1 << 20, 60);
  child->wait(60);
  return output;
}

/// Waits until the child has ended, but leaves it uncollected.
inline void wait_for_zombie(const platform::ProcessHandle& child) {
  siginfo_t result{};
  ::waitid(P_PID, static_cast<id_t>(child.pid()), &result, WEXITED | WNOWAIT);
}

inline int open_descriptors() {
  const std::filesystem::directory_iterator entries("/proc/self/fd");
  return static_cast<int>(std::distance(begin(entries), end(entries)));
}

/// A directory of its own, removed with what is in it.
class TemporaryDirectory {
 public:
  TemporaryDirectory() {
    std::string name = (std::filesystem::temp_directory_path() / "platform-XXXXXX").string();
    path_ = ::mkdtemp(name.data());
  }
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
  ~TemporaryDirectory() { std::filesystem::remove_all(path_); }

  std::string operator/(const std::string& name) const { return path_ + "/" + name; }
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};
