#include "utility_manager/supervision/monitor_thread.h"

#include <chrono>
#include <thread>
#include <utility>

#include "utility_manager/host/failures.h"

namespace utility_manager {

std::shared_ptr<MonitorThread> MonitorThread::start(std::function<void()> body) {
  auto monitor = std::make_shared<MonitorThread>();
  std::thread([monitor, body = std::move(body)]() mutable {
    try {
      std::exchange(body, nullptr)();
    } catch (const host::HostGone&) {
    } catch (const host::HostInterrupt&) {
    }
    monitor->finish();
  }).detach();
  return monitor;
}

bool MonitorThread::is_alive() const {
  const std::lock_guard held(mutex_);
  return alive_;
}

void MonitorThread::join(double seconds) const {
  std::unique_lock held(mutex_);
  ended_.wait_for(held, std::chrono::duration<double>(seconds), [this] { return !alive_; });
}

void MonitorThread::finish() {
  const std::lock_guard held(mutex_);
  alive_ = false;
  ended_.notify_all();
}

}  // namespace utility_manager
