#include <cmath>

#include "utility_manager/persistence/state_file_form.h"
#include "utility_manager/platform/files.h"
#include "utility_manager/platform/paths.h"
#include "utility_manager/platform/system.h"
#include "utility_manager/supervision/instance.h"
#include "utility_manager/supervision/process_control.h"
#include "utility_manager/utility_manager.h"
#include "utility_manager/values/members.h"

namespace utility_manager {
namespace {

constexpr std::string_view suffix = ".json";

/// The instances in the table, by identifier.
using Known = std::unordered_map<std::string_view, const ServerInfo*>;

struct Candidate {
  std::string file_name;
  ServerInfo record;
};

/// What a look at the state directory asks of the server table.
struct Reconciliation {
  std::vector<std::string> remove;
  std::vector<Candidate> add;

  bool empty() const { return remove.empty() && add.empty(); }
};

std::vector<platform::DirectoryFile> state_files_in(const std::string& directory) {
  try {
    return platform::read_directory(directory, suffix);
  } catch (const std::exception&) {
    return {};
  }
}

/// A known instance is told from a later owner of its id.
bool is_alive(const StateFile& file, const ServerInfo* known) {
  const bool same_id = known && known->pid == file.pid;
  return same_id ? Instance(*known).holds_id() : is_process_alive(file.pid);
}

/// An instance that isn't known yet must not be refuted.
void examine_new(const std::string& file_name, const StateFile& file, std::int64_t now,
                 Reconciliation& result) {
  auto record = file.record(now);
  if (!record) return;
  auto adoption = examine_for_adoption(file.pid, file.server_id,
                                       values::at_or_null(file.content, "create_time"));
  record->adopted = std::move(adoption.process);
  if (adoption.refuted) {
    result.remove.push_back(file.server_id);
  } else {
    result.add.push_back({file_name, *std::move(record)});
  }
}

void examine(const platform::DirectoryFile& entry, const Known& known, std::int64_t now,
             Reconciliation& result) {
  if (!entry.bytes) return;
  const auto file = read_state_file(*entry.bytes);
  if (!file) return;
  if (file->stale()) {
    const auto stem = entry.name.substr(0, entry.name.size() - suffix.size());
    result.remove.push_back(file->server_id.empty() ? stem : file->server_id);
    return;
  }
  const auto place = known.find(file->server_id);
  const auto* const record = place == known.end() ? nullptr : place->second;
  if (!is_alive(*file, record)) {
    result.remove.push_back(file->server_id);
  } else if (!record) {
    examine_new(entry.name, *file, now, result);
  }
}

}  // namespace

std::string UtilityServerManager::_state_file_path(const std::string& server_id) const {
  return platform::join_paths(state_dir_, server_id + std::string(suffix));
}

void UtilityServerManager::_persist_server_state(const ServerInfo& server_info,
                                                 bool require_group_name) const {
  platform::write_file(_state_file_path(server_info.server_id),
                       write_state_file(server_info, require_group_name));
}

void UtilityServerManager::_remove_state_file(const std::string& server_id) const {
  try {
    const auto path = _state_file_path(server_id);
    if (platform::path_exists(path)) platform::remove_file(path);
  } catch (const std::exception&) {  // it stays
  }
}

void UtilityServerManager::_load_persisted_states() {
  const auto files = state_files_in(state_dir_);
  const auto table =
      servers_now();  // waits for a stop under way, also when there is nothing to load
  if (files.empty()) return;
  Known known;
  for (const auto& record : *table) known.emplace(record->server_id, record.get());
  const auto now = static_cast<std::int64_t>(std::floor(platform::system().wall_clock()));
  Reconciliation changes;
  for (const auto& file : files) examine(file, known, now, changes);
  if (changes.empty()) return;
  const LockHeld held(lock);
  try {
    std::erase_if(changes.add, [this](const Candidate& candidate) {  // stopped meanwhile
      return !platform::path_exists(platform::join_paths(state_dir_, candidate.file_name));
    });
    for (const auto& server_id : changes.remove) {
      _remove_state_file(server_id);
      forget_server(server_id);
    }
    for (auto& [file_name, info] : changes.add) {
      if (servers_.find(info.server_id)) continue;
      ports_.use(info.port, lock);
      servers_.add(std::make_shared<const ServerInfo>(std::move(info)), lock);
    }
  } catch (const std::exception&) {  // what is left is seen at the next load
  }
}

}  // namespace utility_manager
