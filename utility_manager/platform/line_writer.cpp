#include "utility_manager/platform/line_writer.h"

#include <mutex>

#include "utility_manager/platform/standard_output.h"

namespace utility_manager::platform {
namespace {

struct Output {
  std::mutex mutex;
  bool given_up = false;
  bool within_line = false;  ///< a write has failed in the middle of a line
};

Output& output() {
  static Output* const output = new Output;  // readers outlive static destruction
  return *output;
}

/// As many whole lines as are written whole, at least one.
std::string_view first_piece(std::string_view lines) {
  if (lines.size() <= longest_whole_write) return lines;
  std::size_t end = lines.rfind('\n', longest_whole_write - 1);
  if (end == lines.npos) end = lines.find('\n');
  return lines.substr(0, end == lines.npos ? end : end + 1);
}

bool write_whole(std::string_view piece, bool& within_line) {
  while (!piece.empty()) {
    const std::size_t count = write_output(piece);
    if (count == 0) return false;
    within_line = piece[count - 1] != '\n';
    piece.remove_prefix(count);
  }
  return true;
}

}  // namespace

bool write_lines(std::string_view lines) {
  Output& out = output();
  const std::lock_guard guard(out.mutex);
  if (out.given_up) return false;
  if (out.within_line && !write_whole("\n", out.within_line)) return false;
  while (!lines.empty()) {
    const std::string_view piece = first_piece(lines);
    if (!write_whole(piece, out.within_line)) return false;
    lines.remove_prefix(piece.size());
  }
  return true;
}

void give_up_output() {
  const std::lock_guard guard(output().mutex);
  output().given_up = true;
}

}  // namespace utility_manager::platform
