#include "platform/system.h"
#include "utility_manager/utility_manager.h"

namespace utility_manager {
namespace {

constexpr std::int64_t first_port = 8890;
constexpr std::int64_t last_port = 9999;

}  // namespace

std::set<std::int64_t> UtilityServerManager::port_pool() {
  std::set<std::int64_t> pool;
  for (auto port = first_port; port <= last_port; ++port) pool.insert(pool.end(), port);
  return pool;
}

bool UtilityServerManager::_is_port_available(std::int64_t port) {
  return platform::system().can_bind(port);
}

std::optional<std::int64_t> UtilityServerManager::_get_available_port() const {
  for (auto port = first_port; port <= last_port; ++port) {
    if (!used_ports_.contains(port) && _is_port_available(port)) return port;
  }
  return std::nullopt;
}

}  // namespace utility_manager
