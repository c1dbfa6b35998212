#include "utility_manager/values/quoting.h"

#include <utf8proc.h>

#include "utility_manager/values/code_points.h"

namespace utility_manager::values {
namespace {

bool is_printable(char32_t c) {
  if (c < 0x7f) return c >= 0x20;
  switch (utf8proc_category(static_cast<utf8proc_int32_t>(c))) {
    case UTF8PROC_CATEGORY_CN:
    case UTF8PROC_CATEGORY_CC:
    case UTF8PROC_CATEGORY_CF:
    case UTF8PROC_CATEGORY_CS:
    case UTF8PROC_CATEGORY_CO:
    case UTF8PROC_CATEGORY_ZL:
    case UTF8PROC_CATEGORY_ZP:
    case UTF8PROC_CATEGORY_ZS:
      return false;
    default:
      return true;
  }
}

void append_unprintable(std::string& result, char32_t c) {
  switch (c) {
    case '\n':
      result += "\\n";
      return;
    case '\r':
      result += "\\r";
      return;
    case '\t':
      result += "\\t";
      return;
    default:
      if (c < 0x100) return append_escape(result, 'x', c, 2);
      if (c < 0x10000) return append_escape(result, 'u', c, 4);
      append_escape(result, 'U', c, 8);
  }
}

/// An ill-formed byte counts as the low surrogate that Python puts in its place.
CodePoint first_or_surrogate(std::string_view text) {
  const CodePoint first = first_code_point(text);
  if (first.length > 0) return first;
  return {0xdc00U + static_cast<unsigned char>(text.front()), 1};
}

}  // namespace

void append_quoted(std::string& result, std::string_view text) {
  const bool doubled =
      text.find('\'') != std::string_view::npos && text.find('"') == std::string_view::npos;
  const char quote = doubled ? '"' : '\'';
  result += quote;
  while (!text.empty()) {
    const CodePoint first = first_or_surrogate(text);
    if (!is_printable(first.value)) {
      append_unprintable(result, first.value);
    } else {
      if (text.front() == quote || text.front() == '\\') result += '\\';
      result.append(text.substr(0, first.length));
    }
    text.remove_prefix(first.length);
  }
  result += quote;
}

std::string quoted(std::string_view text) {
  std::string result;
  append_quoted(result, text);
  return result;
}

}  // namespace utility_manager::values
