#include <cerrno>

#include <netinet/in.h>
#include <sys/socket.h>

#include "utility_manager/platform/descriptor.posix.h"
#include "utility_manager/platform/failures.h"
#include "utility_manager/platform/system.h"
#include "utility_manager/platform/unshared.posix.h"

namespace utility_manager::platform {
namespace {

Handle new_socket() {
  Handle socket = open_socket(AF_INET, SOCK_STREAM);
  if (!socket) throw SystemError(errno);
  return socket;
}

/// Leaves the socket as it was when it can't be bound.
bool bind_to(const Handle& socket, std::int64_t port) {
  if (port < 0 || port > 65535) return false;
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return ::bind(descriptor(socket), reinterpret_cast<const sockaddr*>(&address), sizeof address) ==
         0;
}

}  // namespace

bool System::can_bind(std::int64_t port) const {
  return bind_to(new_socket(), port);
}

std::optional<std::int64_t> System::first_bindable(std::int64_t first, std::int64_t last,
                                                   const std::set<std::int64_t>& except) const {
  Handle socket;  // one for all ports
  for (auto port = first; port <= last; ++port) {
    if (except.contains(port)) continue;
    if (!socket) socket = new_socket();
    if (bind_to(socket, port)) return port;
  }
  return std::nullopt;
}

}  // namespace utility_manager::platform
