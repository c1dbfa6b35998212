#include "utility_manager/platform/spawn.h"

#include <array>
#include <stdexcept>

#include "utility_manager/platform/failures.h"
#include "utility_manager/platform/joined_arguments.windows.h"
#include "utility_manager/platform/win32.windows.h"

namespace utility_manager::platform {
namespace {

/// Before a quotation mark a backslash stands for itself only when doubled.
void append_quoted(std::wstring& line, const std::wstring& argument) {
  std::size_t backslashes = 0;
  line += L'"';
  for (const wchar_t character : argument) {
    if (character == L'"') line.append(backslashes + 1, L'\\');
    backslashes = character == L'\\' ? backslashes + 1 : 0;
    line += character;
  }
  line.append(backslashes, L'\\').append(L"\"");
}

/// A copy for the child, as long as it isn't started.
Handle inheritable(HANDLE handle) {
  HANDLE copy = nullptr;
  const HANDLE self = ::GetCurrentProcess();
  ::DuplicateHandle(self, handle, self, &copy, 0, TRUE, DUPLICATE_SAME_ACCESS);
  return owned(copy);
}

Handle inheritable(const Handle& handle) {
  Handle copy = inheritable(native(handle));
  if (!copy) throw SystemError(last_error());
  return copy;
}

/// What the client reads from; without that, or where it has gone, nothing.
Handle standard_input() {
  const HANDLE input = ::GetStdHandle(STD_INPUT_HANDLE);
  Handle copy = input ? inheritable(input) : Handle();
  if (copy) return copy;
  SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
  return owned(::CreateFileW(L"NUL", GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, &inherited,
                             OPEN_EXISTING, 0, nullptr));
}

/// Keeps every other handle of the client, inheritable or not, from the child.
class InheritedHandles {
 public:
  explicit InheritedHandles(std::vector<HANDLE> handles) : handles_(std::move(handles)) {
    SIZE_T size = 0;
    ::InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
    memory_.resize(size);
    if (!::InitializeProcThreadAttributeList(list(), 1, 0, &size) ||
        !::UpdateProcThreadAttribute(list(), 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, handles_.data(),
                                     handles_.size() * sizeof(HANDLE), nullptr, nullptr)) {
      throw SystemError(last_error());
    }
  }
  InheritedHandles(const InheritedHandles&) = delete;
  InheritedHandles& operator=(const InheritedHandles&) = delete;
  ~InheritedHandles() { ::DeleteProcThreadAttributeList(list()); }

  LPPROC_THREAD_ATTRIBUTE_LIST list() {
    return reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(memory_.data());
  }

 private:
  std::vector<HANDLE> handles_;
  std::vector<char> memory_;
};

}  // namespace

std::wstring joined_arguments(const std::vector<std::string>& arguments) {
  if (arguments.empty()) throw std::invalid_argument("no program to start");
  std::wstring line;
  for (const std::string& argument : arguments) {
    if (argument.find('\0') != argument.npos) {
      throw std::invalid_argument("embedded null character");
    }
    const std::wstring text = wide(argument);
    if (line.empty()) {
      // The program's own name knows no backslashes: it is read up to the next quotation mark.
      if (text.find(L'"') != text.npos) throw SystemError(ERROR_INVALID_NAME);
      line = L'"' + text + L'"';
    } else {
      line += L' ';
      const bool is_plain = !text.empty() && text.find_first_of(L" \t\n\v\"") == text.npos;
      is_plain ? void(line += text) : append_quoted(line, text);
    }
  }
  return line;
}

Handle null_output() {
  constexpr DWORD share = FILE_SHARE_READ | FILE_SHARE_WRITE;
  Handle output =
      owned(::CreateFileW(L"NUL", GENERIC_WRITE, share, nullptr, OPEN_EXISTING, 0, nullptr));
  if (!output) throw SystemError(last_error());
  return output;
}

ProcessReference start_program(const std::vector<std::string>& arguments, const Handle& output,
                               const Handle& error, std::uint32_t flags) {
  std::wstring line = joined_arguments(arguments);
  const Handle input = standard_input();
  const Handle child_output = inheritable(output);
  const Handle child_error = inheritable(error);
  InheritedHandles inherited({native(input), native(child_output), native(child_error)});
  STARTUPINFOEXW start{};
  start.StartupInfo.cb = sizeof start;
  start.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
  start.StartupInfo.hStdInput = native(input);
  start.StartupInfo.hStdOutput = native(child_output);
  start.StartupInfo.hStdError = native(child_error);
  start.lpAttributeList = inherited.list();
  PROCESS_INFORMATION started{};
  if (!::CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE,
                        flags | EXTENDED_STARTUPINFO_PRESENT, nullptr, nullptr, &start.StartupInfo,
                        &started)) {
    throw SystemError(last_error());
  }
  ::CloseHandle(started.hThread);
  return {started.dwProcessId, owned(started.hProcess)};
}

}  // namespace utility_manager::platform
