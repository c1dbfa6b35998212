#include "cli/start_records.h"

#include <algorithm>
#include <cmath>

#include "utility_manager/persistence/start_record.h"
#include "utility_manager/platform/paths.h"
#include "utility_manager/platform/process_search.h"
#include "utility_manager/platform/system.h"
#include "utility_manager/supervision/instance.h"
#include "utility_manager/values/members.h"

namespace utility_manager::cli {
namespace {

Finding finding_of(const StartRecord& start, State state) {
  Finding finding;
  const auto now = static_cast<std::int64_t>(std::floor(platform::system().wall_clock()));
  if (auto record = start.state.record(now)) finding.record = *std::move(record);
  finding.record.server_id = start.state.server_id;
  finding.file_name = platform::last_component(start_record_path("", start.state.server_id));
  finding.is_start_record = true;
  finding.is_persistent = start.is_persistent;
  finding.state = state;
  return finding;
}

void attach(Finding& finding, std::shared_ptr<platform::Process> process) {
  finding.record.pid = process->pid();
  finding.process = process->identity();
  finding.record.adopted = std::move(process);
}

/// Of an orphan that no command line proves: as the next client sees it.
State state_without_proof(const Orphan& orphan) {
  const auto& state = orphan.record.state;
  if (state.pid == 0) return orphan.is_young ? State::starting : State::gone;
  if (!platform::still_runs({.pid = state.pid})) return State::gone;
  const auto& create_time = values::at_or_null(state.content, "create_time");
  const auto adoption = examine_for_adoption(state.pid, state.server_id, create_time);
  return adoption.refuted ? State::another : State::unproven;
}

}  // namespace

std::vector<Finding> look_at_start_records(const std::string& state_directory) {
  const auto none_known = [](const std::string&) { return false; };
  const auto others = records_of_running_clients(state_directory, none_known);
  const auto orphans = orphaned_records(state_directory, none_known, Parts::left);
  if (others.empty() && orphans.empty()) return {};
  const auto holders = platform::processes_with_option("--server-id");
  const auto process_of = [&](const StartRecord& start) {
    const auto holder =
        std::ranges::find_if(holders, [&](const auto& each) { return is_proven(start, each); });
    return holder == holders.end() ? nullptr : holder->process;
  };
  std::vector<Finding> findings;
  findings.reserve(others.size() + orphans.size());
  for (const auto& start : others) {
    const auto process = process_of(start);
    auto& finding = findings.emplace_back(
        finding_of(start, start.state.pid != 0 && process ? State::running : State::starting));
    if (process) attach(finding, process);
  }
  for (const auto& orphan : orphans) {
    const auto process = process_of(orphan.record);
    auto& finding = findings.emplace_back(
        finding_of(orphan.record, process ? State::orphan : state_without_proof(orphan)));
    if (process) attach(finding, process);
  }
  return findings;
}

}  // namespace utility_manager::cli
