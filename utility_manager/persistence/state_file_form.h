#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "utility_manager/server_info.h"

namespace utility_manager {

/// What the name of a state file ends in.
inline constexpr std::string_view state_file_suffix = ".json";

/// What a state file says about its instance.
struct StateFile {
  /// Empty, 0 and 0 where the file says nothing usable. A file that lacks one of them is stale.
  std::string server_id;
  std::int64_t port = 0;
  std::int64_t pid = 0;

  values::Value content;  ///< the whole file

  bool stale() const { return server_id.empty() || port == 0 || pid == 0; }

  /// The record of the reloaded instance: no handle, no stderr buffer, no process. Nothing
  /// where another member is malformed: a text that is no text, a `config` that is no mapping.
  /// `now` is the creation time where the file has none.
  std::optional<ServerInfo> record(std::int64_t now) const;
};

/// The exact bytes of the state file of an instance. Fails with `std::invalid_argument` on what
/// can't be written as JSON.
std::string write_state_file(const ServerInfo& server_info, bool require_group_name);

/// The same for the mapping form of an instance. A member that it lacks is null where a file always
/// has it; what no file has is left out.
std::string write_state_file(const values::Mapping& server_info, bool require_group_name);

/// Understands a state file; nothing when it is malformed: not JSON, no object, a `pid` or `port`
/// that is no integer, or a `server_id` that names no file of the state directory.
std::optional<StateFile> read_state_file(std::string_view bytes);

/// The same for its content.
std::optional<StateFile> understand_state(values::Value content);

}  // namespace utility_manager
