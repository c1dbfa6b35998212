#pragma once

#include <string>
#include <string_view>

namespace utility_manager::values {

/// Appends the base64 form of `bytes` to `text`: standard alphabet, padded, one unbroken line.
void append_base64(std::string& text, std::string_view bytes);

}  // namespace utility_manager::values
