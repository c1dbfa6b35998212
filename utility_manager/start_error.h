#pragma once

#include <deque>
#include <string>
#include <string_view>

namespace utility_manager {

/// Turns what a dead child wrote to its standard error into one readable message.
class StartErrorDigest {
 public:
  void add(std::string_view line);

  /// The last line that names an error, else the last lines, else `base_msg`.
  std::string text(const std::string& base_msg) const;

 private:
  std::string telling_;  ///< empty for none
  std::deque<std::string> tail_;
};

}  // namespace utility_manager
