#include "cli/findings.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "cli/start_records.h"
#include "utility_manager/limits.h"
#include "utility_manager/persistence/state_file_form.h"
#include "utility_manager/platform/files.h"
#include "utility_manager/platform/system.h"
#include "utility_manager/supervision/instance.h"
#include "utility_manager/supervision/process_control.h"
#include "utility_manager/values/members.h"

namespace utility_manager::cli {
namespace {

std::optional<platform::ProcessIdentity> identity_of(std::int64_t pid) {
  try {
    return platform::processes().find(pid)->identity();
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

/// The file names a process. Does what an adopting client does.
void compare(const StateFile& file, Finding& finding) {
  const auto now = static_cast<std::int64_t>(std::floor(platform::system().wall_clock()));
  auto record = file.record(now);
  if (!record) return;
  finding.record = *std::move(record);
  finding.state = State::gone;
  if (!is_process_alive(file.pid)) return;
  finding.process = identity_of(file.pid);
  auto adoption = examine_for_adoption(file.pid, file.server_id,
                                       values::at_or_null(file.content, "create_time"));
  finding.record.adopted = std::move(adoption.process);
  finding.state = adoption.refuted ? State::another : State::running;
}

Finding examine(const std::string& file_name, const std::optional<StateFile>& file) {
  Finding finding;
  finding.file_name = file_name;
  finding.record.server_id = file_name.substr(0, file_name.size() - state_file_suffix.size());
  if (!file) return finding;
  if (!file->stale()) {
    compare(*file, finding);
    return finding;
  }
  finding.state = State::incomplete;
  if (!file->server_id.empty()) finding.record.server_id = file->server_id;
  finding.record.pid = file->pid;
  finding.record.port = file->port;
  return finding;
}

double age_key(const Finding& finding) {
  const auto& time = finding.record.create_time;
  return time.is_number() ? time.number() : 0;
}

}  // namespace

const char* word_for(State state) {
  switch (state) {
    case State::running:
      return "running";
    case State::starting:
      return "starting";
    case State::orphan:
      return "orphan";
    case State::gone:
      return "gone";
    case State::unproven:
      return "unproven";
    case State::another:
      return "another process";
    case State::incomplete:
      return "incomplete";
    case State::unreadable:
      return "unreadable";
  }
  return "";
}

const char* adoption_of(const Finding& finding) {
  if (is_stale(finding)) return "drop";
  if (finding.state == State::orphan) return finding.is_persistent ? "adopt" : "end";
  return finding.state == State::running && !finding.is_start_record ? "adopt" : "leave";
}

std::vector<Finding> look_at(const std::string& state_directory) {
  std::vector<Finding> findings;
  platform::Directory directory(state_directory);
  while (const char* const name = directory.next()) {
    if (!std::string_view(name).ends_with(state_file_suffix)) continue;
    const auto content = directory.read(name, limits::state_file_bytes);
    findings.push_back(examine(name, content ? read_state_file(content->bytes) : std::nullopt));
    findings.back().is_read = content.has_value();
  }
  for (auto& finding : look_at_start_records(state_directory)) {
    const auto is_same = [&](const Finding& other) {
      return other.record.server_id == finding.record.server_id;
    };
    if (std::ranges::none_of(findings, is_same)) findings.push_back(std::move(finding));
  }
  std::ranges::sort(findings, {}, [](const Finding& finding) {
    return std::pair(age_key(finding), finding.record.server_id);
  });
  return findings;
}

const Finding& find(const std::vector<Finding>& findings, const std::string& id) {
  const Finding* found = nullptr;
  for (const auto& finding : findings) {
    if (finding.record.server_id == id) return finding;
    if (!finding.record.server_id.starts_with(id)) continue;
    if (found) throw std::runtime_error("more than one ID begins with '" + id + "'");
    found = &finding;
  }
  if (!found) throw std::runtime_error("no instance '" + id + "' is on record");
  return *found;
}

bool is_stale(const Finding& finding) {
  return finding.state == State::gone || finding.state == State::another ||
         finding.state == State::incomplete;
}

}  // namespace utility_manager::cli
