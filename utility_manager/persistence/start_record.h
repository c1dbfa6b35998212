#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "utility_manager/persistence/state_file_form.h"
#include "utility_manager/platform/process_search.h"
#include "utility_manager/server_info.h"

/// Start records: what is to be known of a child from before its birth, should the client die. The
/// first line says what the state file will say, whether there is to be one, and whose child it is;
/// the second, which follows the spawn, the process id.
namespace utility_manager {

struct StartRecord {
  StateFile state;  ///< its `pid` is 0 until the process is known
  bool is_persistent = false;
  bool require_group_name = false;
  platform::ProcessStamp client;
};

/// Whether a process that was found with a `--server-id` is the child of the record: it has that
/// name, and the process id where the record tells one.
bool is_proven(const StartRecord& start, const platform::OptionHolder& holder);

/// Whether an instance is kept by a state file, or by its record alone.
struct Keeping {
  bool is_persistent = false;
  bool require_group_name = false;
};

std::string start_record_path(const std::string& state_dir, const std::string& server_id);

/// Writes the record of a start of this client, or of its instance where `pid` isn't 0. Fails with
/// `SystemError`, and when there is one.
void write_start_record(const std::string& state_dir, const ServerInfo& instance, Keeping keeping);

/// Adds the process id to the record. Fails with `SystemError`.
void add_process_id(const std::string& state_dir, const std::string& server_id, std::int64_t pid);

/// Never fails.
void remove_start_record(const std::string& state_dir, const std::string& server_id);

/// Whether the asking manager knows the instance without its record.
using IsKnown = std::function<bool(const std::string& server_id)>;

/// The records of clients that run, those of other managers of this client included; of what isn't
/// known. None when the directory can't be read.
std::vector<StartRecord> records_of_running_clients(const std::string& state_dir,
                                                    const IsKnown& is_known);

/// A record whose client has gone.
struct Orphan {
  StartRecord record;
  bool is_young = false;  ///< a child without process id may still be on its way
};

/// What becomes of what such clients left half written.
enum class Parts { removed, left };

/// The records of clients that have gone, of what isn't known. A file that isn't ours for certain
/// is left alone. None when the directory can't be read.
std::vector<Orphan> orphaned_records(const std::string& state_dir, const IsKnown& is_known,
                                     Parts parts = Parts::removed);

/// The state file, whole or not at all, in place of the record. Fails with `SystemError` and with
/// `std::invalid_argument`; then the record stays.
void turn_into_state_file(const std::string& state_dir, const ServerInfo& instance,
                          bool require_group_name);

}  // namespace utility_manager
