#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "utility_manager/server_info.h"

namespace utility_manager::cli {

/// How a state file and the process that it names stand to each other.
enum class State {
  running,     ///< they fit
  gone,        ///< there is no such process
  another,     ///< an unrelated process was given the id
  incomplete,  ///< the file lacks identifier, process or port
  unreadable,  ///< the file can't be read or understood
};

/// The word for a state, and what a client does with such a file when it starts.
const char* word_for(State state);
const char* adoption_of(State state);

/// What was found out about one state file. Nothing was changed by it.
struct Finding {
  std::string file_name;
  State state = State::unreadable;
  ServerInfo record;  ///< what the file says; its identifier is the file's name where it has none
  std::optional<platform::ProcessIdentity> process;  ///< where there is one that can be looked at
};

/// One per state file, the oldest instance first. Fails with `platform::SystemError` when the
/// directory can't be listed.
std::vector<Finding> look_at(const std::string& state_directory);

/// The one whose identifier begins with `id`. Fails with `std::runtime_error` where none does, or
/// more than one.
const Finding& find(const std::vector<Finding>& findings, const std::string& id);

/// True for what a client would remove: it can't come to life again.
bool is_stale(const Finding& finding);

}  // namespace utility_manager::cli
