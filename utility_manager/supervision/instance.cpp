#include "utility_manager/supervision/instance.h"

#include <algorithm>

#include "utility_manager/limits.h"
#include "utility_manager/supervision/process_control.h"

namespace utility_manager {
namespace {

bool carries(const std::vector<std::string>& command_line, const std::string& server_id) {
  return std::find(command_line.begin(), command_line.end(), server_id) != command_line.end();
}

bool is_refuted(const platform::ProcessIdentity& identity, const std::string& server_id,
                const values::Value& create_time) {
  if (!create_time.is_number() || identity.command_line.empty()) return false;
  const auto recorded = create_time.number();
  if (!(recorded > 0)) return false;
  const bool fits = identity.start_time <= recorded + limits::identity_delay &&
                    identity.start_time >= recorded - limits::identity_lead;
  return !fits && !carries(identity.command_line, server_id);
}

/// One that can't be asked is what its id is.
bool exists(const platform::Process& process) {
  try {
    process.collect();
    return process.exists();
  } catch (const std::exception&) {
    return is_process_alive(process.pid());
  }
}

}  // namespace

bool Instance::is_alive() const {
  if (record_.process) return !record_.process->poll();
  if (record_.adopted) return exists(*record_.adopted);
  return is_process_alive(record_.pid);
}

bool Instance::is_dead() const {
  const bool is_known = record_.process || record_.pid != 0;
  return is_known && !is_alive();
}

const platform::ProcessReference* Instance::watched() const {
  if (record_.process) return record_.process->watched();
  return record_.adopted ? record_.adopted->watched() : nullptr;
}

bool Instance::is_another() const {
  if (record_.process) return record_.process->id_has_new_owner();
  return record_.adopted && !exists(*record_.adopted);
}

bool Instance::holds_id() const {
  if (record_.adopted) return exists(*record_.adopted);
  return is_process_alive(record_.pid) && !is_another();
}

bool Instance::stop() const {
  if (is_another()) return true;
  if (record_.adopted) return kill_process_tree(record_.adopted);
  return stop_utility_process(record_.process, record_.pid);
}

Adoption examine_for_adoption(std::int64_t pid, const std::string& server_id,
                              const values::Value& create_time) {
  Adoption adoption;
  adoption.refuted = platform::is_client_or_ancestor(pid);
  try {
    const auto process = platform::processes().find(pid);
    const auto identity = process->identity();
    if (adoption.refuted) {
      adoption.is_around_client = identity && carries(identity->command_line, server_id);
      return adoption;
    }
    if (process->is_exact()) adoption.process = process;
    adoption.refuted = identity && is_refuted(*identity, server_id, create_time);
  } catch (const std::exception&) {  // can't be known, so nothing is refuted
  }
  return adoption;
}

}  // namespace utility_manager
