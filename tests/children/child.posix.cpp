#include "tests/children/child.h"

#include <array>
#include <csignal>
#include <cstdlib>

#include <arpa/inet.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace child {
namespace {

sockaddr_in address_of(int port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<in_port_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

int number(std::intptr_t socket) {
  return static_cast<int>(socket);
}

}  // namespace

std::vector<std::string> prepare(int count, char** words) {
  return {words, words + count};
}

std::int64_t own_id() {
  return ::getpid();
}

std::intptr_t start(const std::vector<std::string>& arguments) {
  std::vector<char*> words;
  for (const auto& argument : arguments) words.push_back(const_cast<char*>(argument.c_str()));
  words.push_back(nullptr);
  pid_t pid = 0;
  if (::posix_spawn(&pid, words[0], nullptr, nullptr, words.data(), environ) != 0) std::abort();
  return pid;
}

void collect(std::intptr_t started) {
  ::waitpid(static_cast<pid_t>(started), nullptr, 0);
}

void wait_for_end_of(std::int64_t parent_id) {
  while (::getppid() == parent_id) ::usleep(1000);
}

void end(bool at_once) {
  ::kill(::getpid(), at_once ? SIGKILL : SIGTERM);
}

void ignore_requests_to_end() {
  std::signal(SIGTERM, SIG_IGN);
}

std::intptr_t bound_socket(int port, bool shares_address) {
  const int socket = ::socket(AF_INET, SOCK_STREAM, 0);
  const int yes = 1;
  if (shares_address) ::setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
  const auto address = address_of(port);
  if (::bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
    std::abort();
  return socket;
}

int port_of(std::intptr_t socket) {
  sockaddr_in address{};
  socklen_t size = sizeof address;
  ::getsockname(number(socket), reinterpret_cast<sockaddr*>(&address), &size);
  return ntohs(address.sin_port);
}

std::intptr_t next_client(std::intptr_t server) {
  ::listen(number(server), 8);
  return ::accept(number(server), nullptr, nullptr);
}

std::intptr_t connection_to(int port) {
  const auto address = address_of(port);
  for (;;) {
    const int socket = ::socket(AF_INET, SOCK_STREAM, 0);
    if (::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) {
      return socket;
    }
    ::close(socket);
    ::usleep(10'000);  // it doesn't listen yet
  }
}

std::string receive_some(std::intptr_t socket) {
  std::array<char, 4096> bytes;
  const auto count = ::recv(number(socket), bytes.data(), bytes.size(), 0);
  return {bytes.data(), count > 0 ? static_cast<std::size_t>(count) : 0};
}

void send_and_close(std::intptr_t socket, const std::string& text) {
  ::send(number(socket), text.data(), text.size(), 0);
  ::shutdown(number(socket), SHUT_WR);
}

}  // namespace child
