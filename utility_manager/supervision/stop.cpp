#include "utility_manager/platform/wakeup.h"
#include "utility_manager/supervision/instance.h"
#include "utility_manager/supervision/monitor_thread.h"
#include "utility_manager/utility_manager.h"
#include "utility_manager/values/truthiness.h"

namespace utility_manager {
namespace {

/// By the registration at this moment. Fails with `TypeError` on an instance without a name.
bool is_persistent(const ServerInfo& instance, Catalogue& catalogue) {
  if (!instance.utility_name) throw TypeError("utility_name must be a text");
  const auto info = catalogue.find(*instance.utility_name);
  return info && values::truthy_at(info->fields, "persistent");
}

}  // namespace

bool UtilityServerManager::stop_utility_server(const std::string& server_id) {
  const LockHeld held(lock);
  const auto instance = servers_.find(server_id);
  if (!instance) return false;
  try {
    const bool gone = Instance(*instance).stop();
    if (gone) forget_server(server_id);
    return gone;
  } catch (const std::exception&) {
    return false;
  }
}

void UtilityServerManager::stop_all_utility_servers() {
  const auto instances = servers_now();
  for (const auto& listed : *instances) stop_utility_server(listed->server_id);
}

void UtilityServerManager::cleanup_all_servers() {
  running_ = false;
  monitor_wakeup_->call();
  if (const auto monitor = monitor_thread()) monitor->join(limits::monitor_join);
  const auto instances = servers_now();
  for (const auto& listed : *instances) {
    try {
      const auto instance = server(listed->server_id);
      if (!instance) continue;
      if (is_persistent(*instance, catalogue_)) {
        keep_running(*instance);
      } else {
        stop_utility_server(instance->server_id);
      }
    } catch (const std::exception&) {  // the next one follows
    }
  }
  write_unwritten();
}

}  // namespace utility_manager
