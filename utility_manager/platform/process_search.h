#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "utility_manager/platform/process.h"

/// Processes that another client started or was. Asks the system itself, whatever process
/// inspection is bound.
namespace utility_manager::platform {

/// Names one process to every process of this system, until the system's next start.
struct ProcessStamp {
  std::int64_t pid = 0;
  std::int64_t start_ticks = 0;  ///< 0 where it can't be known

  bool operator==(const ProcessStamp&) const = default;
};

/// Of the client itself.
ProcessStamp own_stamp();

/// False for a process that has ended, collected or not, and for a later owner of its id.
bool still_runs(const ProcessStamp& process);

struct OptionHolder {
  std::string value;  ///< the argument behind the option
  std::shared_ptr<Process> process;
};

/// Every process with this option on its command line, told from a later owner of its id. One whose
/// parent holds the same value is left out: it belongs to the parent's tree. None where command
/// lines can't be read.
std::vector<OptionHolder> processes_with_option(std::string_view option);

/// Kills what `processes_with_option` found, with its descendants, and waits up to `seconds` until
/// they have ended. False when one of them can't be signalled.
bool end_tree(const std::shared_ptr<Process>& root, double seconds);

}  // namespace utility_manager::platform
