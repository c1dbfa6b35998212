#include "utility_manager/platform/process_search.h"

#include <algorithm>
#include <unordered_map>

#include "utility_manager/platform/child_process.h"
#include "utility_manager/platform/deadline.h"
#include "utility_manager/platform/failures.h"
#include "utility_manager/platform/proc_table.h"
#include "utility_manager/platform/process_reference.h"

namespace utility_manager::platform {
namespace {

/// Empty where there is none.
std::string value_behind(std::string_view option, const std::vector<std::string>& command_line) {
  const auto place = std::find(command_line.begin(), command_line.end(), option);
  if (place == command_line.end() || place + 1 == command_line.end()) return {};
  return *(place + 1);
}

std::string value_of(std::string_view option, const std::optional<ProcessIdentity>& identity) {
  return identity ? value_behind(option, identity->command_line) : std::string();
}

/// Nothing when the id has come to belong to a process that doesn't hold the value.
std::shared_ptr<Process> find_holder(std::int64_t pid, std::string_view option,
                                     const std::string& value) {
  try {
    auto process = native_processes().find(pid);
    if (process->is_exact() && value_of(option, process->identity()) == value) return process;
  } catch (const NoSuchProcess&) {
  }
  return nullptr;
}

std::vector<ProcessRow> rows_or_none() {
  try {
    return process_rows();
  } catch (const SystemError&) {
    return {};
  }
}

bool kill_each(const Processes& targets) {
  bool all = true;
  for (const auto& target : targets) {
    try {
      target->kill();
    } catch (const NoSuchProcess&) {
    } catch (const SystemError&) {
      all = false;
    }
  }
  return all;
}

/// After an exec the client is the parent. One of its own is collected by its handle.
void collect(const Process& process) {
  const auto child = own_child(process.pid());
  if (child) {
    child->poll();
  } else {
    process.watched()->collect();
  }
}

}  // namespace

ProcessStamp own_stamp() {
  const auto pid = own_process_id();
  return {.pid = pid, .start_ticks = static_cast<std::int64_t>(start_ticks(pid).value_or(0))};
}

bool still_runs(const ProcessStamp& process) {
  if (!is_process_id(process.pid)) return false;
  const auto row = row_of(process.pid);
  if (!row) return process_exists(process.pid);  // it can't be looked at
  if (row->has_ended) return false;
  return process.start_ticks == 0 ||
         static_cast<std::int64_t>(row->start_ticks) == process.start_ticks;
}

std::vector<OptionHolder> processes_with_option(std::string_view option) {
  const auto rows = rows_or_none();
  std::unordered_map<std::int64_t, std::string> values;
  for (const auto& row : rows) {
    auto value = value_of(option, process_identity(row.pid));
    if (!value.empty()) values.emplace(row.pid, std::move(value));
  }
  std::vector<OptionHolder> holders;
  for (const auto& row : rows) {
    const auto own = values.find(row.pid);
    const auto parents = values.find(row.parent);
    if (own == values.end()) continue;
    if (parents != values.end() && parents->second == own->second) continue;
    auto process = find_holder(row.pid, option, own->second);
    if (process) holders.push_back({own->second, std::move(process)});
  }
  return holders;
}

bool end_tree(const std::shared_ptr<Process>& root, double seconds) {
  Processes targets;
  try {
    targets = root->descendants();
  } catch (const NoSuchProcess&) {
    return true;
  }
  targets.insert(targets.begin(), root);  // first, so that it starts nothing in their place
  const bool all = kill_each(targets);
  const Deadline deadline(all ? seconds : 0);
  for (const auto& target : targets) {
    target->watched()->wait_for_end(deadline);
    collect(*target);
  }
  return all;
}

}  // namespace utility_manager::platform
