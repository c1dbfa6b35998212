#include "utility_manager/start_error.h"

#include <algorithm>
#include <array>

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

}  // namespace

void StartErrorDigest::add(std::string_view line) {
  line = values::strip(line);
  if (line.empty()) return;
  if (names_an_error(line)) telling_ = line;
  tail_.emplace_back(line);
  if (tail_.size() > limits::digest_tail_lines) tail_.pop_front();
}

std::string StartErrorDigest::text(const std::string& base_msg) const {
  const std::string headline = "Utility 启动失败:";
  if (tail_.empty()) return headline + " " + base_msg;
  if (!telling_.empty()) return headline + " " + telling_;
  std::string tail;
  for (const auto& line : tail_) tail += (tail.empty() ? "" : "\n") + line;
  return headline + "\n" +
         std::string(values::last_code_points(tail, limits::digest_tail_characters));
}

}  // namespace utility_manager
