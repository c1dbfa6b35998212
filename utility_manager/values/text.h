#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// Operations on UTF-8 text, equal to those of Python's `str`.
namespace utility_manager::values {

/// Without the white space (Python's 29 code points) at both ends, or at the end only.
/// The result refers into `text`. Ill-formed bytes are no white space.
std::string_view strip(std::string_view text);
inline std::string_view strip_end(std::string_view text);

/// Per code point; ill-formed bytes are carried unchanged. `fold_case` is full case folding and
/// equals `str.casefold` on every code point.
std::string upper_case(std::string_view text);
std::string lower_case(std::string_view text);
std::string fold_case(std::string_view text);

/// True when `text` is well-formed UTF-8 (no surrogates, no overlong forms, at most U+10FFFF).
bool is_well_formed(std::string_view text);

/// Appends `bytes` to `text` without what `bytes.decode("utf-8", "ignore")` drops.
void append_decodable(std::string& text, std::string_view bytes);

/// The last `count` code points of well-formed `text`; all of it when it has no more. Refers into
/// `text`.
std::string_view last_code_points(std::string_view text, std::size_t count);

// The rest is for speed: nearly every line ends visibly, and the relay strips millions of them.

std::string_view without_white_end(std::string_view text);

std::string_view strip_end(std::string_view text) {
  const bool ends_visibly = !text.empty() && text.back() > 0x20 && text.back() < 0x7f;
  return ends_visibly ? text : without_white_end(text);
}

}  // namespace utility_manager::values
