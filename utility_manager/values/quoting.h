#pragma once

#include <string>
#include <string_view>

namespace utility_manager::values {

/// What Python's `repr` gives for a text. An ill-formed byte counts as the low surrogate that
/// stands for it in a path: `\udcff`.
std::string quoted(std::string_view text);

/// Appends the same to `result`.
void append_quoted(std::string& result, std::string_view text);

}  // namespace utility_manager::values
