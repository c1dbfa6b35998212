#include "tests/children/start_child.h"

#include <array>
#include <filesystem>

#include "utility_manager/platform/child_process.h"
#include "utility_manager/platform/process_reference.h"
#include "utility_manager/platform/system.h"

namespace utility_manager {

const std::string& child_program() {
  static const auto path = native_path(std::filesystem::absolute(CHILD_PROGRAM).string());
  return path;
}

std::string native_path(const std::string& path) {
  return std::filesystem::path(path).make_preferred().string();
}

std::shared_ptr<platform::ProcessHandle> start_child(const std::string& script,
                                                     const std::vector<std::string>& more) {
  std::vector<std::string> arguments = {child_program(), "-c", script};
  arguments.insert(arguments.end(), more.begin(), more.end());
  return platform::spawn_child(arguments);
}

std::string next_line(platform::Stream& stream) {
  std::string line;
  for (std::array<char, 1> byte; stream.read_some(byte) == 1 && byte[0] != '\n';) line += byte[0];
  return line;
}

std::int64_t next_number(const platform::ProcessHandle& child) {
  return std::stoll(next_line(*child.output_stream()));
}

std::string output_of(const std::shared_ptr<platform::ProcessHandle>& child) {
  std::string output = child->output_stream()->read_rest(1 << 20, 60);
  child->wait(60);
  return output;
}

std::int64_t own_id() {
  return platform::own_process_id();
}

void end_orphans(const std::vector<std::int64_t>& pids) {
  const auto& table = platform::native_processes();
  platform::Processes orphans;
  for (const auto pid : pids) orphans.push_back(table.find(pid));
  for (const auto& orphan : orphans) orphan->kill();
  table.wait(orphans, 60);
}

}  // namespace utility_manager
