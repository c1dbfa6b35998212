#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "host/process_inspection.h"
#include "platform/process_handle.h"
#include "utility_manager/stderr_buffer.h"
#include "values/value.h"

namespace utility_manager {

/// One running instance, the value of the server table. A record doesn't change once it is in the
/// table; snapshots share it. The presence of an optional member carries meaning: a record without
/// `group_name` belongs to no device group.
struct ServerInfo {
  std::string server_id;
  std::optional<std::string> utility_name;           ///< nothing only where a state file has none
  std::int64_t port = 0;                             ///< 0: none
  std::int64_t pid = 0;                              ///< 0: none
  std::shared_ptr<platform::ProcessHandle> process;  ///< null in an adopted instance
  values::Value config = values::Value::object();
  values::Value create_time;  ///< whole seconds since the Unix epoch; what a state file says
  std::optional<std::string> lang;
  std::optional<std::string> studio_url;
  std::optional<std::string> group_name;
  std::shared_ptr<StderrBuffer> stderr_buffer;  ///< null in an adopted instance

  /// Holds on to the process of an adopted instance; null where that can't be done.
  std::shared_ptr<host::PinnedProcess> pinned;
};

}  // namespace utility_manager
