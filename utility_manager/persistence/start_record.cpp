#include "utility_manager/persistence/start_record.h"

#include <algorithm>
#include <mutex>
#include <set>
#include <utility>

#include "utility_manager/limits.h"
#include "utility_manager/platform/failures.h"
#include "utility_manager/platform/files.h"
#include "utility_manager/platform/paths.h"
#include "utility_manager/platform/system.h"
#include "utility_manager/values/json_read.h"
#include "utility_manager/values/members.h"
#include "utility_manager/values/truthiness.h"

namespace utility_manager {
namespace {

using values::Value;

constexpr std::string_view record_suffix = ".starting";
constexpr std::string_view unfinished_suffix = ".unfinished";  ///< a state file before it is whole

/// The starts of this program. After an exec the client is the same process, and another program.
struct OwnStarts {
  std::mutex mutex;
  std::int64_t pid = 0;  ///< a forked child has made none of them
  std::set<std::string> server_ids;
};

OwnStarts& own_starts() {
  static OwnStarts* const starts = new OwnStarts;  // outlives every thread
  return *starts;
}

/// `client` is this process.
bool is_own_start(const platform::ProcessStamp& client, const std::string& server_id) {
  auto& own = own_starts();
  const std::lock_guard held(own.mutex);
  return own.pid == client.pid && own.server_ids.contains(server_id);
}

void remember_own_start(const platform::ProcessStamp& client, const std::string& server_id) {
  auto& own = own_starts();
  const std::lock_guard held(own.mutex);
  if (std::exchange(own.pid, client.pid) != client.pid) own.server_ids.clear();
  own.server_ids.insert(server_id);
}

void forget_own_start(const std::string& server_id) {
  auto& own = own_starts();
  const std::lock_guard held(own.mutex);
  own.server_ids.erase(server_id);
}

std::string hidden_path(const std::string& state_dir, const std::string& server_id,
                        std::string_view suffix) {
  return platform::join_paths(state_dir, "." + server_id + std::string(suffix));
}

/// The identifier of a file ".<identifier><suffix>"; empty for another name.
std::string identifier_in(std::string_view name, std::string_view suffix) {
  constexpr std::string_view form = "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx";
  if (name.size() != 1 + form.size() + suffix.size()) return {};
  if (!name.starts_with('.') || !name.ends_with(suffix)) return {};
  const auto server_id = name.substr(1, form.size());
  for (std::size_t i = 0; i < form.size(); ++i) {
    const auto allowed = form[i] == '-' ? std::string_view("-") : "0123456789abcdef";
    if (allowed.find(server_id[i]) == allowed.npos) return {};
  }
  return std::string(server_id);
}

/// How both kinds of file begin.
std::string state_head(const std::string& server_id) {
  return R"({"server_id": ")" + server_id + '"';
}

const std::string record_head = R"({"state": )";

std::int64_t integer_in(const Value& object, std::string_view key) {
  const auto& value = values::at_or_null(object, key);
  return value.kind() == values::Kind::integer ? value.integer() : 0;
}

/// Nothing when the first line isn't whole, or is no record of this instance.
std::optional<StartRecord> read_record(std::string_view bytes, const std::string& server_id) try {
  const auto line_end = bytes.find('\n');
  if (line_end == bytes.npos) return std::nullopt;
  const auto object = values::read_json(bytes.substr(0, line_end));
  auto state = understand_state(values::at_or_null(object, "state"));
  if (!state || state->server_id != server_id || state->port == 0) return std::nullopt;
  const auto& client = values::at_or_null(object, "client");
  StartRecord record;
  record.state = *std::move(state);
  record.is_persistent = values::truthy_at(object, "persistent");
  record.require_group_name = values::truthy_at(record.state.content, "require_group_name");
  record.client = {integer_in(client, "pid"), integer_in(client, "start_ticks")};
  const auto rest = bytes.substr(line_end + 1);
  if (rest.ends_with('\n')) record.state.pid = integer_in(values::read_json(rest), "pid");
  return record;
} catch (const std::exception&) {
  return std::nullopt;
}

bool begins_as(std::string_view bytes, std::string_view head) {
  return head.starts_with(bytes.substr(0, head.size()));
}

bool is_young(const platform::FileStamp& stamp) {
  const double age = platform::system().wall_clock() - 1e-9 * static_cast<double>(stamp.modified);
  return age < limits::young_record;
}

enum class Client { running, gone };

/// A walk over the hidden files of a state directory. A file of ours of which a part alone was
/// written is of no use to anybody.
class Walk {
 public:
  Walk(const std::string& state_dir, const IsKnown& is_known, Client client)
      : state_dir_(state_dir), client_state_(client) {
    platform::Directory directory(state_dir);
    while (const char* const name = directory.next()) {
      const auto record_id = identifier_in(name, record_suffix);
      const auto unfinished_id = identifier_in(name, unfinished_suffix);
      if (!record_id.empty()) {
        if (!is_known(record_id)) look_at_record(directory, name, record_id);
      } else if (!unfinished_id.empty()) {
        look_at(directory, name, state_head(unfinished_id));
      }
    }
  }

