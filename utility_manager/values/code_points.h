#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

/// What the text operations of this folder have in common; not meant for use beyond it.
namespace utility_manager::values {

/// A code point as it stands in UTF-8.
struct CodePoint {
  char32_t value = 0;
  std::uint8_t length = 0;  ///< in bytes; 0 where a text begins with no well-formed sequence
};

/// The code point that `text` begins with. `text` isn't empty.
CodePoint first_code_point(std::string_view text);

/// The length in bytes of the longest well-formed start of `text`.
std::size_t well_formed_length(std::string_view text);

/// Appends `code_point`, which is no surrogate, in UTF-8.
void append_code_point(std::string& text, char32_t code_point);

/// Appends a backslash, `kind` and `value` in `digits` lower-case hexadecimal digits: `\u00e9`.
void append_escape(std::string& text, char kind, char32_t value, int digits);

}  // namespace utility_manager::values
