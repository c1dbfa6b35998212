#include "utility_manager/platform/proc_table.h"

#include <memory>
#include <string>

#include "utility_manager/platform/failures.h"
#include "utility_manager/platform/open_process.windows.h"
#include "utility_manager/platform/win32.windows.h"

namespace utility_manager::platform {
namespace {

/// Ticks of 100 ns since 1601; 0 where they can't be had.
std::uint64_t start_ticks_of(const Handle& process) {
  FILETIME start{};
  FILETIME other{};
  if (!process || !::GetProcessTimes(native(process), &start, &other, &other, &other)) return 0;
  return std::uint64_t{start.dwHighDateTime} << 32 | start.dwLowDateTime;
}

double epoch_time(std::uint64_t ticks) {
  constexpr double seconds_before = 11'644'473'600;
  return static_cast<double>(ticks) / 1e7 - seconds_before;
}

std::optional<PROCESS_BASIC_INFORMATION> basics_of(const Handle& process) {
  PROCESS_BASIC_INFORMATION basics{};
  const auto outcome = ::NtQueryInformationProcess(native(process), ProcessBasicInformation,
                                                   &basics, sizeof basics, nullptr);
  return outcome == 0 ? std::optional(basics) : std::nullopt;
}

/// Reads what stands at `place` in another process.
bool read_memory(const Handle& process, const void* place, void* value, std::size_t size) {
  SIZE_T count = 0;
  return ::ReadProcessMemory(native(process), place, value, size, &count) && count == size;
}

std::vector<std::string> split_arguments(const std::wstring& line) {
  std::vector<std::string> arguments;
  if (line.empty()) return arguments;  // it would stand for the client's own program
  int count = 0;
  const std::unique_ptr<wchar_t*, decltype(&::LocalFree)> list(
      ::CommandLineToArgvW(line.c_str(), &count), &::LocalFree);
  for (int i = 0; list && i < count; ++i) arguments.push_back(narrow(list.get()[i]));
  return arguments;
}

/// Every process keeps it in its own memory.
std::vector<std::string> command_line_of(const Handle& process) {
  const auto basics = process ? basics_of(process) : std::nullopt;
  PEB block{};
  RTL_USER_PROCESS_PARAMETERS parameters{};
  if (!basics || !read_memory(process, basics->PebBaseAddress, &block, sizeof block) ||
      !read_memory(process, block.ProcessParameters, &parameters, sizeof parameters)) {
    return {};
  }
  const UNICODE_STRING& text = parameters.CommandLine;
  std::wstring line(text.Length / sizeof(wchar_t), L'\0');
  if (!read_memory(process, text.Buffer, line.data(), text.Length)) return {};
  return split_arguments(line);
}

}  // namespace

bool has_process_table() {
  return true;
}

std::vector<ProcessRow> process_rows() {
  Handle table;
  // The system may fail to copy its table while that changes.
  for (int attempts = 10; attempts > 0 && !table; --attempts) {
    table = owned(::CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
  }
  if (!table) throw SystemError(last_error());
  std::vector<ProcessRow> rows;
  PROCESSENTRY32W entry{};
  entry.dwSize = sizeof entry;
  for (auto more = ::Process32FirstW(native(table), &entry); more;
       more = ::Process32NextW(native(table), &entry)) {
    const Handle process = open_process(entry.th32ProcessID);
    rows.push_back({.pid = entry.th32ProcessID,
                    .parent = entry.th32ParentProcessID,
                    .start_ticks = start_ticks_of(process),
                    .has_ended = process && !is_pending(process)});
  }
  return rows;
}

std::optional<ProcessRow> row_of(std::int64_t pid) {
  const Handle process = open_process(pid);
  const auto basics = process ? basics_of(process) : std::nullopt;
  if (!basics) return std::nullopt;
  return ProcessRow{.pid = pid,
                    .parent = static_cast<std::int64_t>(basics->InheritedFromUniqueProcessId),
                    .start_ticks = start_ticks_of(process),
                    .has_ended = !is_pending(process)};
}

std::optional<std::uint64_t> start_ticks(std::int64_t pid) {
  const auto ticks = start_ticks_of(open_process(pid));
  return ticks ? std::optional(ticks) : std::nullopt;
}

bool is_current(const ProcessRow& row) {
  return start_ticks(row.pid).value_or(row.start_ticks) == row.start_ticks;
}

std::optional<ProcessIdentity> process_identity(std::int64_t pid) {
  const Handle process = open_process(pid);
  if (!process || !is_pending(process)) return std::nullopt;
  // While the first handle is open the id has no other owner.
  return ProcessIdentity{.start_time = epoch_time(start_ticks_of(process)),
                         .command_line = command_line_of(open_process(pid, PROCESS_VM_READ))};
}

}  // namespace utility_manager::platform
