#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "utility_manager/platform/process.h"
#include "utility_manager/platform/process_handle.h"
#include "utility_manager/values/value.h"

namespace utility_manager {

class StderrBuffer;

/// The record of one running instance, the value of the server table. It doesn't change once it is
/// in the table; snapshots share it. The presence of an optional member carries meaning: a record
/// without `group_name` belongs to no device group.
struct ServerInfo {
  std::string server_id;
  std::optional<std::string> utility_name;           ///< nothing only where a state file has none
  std::int64_t port = 0;                             ///< 0: none
  std::int64_t pid = 0;                              ///< 0: none
  std::shared_ptr<platform::ProcessHandle> process;  ///< null in an adopted instance
  values::Value config = values::Mapping();
  values::Value create_time;  ///< whole seconds since the Unix epoch; what a state file says
  std::optional<std::string> lang;
  std::optional<std::string> studio_url;
  std::optional<std::string> group_name;
  std::shared_ptr<StderrBuffer> stderr_buffer;  ///< null in an adopted instance

  /// The process of an adopted instance; null where only its id is known.
  std::shared_ptr<platform::Process> adopted;
};

}  // namespace utility_manager
