#include "utility_manager/start_error.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "utility_manager/limits.h"
#include "utility_manager/values/text.h"

namespace utility_manager {
namespace {

constexpr std::array<std::string_view, 6> preferred_keys = {
    "ModuleNotFoundError", "ImportError", "ValueError", "缺少依赖", "缺少", "Error"};

bool names_an_error(std::string_view line) {
  return std::any_of(preferred_keys.begin(), preferred_keys.end(),
                     [&](auto key) { return line.find(key) != line.npos; });
}

std::vector<std::string_view> non_blank(const std::vector<std::string>& lines) {
  std::vector<std::string_view> result;
  for (const auto& line : lines) {
    const auto stripped = values::strip(line);
    if (!stripped.empty()) result.push_back(stripped);
  }
  return result;
}

std::string tail_of(const std::vector<std::string_view>& lines) {
  const auto count = std::min(lines.size(), limits::digest_tail_lines);
  std::string tail;
  for (auto line = lines.end() - static_cast<std::ptrdiff_t>(count); line != lines.end(); ++line) {
    if (!tail.empty()) tail += '\n';
    tail += *line;
  }
  return std::string(values::last_code_points(tail, limits::digest_tail_characters));
}

}  // namespace

std::string start_error_digest(const std::string& base_msg,
                               const std::vector<std::string>& stderr_lines) {
  const std::string headline = "Utility 启动失败:";
  const auto lines = non_blank(stderr_lines);
  if (lines.empty()) return headline + " " + base_msg;
  const auto telling = std::find_if(lines.rbegin(), lines.rend(), names_an_error);
  if (telling != lines.rend()) return headline + " " + std::string(*telling);
  return headline + "\n" + tail_of(lines);
}

}  // namespace utility_manager
