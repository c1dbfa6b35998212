#include "utility_manager/platform/system.h"

#include <atomic>
#include <string>

#include "utility_manager/platform/failures.h"
#include "utility_manager/platform/open_process.windows.h"
#include "utility_manager/platform/process_reference.h"
#include "utility_manager/platform/random_bytes.h"
#include "utility_manager/platform/win32.windows.h"

namespace utility_manager::platform {
namespace {

std::atomic<bool> are_reports_given_up = false;

struct Report {
  HANDLE error = nullptr;
  std::string text;
  bool is_written = false;
};

DWORD WINAPI write_report(void* context) {
  auto& report = *static_cast<Report*>(context);
  const auto size = static_cast<DWORD>(report.text.size());
  DWORD count = 0;
  report.is_written =
      ::WriteFile(report.error, report.text.data(), size, &count, nullptr) && count == size;
  return 0;
}

}  // namespace

void give_up_reports() {
  are_reports_given_up = true;
}

bool System::is_windows() const {
  return true;
}

void System::signal(std::int64_t pid, Signal signal) const {
  if (!is_process_id(pid)) throw NoSuchProcess();
  ProcessReference(pid).send(signal);
}

bool System::can_signal(std::int64_t pid) const {
  const Handle process = open_process(pid, PROCESS_TERMINATE);
  return process && is_pending(process);
}

bool System::report(const std::string& line) const {
  if (are_reports_given_up) return false;
  Report report{.error = ::GetStdHandle(STD_ERROR_HANDLE), .text = line + "\n"};
  // Nobody can ask a pipe whether it is full: a thread finds out, and is called back.
  constexpr DWORD at_once = 100;  // milliseconds
  const Handle writer = owned(::CreateThread(nullptr, 0, write_report, &report, 0, nullptr));
  if (!writer) return false;
  for (DWORD limit = at_once; ::WaitForSingleObject(native(writer), limit) == WAIT_TIMEOUT;
       limit = 1) {
    ::CancelSynchronousIo(native(writer));
  }
  return report.is_written;
}

void fill_with_random_bytes(std::span<std::uint8_t> bytes) {
  const auto size = static_cast<ULONG>(bytes.size());
  if (::BCryptGenRandom(nullptr, bytes.data(), size, BCRYPT_USE_SYSTEM_PREFERRED_RNG) != 0) {
    throw SystemError(ERROR_GEN_FAILURE);
  }
}

}  // namespace utility_manager::platform
