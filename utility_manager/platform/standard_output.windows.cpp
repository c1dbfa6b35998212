#include "utility_manager/platform/standard_output.h"

#include <algorithm>
#include <chrono>

#include "utility_manager/platform/deadline.h"
#include "utility_manager/platform/line_writer.h"
#include "utility_manager/platform/win32.windows.h"
#include "utility_manager/values/code_points.h"

namespace utility_manager::platform {
namespace {

/// A console takes characters, and bytes only in a character set of its own.
std::size_t write_to_console(HANDLE console, std::string_view bytes) {
  constexpr std::size_t most = 8 * 1024;
  const auto whole = values::well_formed_length(bytes.substr(0, most));
  const auto part = bytes.substr(0, whole ? whole : 1);
  const std::wstring text = wide(part);
  DWORD count = 0;
  for (std::size_t written = 0; written < text.size(); written += count) {
    const auto left = static_cast<DWORD>(text.size() - written);
    if (!::WriteConsoleW(console, text.data() + written, left, &count, nullptr)) return 0;
  }
  return part.size();
}

}  // namespace

const std::size_t longest_whole_write = 64 * 1024;

// Not by the C runtime: a client may have another one, with descriptors of its own.
std::size_t write_output(std::string_view bytes) {
  const HANDLE output = ::GetStdHandle(STD_OUTPUT_HANDLE);
  DWORD mode = 0;
  if (::GetConsoleMode(output, &mode)) return write_to_console(output, bytes);
  constexpr std::size_t most = 1 << 30;
  const auto wanted = static_cast<DWORD>(std::min(bytes.size(), most));
  DWORD count = 0;
  while (::WriteFile(output, bytes.data(), wanted, &count, nullptr)) {
    if (count > 0) return count;
    Deadline(std::nullopt).pause(std::chrono::milliseconds(1));  // a pipe that doesn't wait is full
  }
  return 0;
}

void block_write_signals() {}  // there are none

}  // namespace utility_manager::platform
