#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "utility_manager/server_info.h"

namespace utility_manager {

/// The dead test of the monitor and of the listings: an own child is asked itself, an adopted
/// instance by its pin or its id. An instance with neither handle nor pid is never dead.
bool instance_is_dead(const ServerInfo& record);

/// True when the process that may have the instance's id now is known to be another one.
bool id_was_reused(const ServerInfo& record);

/// Tells whether the live process `pid` can be the instance of a state file, and holds on to it.
struct Adoption {
  bool refuted = false;  ///< an unrelated process was given the id
  std::shared_ptr<host::PinnedProcess> pinned;
};

/// A process is refuted when it started later than `create_time` allows and its command line
/// doesn't carry `server_id`; one of the two alone proves nothing, and where either can't be known
/// nothing is refuted.
Adoption examine_for_adoption(std::int64_t pid, const std::string& server_id,
                              const values::Value& create_time);

}  // namespace utility_manager
