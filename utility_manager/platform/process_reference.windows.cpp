#include "utility_manager/platform/process_reference.h"

#include <algorithm>
#include <limits>

#include "utility_manager/platform/failures.h"
#include "utility_manager/platform/open_process.windows.h"
#include "utility_manager/platform/win32.windows.h"

namespace utility_manager::platform {

Handle open_process(std::int64_t pid, std::uint32_t rights) {
  if (!is_process_id(pid)) return {};
  const auto id = static_cast<DWORD>(pid);
  const DWORD wanted = rights | SYNCHRONIZE | PROCESS_QUERY_LIMITED_INFORMATION;
  Handle process = owned(::OpenProcess(wanted, FALSE, id));
  // Of the ids beside its own the system takes some for the process's, too.
  return process && ::GetProcessId(native(process)) == id ? std::move(process) : Handle();
}

std::int64_t own_process_id() {
  return ::GetCurrentProcessId();
}

bool is_process_id(std::int64_t pid) {
  return pid >= 1 && pid <= std::numeric_limits<DWORD>::max();
}

bool process_exists(std::int64_t pid) {
  const Handle process = open_process(pid);
  if (process) return is_pending(process);
  if (!is_process_id(pid) || last_error() != ERROR_ACCESS_DENIED) return false;
  return std::ranges::any_of(process_rows(), [&](const auto& row) { return row.pid == pid; });
}

ProcessReference::ProcessReference(std::int64_t pid)
    : pid_(pid), handle_(open_process(pid, PROCESS_TERMINATE)) {
  if (!handle_) handle_ = open_process(pid);  // one that may not be ended
}

bool ProcessReference::exists() const {
  return handle_ ? is_pending(handle_) : process_exists(pid_);
}

void ProcessReference::send(Signal) const {
  constexpr UINT exit_code = 1;  // as Python's library does
  if (!exists()) throw NoSuchProcess();
  if (handle_ && ::TerminateProcess(native(handle_), exit_code)) return;
  if (!exists()) throw NoSuchProcess();
  throw AccessDenied();
}

ChildStatus ProcessReference::collect() const {
  DWORD code = 0;
  if (!handle_) return {.state = ChildState::not_our_child};
  if (is_pending(handle_)) return {.state = ChildState::running};
  ::GetExitCodeProcess(native(handle_), &code);
  return {.state = ChildState::ended, .exit_code = code};
}

bool ProcessReference::wait_for_end(const Deadline& deadline) const {
  const auto limit = static_cast<DWORD>(deadline.milliseconds_left());
  return handle_ && ::WaitForSingleObject(native(handle_), limit) == WAIT_OBJECT_0;
}

std::vector<bool> may_have_ended(std::span<const ProcessReference* const> references) {
  std::vector<bool> result;
  result.reserve(references.size());
  for (const auto* const reference : references) {
    const bool runs = reference && reference->handle_ && is_pending(reference->handle_);
    result.push_back(!runs);
  }
  return result;
}

std::optional<ProcessReference> refer_to(const ProcessRow& row) {
  ProcessReference reference(row.pid);
  // While it holds a handle the id has no other owner.
  if (!is_current(row) || !reference.exists()) return std::nullopt;
  return reference;
}

}  // namespace utility_manager::platform
