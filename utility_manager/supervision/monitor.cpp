#include "utility_manager/platform/system.h"
#include "utility_manager/supervision/instance.h"
#include "utility_manager/supervision/monitor_thread.h"
#include "utility_manager/utility_manager.h"

namespace utility_manager {

void UtilityServerManager::_start_monitoring() {
  const std::lock_guard held(monitor_mutex_);
  if (monitor_thread_ && monitor_thread_->is_alive()) return;
  running_ = true;
  try {
    monitor_thread_ = MonitorThread::start([self = shared_from_this()] { self->_monitor_loop(); });
  } catch (const std::exception&) {
    running_ = false;  // so that the next start tries again
    throw;
  }
}

void UtilityServerManager::_monitor_loop() {
  for (;;) {
    const auto calls = monitor_wakeup_->count();
    if (!running_) return;
    try {
      remove_dead_servers();
      write_unwritten();
    } catch (const std::exception&) {  // no memory, as a rule; the next pass follows
    }
    platform::system().sleep_until_called(limits::monitor_interval, *monitor_wakeup_, calls);
  }
}

void UtilityServerManager::remove_dead_servers() {
  for (const auto instances = servers_now(); const auto& listed : *instances) {
    try {
      const auto instance = server(listed->server_id);
      if (instance && Instance(*instance).is_dead()) _handle_server_died(instance->server_id);
    } catch (const std::exception&) {  // looked at again in the next pass
    }
  }
}

void UtilityServerManager::_handle_server_died(const std::string& server_id) {
  const LockHeld held(lock);
  try {
    forget_server(server_id);
  } catch (const std::exception&) {  // tried again in the next pass
  }
}

}  // namespace utility_manager
