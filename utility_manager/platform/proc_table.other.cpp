#include "utility_manager/platform/proc_table.h"

#include <cerrno>

#include <unistd.h>

#include "utility_manager/platform/failures.h"

namespace utility_manager::platform {

bool has_process_table() {
  return false;
}

std::vector<ProcessRow> process_rows() {
  throw SystemError(ENOTSUP);
}

std::optional<ProcessRow> row_of(std::int64_t pid) {
  if (pid != ::getpid()) return std::nullopt;
  return ProcessRow{.pid = pid, .parent = ::getppid()};
}

std::optional<std::uint64_t> start_ticks(std::int64_t) {
  return std::nullopt;
}

bool is_current(const ProcessRow&) {
  return true;
}

std::optional<ProcessIdentity> process_identity(std::int64_t) {
  return std::nullopt;
}

}  // namespace utility_manager::platform
