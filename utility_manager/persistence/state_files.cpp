#include <cmath>
#include <unordered_map>

#include "utility_manager/persistence/state_file_form.h"
#include "utility_manager/persistence/state_file_reader.h"
#include "utility_manager/platform/files.h"
#include "utility_manager/platform/paths.h"
#include "utility_manager/platform/process_reference.h"
#include "utility_manager/platform/system.h"
#include "utility_manager/supervision/instance.h"
#include "utility_manager/supervision/process_control.h"
#include "utility_manager/utility_manager.h"
#include "utility_manager/values/members.h"

namespace utility_manager {
namespace {

struct Known {
  const ServerInfo* record = nullptr;
  bool runs = false;  ///< for certain
};

/// The instances in the table, by identifier.
using KnownInstances = std::unordered_map<std::string_view, Known>;

KnownInstances known_instances(const ServerTable::Records& table) {
  std::vector<const platform::ProcessReference*> watched;
  watched.reserve(table.size());
  for (const auto& record : table) watched.push_back(Instance(*record).watched());
  const auto may_have_ended = platform::may_have_ended(watched);
  KnownInstances known(table.size());
  for (std::size_t i = 0; i < table.size(); ++i) {
    known.emplace(table[i]->server_id, Known{table[i].get(), !may_have_ended[i]});
  }
  return known;
}

/// A known instance is told from a later owner of its id.
bool is_alive(const StateFile& file, const Known& known) {
  const bool same_id = known.record && known.record->pid == file.pid;
  if (!same_id) return is_process_alive(file.pid);
  return known.runs || Instance(*known.record).holds_id();
}

}  // namespace

/// What a look at the state directory asks of the server table.
class UtilityServerManager::Reconciliation {
 public:
  Reconciliation(const StateFileReader::Entries& files, const ServerTable::Records& table) {
    if (files.empty()) return;
    const auto known = known_instances(table);
    for (const auto& each : files) {
      if (each.file) examine(each.name, *each.file, known);
    }
  }

  struct Candidate {
    std::string file_name;
    ServerInfo record;
  };
  std::vector<std::string> remove;
  std::vector<Candidate> add;

  bool empty() const { return remove.empty() && add.empty(); }

 private:
  void examine(const std::string& file_name, const StateFile& file, const KnownInstances& known) {
    if (file.stale()) {
      const auto stem = file_name.substr(0, file_name.size() - state_file_suffix.size());
      remove.push_back(file.server_id.empty() ? stem : file.server_id);
      return;
    }
    const auto place = known.find(file.server_id);
    const auto instance = place == known.end() ? Known() : place->second;
    if (!is_alive(file, instance)) {
      remove.push_back(file.server_id);
    } else if (!instance.record) {
      examine_new(file_name, file);
    }
  }

  /// An instance that isn't known yet must not be refuted.
  void examine_new(const std::string& file_name, const StateFile& file) {
    auto record = file.record(static_cast<std::int64_t>(std::floor(now_)));
    if (!record) return;
    auto adoption = examine_for_adoption(file.pid, file.server_id,
                                         values::at_or_null(file.content, "create_time"));
    if (adoption.is_around_client) return;
    record->adopted = std::move(adoption.process);
    if (adoption.refuted) {
      remove.push_back(file.server_id);
    } else {
      add.push_back({file_name, *std::move(record)});
    }
  }

  const double now_ = platform::system().wall_clock();
};

std::string UtilityServerManager::_state_file_path(const std::string& server_id) const {
  return platform::join_paths(state_dir_, server_id + std::string(state_file_suffix));
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
  const auto files = state_files_->read(state_dir_);
  const auto table =
      servers_now();  // waits for a stop under way, also when there is nothing to load
  Reconciliation changes(*files, *table);
  if (changes.empty()) return;
  const LockHeld held(lock);
  apply(changes);
}

void UtilityServerManager::reload() {
  Reconciliation changes(*state_files_->read(state_dir_), *servers_.records());
  apply(changes);
}

void UtilityServerManager::apply(Reconciliation& changes) {
  try {
    std::erase_if(changes.add, [this](const auto& candidate) {  // stopped meanwhile
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
