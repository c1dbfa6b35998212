#include "tests/children/start_child.h"

#include <array>
#include <chrono>
#include <filesystem>

#include "utility_manager/platform/child_process.h"
#include "utility_manager/platform/process_reference.h"
#include "utility_manager/platform/system.h"

namespace utility_manager {

const std::string& child_program() {
  static const auto path = std::filesystem::absolute(CHILD_PROGRAM).make_preferred().string();
  return path;
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

void set_modification_time(const std::string& path, double time) {
  const auto since_now = std::chrono::duration<double>(time - platform::System().wall_clock());
  const auto moment = std::filesystem::file_time_type::clock::now() + since_now;
  std::filesystem::last_write_time(
      path, std::chrono::time_point_cast<std::filesystem::file_time_type::duration>(moment));
}

void end_orphans(const std::vector<std::int64_t>& pids) {
  const auto& table = platform::native_processes();
  platform::Processes orphans;
  for (const auto pid : pids) orphans.push_back(table.find(pid));
  for (const auto& orphan : orphans) orphan->kill();
  table.wait(orphans, 60);
}

}  // namespace utility_manager
