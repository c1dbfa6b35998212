#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "utility_manager/server_info.h"

namespace utility_manager::cli {

/// How a state file or start record and the process that it names stand to each other.
enum class State {
  running,     ///< they fit
  starting,    ///< a start is in progress
  orphan,      ///< they fit, and the client that wrote the start record has gone
  gone,        ///< there is no such process
  unproven,    ///< there is such a process, but nothing proves that a start record means it
  another,     ///< an unrelated process was given the id
  incomplete,  ///< the file lacks identifier, process or port
  unreadable,  ///< the file can't be read or understood
};

const char* word_for(State state);

/// What was found out about one state file or start record. Nothing was changed by it.
struct Finding {
  std::string file_name;
  bool is_read = true;  ///< false where the system refused
  bool is_start_record = false;
  bool is_persistent = true;
  State state = State::unreadable;
  ServerInfo record;  ///< what the file says; its identifier is the file's name where it has none
  std::optional<platform::ProcessIdentity> process;  ///< where there is one that can be looked at
};

/// What a client does with the file when it starts.
const char* adoption_of(const Finding& finding);

/// One per instance, the oldest first. Fails with `platform::SystemError` when the
/// directory can't be listed.
std::vector<Finding> look_at(const std::string& state_directory);

/// The one whose identifier begins with `id`. Fails with `std::runtime_error` where none does, or
/// more than one.
const Finding& find(const std::vector<Finding>& findings, const std::string& id);

/// True for what a client would remove: it can't come to life again.
bool is_stale(const Finding& finding);

}  // namespace utility_manager::cli
