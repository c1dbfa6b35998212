#include "platform/port_test.h"

#include <cerrno>

#include <netinet/in.h>
#include <sys/socket.h>

#include "platform/descriptor.h"
#include "platform/failures.h"

namespace platform {

bool can_bind(std::int64_t port) {
  const Descriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (!socket) throw SystemError(errno);
  if (port < 0 || port > 65535) return false;
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return ::bind(socket.number(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

}  // namespace platform
