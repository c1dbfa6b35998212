#include "utility_manager/port_pool.h"

#include "utility_manager/limits.h"
#include "utility_manager/platform/system.h"

namespace utility_manager {

PortPool::Ports PortPool::all() {
  Ports pool;
  for (auto port = limits::first_port; port <= limits::last_port; ++port) {
    pool.insert(pool.end(), port);
  }
  return pool;
}

std::optional<std::int64_t> PortPool::available(std::span<const std::int64_t> taken) const {
  auto except = *used();
  except.insert(taken.begin(), taken.end());
  return platform::system().first_bindable(limits::first_port, limits::last_port, except);
}

void PortPool::use(std::int64_t port, Lock& /*lock*/) {
  used_.change([port](Ports& ports) { ports.insert(port); });
}

void PortPool::release(std::int64_t port, Lock& /*lock*/) {
  if (used()->contains(port)) used_.change([port](Ports& ports) { ports.erase(port); });
}

}  // namespace utility_manager
