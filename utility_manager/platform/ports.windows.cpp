#include "utility_manager/platform/failures.h"
#include "utility_manager/platform/system.h"
#include "utility_manager/platform/win32.windows.h"

namespace utility_manager::platform {
namespace {

/// For the life of the process.
void start_sockets() {
  static const int failure = [] {
    WSADATA data;
    return ::WSAStartup(MAKEWORD(2, 2), &data);
  }();
  if (failure != 0) throw SystemError(failure);
}

class Socket {
 public:
  Socket() {
    start_sockets();
    socket_ =
        ::WSASocketW(AF_INET, SOCK_STREAM, IPPROTO_TCP, nullptr, 0, WSA_FLAG_NO_HANDLE_INHERIT);
    if (socket_ == INVALID_SOCKET) throw SystemError(::WSAGetLastError());
    // Without it a port that another program holds on all addresses looks free.
    const DWORD yes = 1;
    ::setsockopt(socket_, SOL_SOCKET, SO_EXCLUSIVEADDRUSE, reinterpret_cast<const char*>(&yes),
                 sizeof yes);
  }
  Socket(const Socket&) = delete;
  Socket& operator=(const Socket&) = delete;
  ~Socket() { ::closesocket(socket_); }

  /// Leaves the socket as it was when it can't be bound.
  bool bind_to(std::int64_t port) {
    if (port < 0 || port > 65535) return false;
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = ::htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = ::htonl(INADDR_LOOPBACK);
    return ::bind(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  }

 private:
  SOCKET socket_;
};

}  // namespace

bool System::can_bind(std::int64_t port) const {
  return Socket().bind_to(port);
}

std::optional<std::int64_t> System::first_bindable(std::int64_t first, std::int64_t last,
                                                   const std::set<std::int64_t>& except) const {
  std::optional<Socket> socket;  // one for all ports
  for (auto port = first; port <= last; ++port) {
    if (except.contains(port)) continue;
    if (!socket) socket.emplace();
    if (socket->bind_to(port)) return port;
  }
  return std::nullopt;
}

}  // namespace utility_manager::platform
