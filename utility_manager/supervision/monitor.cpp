#include "platform/system.h"
#include "utility_manager/supervision/instance_liveness.h"
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
  while (running_) {
    monitor_pass();
    platform::system().sleep(timings::monitor_interval);
  }
}

void UtilityServerManager::monitor_pass() {
  try {
    for (const auto& listed : servers()) {
      try {
        const auto record = server(listed->server_id);
        if (record && instance_is_dead(*record)) _handle_server_died(record->server_id);
      } catch (const std::exception&) {  // looked at again in the next pass
      }
    }
  } catch (const std::exception&) {
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