  std::vector<Orphan> found;       ///< the records of such clients
  std::vector<std::string> parts;  ///< paths

 private:
  /// A start of this program is known as such before its record is there, and for as long: asked
  /// before the record is read, it can't be taken for anybody else's.
  void look_at_record(const platform::Directory& directory, const char* name,
                      const std::string& server_id) {
    const bool is_own = is_own_start(client_, server_id);
    if (is_own && client_state_ == Client::gone) return;
    const auto content = directory.read(name, limits::state_file_bytes);
    if (!content) return;
    auto record = read_record(content->bytes, server_id);
    if (!record) {
      note_part(*content, name, record_head + state_head(server_id));
      return;
    }
    const auto client = is_own || runs(record->client) ? Client::running : Client::gone;
    if (client == client_state_) found.push_back({*std::move(record), is_young(content->stamp)});
  }

  void look_at(const platform::Directory& directory, const char* name, const std::string& head) {
    const auto content = directory.read(name, limits::state_file_bytes);
    if (content) note_part(*content, name, head);
  }

  void note_part(const platform::Directory::Content& content, const char* name,
                 const std::string& head) {
    if (is_young(content.stamp) || !begins_as(content.bytes, head)) return;
    parts.push_back(platform::join_paths(state_dir_, name));
  }

  /// What this very process has started without being this program is nobody's.
  bool runs(const platform::ProcessStamp& client) const {
    return client != client_ && platform::still_runs(client);
  }

  const std::string& state_dir_;
  const Client client_state_;
  const platform::ProcessStamp client_ = platform::own_stamp();
};

std::optional<Walk> walk(const std::string& state_dir, const IsKnown& is_known, Client client) {
  try {
    return std::make_optional<Walk>(state_dir, is_known, client);
  } catch (const platform::SystemError&) {
    return std::nullopt;
  }
}

void remove_if_any(const std::string& path) {
  try {
    platform::remove_file(path);
  } catch (const platform::SystemError&) {  // most often there is none
  }
}

}  // namespace

bool is_proven(const StartRecord& start, const platform::OptionHolder& holder) {
  const auto& [server_id, process] = holder;
  return server_id == start.state.server_id &&
         (start.state.pid == 0 || start.state.pid == process->pid());
}

std::string start_record_path(const std::string& state_dir, const std::string& server_id) {
  return hidden_path(state_dir, server_id, record_suffix);
}

void write_start_record(const std::string& state_dir, const ServerInfo& instance, Keeping keeping) {
  const auto client = platform::own_stamp();
  auto text = record_head + write_state_file(instance, keeping.require_group_name) +
              R"(, "persistent": )" + (keeping.is_persistent ? "true" : "false") +
              R"(, "client": {"pid": )" + std::to_string(client.pid) + R"(, "start_ticks": )" +
              std::to_string(client.start_ticks) + "}}\n";
  if (instance.pid != 0) text += R"({"pid": )" + std::to_string(instance.pid) + "}\n";
  const auto path = start_record_path(state_dir, instance.server_id);
  remember_own_start(client, instance.server_id);
  try {
    platform::create_file(path, text);
  } catch (const platform::FileExists&) {
    throw;
  } catch (const platform::SystemError&) {
    remove_start_record(state_dir, instance.server_id);
    throw;
  }
}

void add_process_id(const std::string& state_dir, const std::string& server_id, std::int64_t pid) {
  platform::append_to_file(start_record_path(state_dir, server_id),
                           R"({"pid": )" + std::to_string(pid) + "}\n");
}

void remove_start_record(const std::string& state_dir, const std::string& server_id) {
  remove_if_any(start_record_path(state_dir, server_id));
  forget_own_start(server_id);
}

std::vector<StartRecord> records_of_running_clients(const std::string& state_dir,
                                                    const IsKnown& is_known) {
  std::vector<StartRecord> records;
  auto seen = walk(state_dir, is_known, Client::running);
  if (!seen) return records;
  for (auto& each : seen->found) records.push_back(std::move(each.record));
  return records;
}

std::vector<Orphan> orphaned_records(const std::string& state_dir, const IsKnown& is_known,
                                     Parts parts) {
  auto seen = walk(state_dir, is_known, Client::gone);
  if (!seen) return {};
  if (parts == Parts::removed) {
    for (const auto& path : seen->parts) remove_if_any(path);
  }
  return std::move(seen->found);
}

void turn_into_state_file(const std::string& state_dir, const ServerInfo& instance,
                          bool require_group_name) {
  const auto path =
      platform::join_paths(state_dir, instance.server_id + std::string(state_file_suffix));
  platform::replace_file(path, hidden_path(state_dir, instance.server_id, unfinished_suffix),
                         write_state_file(instance, require_group_name));
  remove_start_record(state_dir, instance.server_id);
}

}  // namespace utility_manager
