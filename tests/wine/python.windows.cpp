// Python of the system that Wine runs on, for tests that compare with it: python SCRIPT. Wine
// starts such a program but gives it no pipes and no end to wait for, so that files stand in for
// both.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <thread>

#include <fcntl.h>
#include <io.h>

#include "utility_manager/platform/win32.windows.h"

namespace {

/// The name that the other system has for a file.
std::string unix_name(const std::filesystem::path& path) {
  using Function = char*(CDECL*)(const wchar_t*);
  const auto function = reinterpret_cast<Function>(reinterpret_cast<void*>(
      ::GetProcAddress(::GetModuleHandleW(L"kernel32"), "wine_get_unix_file_name")));
  return function ? function(path.c_str()) : "";
}

void start_shell(const std::wstring& script) {
  std::wstring line = L"/bin/sh " + script;
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION process{};
  ::CreateProcessW(L"Z:\\bin\\sh", line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                   &startup, &process);
}

}  // namespace

int main(int count, char** words) {
  if (count != 2) return 2;
  const std::filesystem::path script = words[1];
  const auto output = script.parent_path() / "output";
  const auto code = script.parent_path() / "code";
  const auto shell_script = script.parent_path() / "run.sh";
  const auto folder = unix_name(script.parent_path());
  std::ofstream(shell_script, std::ios::binary)
      << "cd '" << folder << "' && /usr/bin/python3 script.py >output 2>&1\n"
      << "echo $? >code.new && mv code.new code\n";
  const auto name = unix_name(shell_script);
  start_shell({name.begin(), name.end()});
  while (!std::filesystem::exists(code)) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  ::_setmode(1, _O_BINARY);
  std::cout << std::ifstream(output, std::ios::binary).rdbuf() << std::flush;
  int result = 2;
  std::ifstream(code) >> result;
  return result;
}
