#include "utility_manager/supervision/instance_liveness.h"

#include <algorithm>

#include "host/services.h"
#include "utility_manager/timings.h"
#include "utility_manager/utility_manager.h"

namespace utility_manager {
namespace {

bool carries(const std::vector<std::string>& command_line, const std::string& server_id) {
  return std::find(command_line.begin(), command_line.end(), server_id) != command_line.end();
}

bool is_refuted(const host::ProcessIdentity& identity, const std::string& server_id,
                const values::Value& create_time) {
  if (!create_time.is_number() || identity.command_line.empty()) return false;
  const auto recorded = create_time.get<double>();
  if (!(recorded > 0)) return false;
  return identity.start_time > recorded + timings::identity_tolerance &&
         !carries(identity.command_line, server_id);
}

}  // namespace

bool instance_is_dead(const ServerInfo& record) {
  if (record.process) return record.process->poll().has_value();
  if (record.pid == 0) return false;
  if (record.pinned) return !record.pinned->exists();
  return !UtilityServerManager::_is_process_alive(record.pid);
}

bool id_was_reused(const ServerInfo& record) {
  if (record.process) return record.process->id_has_new_owner();
  return record.pinned && !record.pinned->exists();
}

Adoption examine_for_adoption(std::int64_t pid, const std::string& server_id,
                              const values::Value& create_time) {
  auto* const psutil = host::services().psutil;
  if (!psutil) return {};
  Adoption adoption;
  try {
    adoption.pinned = psutil->pin(pid);
    const auto identity = psutil->identity(pid);
    adoption.refuted = identity && is_refuted(*identity, server_id, create_time);
  } catch (const std::exception&) {  // can't be known, so nothing is refuted
  }
  return adoption;
}

}  // namespace utility_manager
