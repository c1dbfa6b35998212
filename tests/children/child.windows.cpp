#include "tests/children/child.h"

#include <array>
#include <cstdlib>

#include <fcntl.h>
#include <io.h>
#include <process.h>

#include "utility_manager/platform/win32.windows.h"

namespace child {
namespace {

sockaddr_in address_of(int port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<u_short>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

SOCKET number(std::intptr_t socket) {
  return static_cast<SOCKET>(socket);
}

/// As the C runtime takes it apart again.
std::string quoted(const std::string& word) {
  std::string text = "\"";
  std::size_t backslashes = 0;
  for (const char letter : word) {
    if (letter == '"') text.append(backslashes + 1, '\\');
    backslashes = letter == '\\' ? backslashes + 1 : 0;
    text += letter;
  }
  return text.append(backslashes, '\\') + "\"";
}

}  // namespace

std::vector<std::string> prepare(int, char**) {
  ::_setmode(1, _O_BINARY);
  ::_setmode(2, _O_BINARY);
  WSADATA data;
  ::WSAStartup(MAKEWORD(2, 2), &data);
  int count = 0;
  wchar_t** const wide = ::CommandLineToArgvW(::GetCommandLineW(), &count);
  std::vector<std::string> words;
  for (int i = 0; i < count; ++i) {
    const int size = ::WideCharToMultiByte(CP_UTF8, 0, wide[i], -1, nullptr, 0, nullptr, nullptr);
    std::string word(static_cast<std::size_t>(size), ' ');
    ::WideCharToMultiByte(CP_UTF8, 0, wide[i], -1, word.data(), size, nullptr, nullptr);
    word.pop_back();
    words.push_back(word);
  }
  return words;
}

std::int64_t own_id() {
  return ::GetCurrentProcessId();
}

std::intptr_t start(const std::vector<std::string>& arguments) {
  std::vector<std::string> texts;
  std::vector<const char*> words;
  for (const auto& argument : arguments) texts.push_back(quoted(argument));
  for (const auto& text : texts) words.push_back(text.c_str());
  words.push_back(nullptr);
  return ::_spawnv(_P_NOWAIT, arguments[0].c_str(), words.data());
}

void collect(std::intptr_t started) {
  ::_cwait(nullptr, started, 0);
}

void wait_for_end_of(std::int64_t parent_id) {
  const HANDLE parent = ::OpenProcess(SYNCHRONIZE, FALSE, static_cast<DWORD>(parent_id));
  ::WaitForSingleObject(parent, INFINITE);
}

void end(bool) {
  ::TerminateProcess(::GetCurrentProcess(), 1);
}

void ignore_requests_to_end() {}  // there are none

std::intptr_t bound_socket(int port, bool shares_address) {
  const auto socket = ::socket(AF_INET, SOCK_STREAM, 0);
  const char yes[sizeof(int)] = {1};
  if (shares_address) ::setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, yes, sizeof yes);
  const auto address = address_of(port);
  if (::bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
    std::abort();
  return static_cast<std::intptr_t>(socket);
}

int port_of(std::intptr_t socket) {
  sockaddr_in address{};
  int size = sizeof address;
  ::getsockname(number(socket), reinterpret_cast<sockaddr*>(&address), &size);
  return ntohs(address.sin_port);
}

std::intptr_t next_client(std::intptr_t server) {
  ::listen(number(server), 8);
  return static_cast<std::intptr_t>(::accept(number(server), nullptr, nullptr));
}

std::intptr_t connection_to(int port) {
  const auto address = address_of(port);
  for (;;) {
    const auto socket = ::socket(AF_INET, SOCK_STREAM, 0);
    if (::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) {
      return static_cast<std::intptr_t>(socket);
    }
    ::closesocket(socket);
    ::Sleep(10);  // it doesn't listen yet
  }
}

std::string receive_some(std::intptr_t socket) {
  std::array<char, 4096> bytes;
  const int count = ::recv(number(socket), bytes.data(), static_cast<int>(bytes.size()), 0);
  return {bytes.data(), count > 0 ? static_cast<std::size_t>(count) : 0};
}

void send_and_close(std::intptr_t socket, const std::string& text) {
  ::send(number(socket), text.data(), static_cast<int>(text.size()), 0);
  ::shutdown(number(socket), SD_SEND);
}

}  // namespace child
