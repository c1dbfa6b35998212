#include "cli/console.h"

#include <cstdlib>
#include <memory>

#include "utility_manager/platform/win32.windows.h"

namespace utility_manager::cli {
namespace {

bool is_console(DWORD stream) {
  DWORD mode = 0;
  return ::GetConsoleMode(::GetStdHandle(stream), &mode) != 0;
}

/// The console outlives the program, and has one character set.
void write_utf8() {
  static const UINT before = ::GetConsoleOutputCP();
  if (before == 0) return;  // there is no console
  ::SetConsoleOutputCP(CP_UTF8);
  std::atexit([] { ::SetConsoleOutputCP(before); });
}

}  // namespace

std::vector<std::string> words_of_command_line(int, char**) {
  write_utf8();
  int count = 0;
  const std::unique_ptr<wchar_t*, decltype(&::LocalFree)> words(
      ::CommandLineToArgvW(::GetCommandLineW(), &count), &::LocalFree);
  std::vector<std::string> result;
  for (int i = 1; i < count; ++i) result.push_back(platform::narrow(words.get()[i]));
  return result;
}

std::optional<std::string> environment_variable(const char* name) {
  const std::wstring wide_name = platform::wide(name);
  std::wstring value(::GetEnvironmentVariableW(wide_name.c_str(), nullptr, 0), L'\0');
  const auto size = static_cast<DWORD>(value.size());
  value.resize(::GetEnvironmentVariableW(wide_name.c_str(), value.data(), size));
  return value.empty() ? std::nullopt : std::optional(platform::narrow(value));
}

bool is_input_interactive() {
  return is_console(STD_INPUT_HANDLE);
}

bool is_output_interactive() {
  return is_console(STD_OUTPUT_HANDLE);
}

bool knows_colours() {
  const HANDLE output = ::GetStdHandle(STD_OUTPUT_HANDLE);
  DWORD mode = 0;
  return ::GetConsoleMode(output, &mode) &&
         ::SetConsoleMode(output, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING);
}

}  // namespace utility_manager::cli
