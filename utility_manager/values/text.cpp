#include "utility_manager/values/text.h"

#include <array>

#include <utf8proc.h>

#include "utility_manager/values/code_points.h"

namespace utility_manager::values {
namespace {

bool is_white_space(char32_t c) {
  return (c >= 0x09 && c <= 0x0d) || (c >= 0x1c && c <= 0x20) || c == 0x85 || c == 0xa0 ||
         c == 0x1680 || (c >= 0x2000 && c <= 0x200a) || c == 0x2028 || c == 0x2029 || c == 0x202f ||
         c == 0x205f || c == 0x3000;
}

/// The length of the white space that `text` begins with; 0 if it begins with something else.
std::size_t leading_white_space(std::string_view text) {
  const CodePoint first = first_code_point(text);
  return is_white_space(first.value) ? first.length : 0;
}

bool continues_sequence(char byte) {
  return (static_cast<unsigned char>(byte) & 0xc0) == 0x80;
}

std::size_t start_of_last_sequence(std::string_view text) {
  std::size_t start = text.size() - 1;
  while (start > 0 && continues_sequence(text[start])) --start;
  return start;
}

/// `append_mapped(result, code_point)` appends what stands for one code point.
template <typename AppendMapped>
std::string map_code_points(std::string_view text, AppendMapped append_mapped) {
  std::string result;
  result.reserve(text.size());
  while (!text.empty()) {
    const CodePoint first = first_code_point(text);
    if (first.length == 0) {
      result += text.front();
      text.remove_prefix(1);
    } else {
      append_mapped(result, first.value);
      text.remove_prefix(first.length);
    }
  }
  return result;
}

void append_upper(std::string& text, char32_t c) {
  append_code_point(text,
                    static_cast<char32_t>(utf8proc_toupper(static_cast<utf8proc_int32_t>(c))));
}

void append_lower(std::string& text, char32_t c) {
  append_code_point(text,
                    static_cast<char32_t>(utf8proc_tolower(static_cast<utf8proc_int32_t>(c))));
  if (c == 0x130) append_code_point(text, 0x307);  // the one that becomes two
}

void append_folded(std::string& text, char32_t c) {
  std::array<utf8proc_int32_t, 4> folded;
  int boundary_class = 0;
  const auto count = utf8proc_decompose_char(static_cast<utf8proc_int32_t>(c), folded.data(),
                                             folded.size(), UTF8PROC_CASEFOLD, &boundary_class);
  for (utf8proc_ssize_t i = 0; i < count; ++i) {
    append_code_point(text, static_cast<char32_t>(folded[static_cast<std::size_t>(i)]));
  }
}

}  // namespace

std::string_view strip(std::string_view text) {
  text = strip_end(text);
  while (!text.empty()) {
    const std::size_t length = leading_white_space(text);
    if (length == 0) break;
    text.remove_prefix(length);
  }
  return text;
}

std::string_view without_white_end(std::string_view text) {
  while (!text.empty()) {
    const std::size_t start = start_of_last_sequence(text);
    const std::size_t length = leading_white_space(text.substr(start));
    if (length == 0 || start + length != text.size()) break;
    text.remove_suffix(length);
  }
  return text;
}

std::string upper_case(std::string_view text) {
  return map_code_points(text, append_upper);
}

std::string lower_case(std::string_view text) {
  return map_code_points(text, append_lower);
}

std::string fold_case(std::string_view text) {
  return map_code_points(text, append_folded);
}

bool is_well_formed(std::string_view text) {
  return well_formed_length(text) == text.size();
}

void append_decodable(std::string& text, std::string_view bytes) {
  for (;;) {
    const std::size_t length = well_formed_length(bytes);
    text.append(bytes.substr(0, length));
    if (length == bytes.size()) return;
    // Whatever else the decoder drops here begins with a byte that can't begin a sequence.
    bytes.remove_prefix(length + 1);
  }
}

std::string_view last_code_points(std::string_view text, std::size_t count) {
  std::size_t start = text.size();
  for (; count > 0 && start > 0; --count) start = start_of_last_sequence(text.substr(0, start));
  return text.substr(start);
}

}  // namespace utility_manager::values
