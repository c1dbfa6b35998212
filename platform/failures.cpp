#include "platform/failures.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <string_view>
#include <system_error>

#include <utf8proc.h>

namespace platform {
namespace {

bool is_printable(utf8proc_int32_t code_point) {
  if (code_point == ' ') return true;
  switch (utf8proc_category(code_point)) {
    case UTF8PROC_CATEGORY_CC:
    case UTF8PROC_CATEGORY_CF:
    case UTF8PROC_CATEGORY_CS:
    case UTF8PROC_CATEGORY_CO:
    case UTF8PROC_CATEGORY_CN:
    case UTF8PROC_CATEGORY_ZL:
    case UTF8PROC_CATEGORY_ZP:
    case UTF8PROC_CATEGORY_ZS:
      return false;
    default:
      return true;
  }
}

std::string escaped(std::uint32_t code_point) {
  const char* const form = code_point < 0x100     ? "\\x%02x"
                           : code_point < 0x10000 ? "\\u%04x"
                                                  : "\\U%08x";
  char text[16];
  std::snprintf(text, sizeof text, form, code_point);
  return text;
}

void append_quoted(std::string& text, std::string_view character, utf8proc_int32_t code_point,
                   char quote) {
  if (code_point == '\n') {
    text += "\\n";
  } else if (code_point == '\r') {
    text += "\\r";
  } else if (code_point == '\t') {
    text += "\\t";
  } else if (code_point == '\\' || code_point == quote) {
    text += '\\';
    text += character;
  } else if (is_printable(code_point)) {
    text += character;
  } else {
    text += escaped(static_cast<std::uint32_t>(code_point));
  }
}

/// As Python's `repr` gives a path; a byte that is no UTF-8 is the surrogate that stands for it.
std::string quoted_path(std::string_view path) {
  const bool only_single = path.find('\'') != path.npos && path.find('"') == path.npos;
  const char quote = only_single ? '"' : '\'';
  std::string text(1, quote);
  while (!path.empty()) {
    utf8proc_int32_t code_point = 0;
    const auto length = utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(path.data()),
                                         static_cast<utf8proc_ssize_t>(path.size()), &code_point);
    if (length > 0) {
      append_quoted(text, path.substr(0, length), code_point, quote);
    } else {
      text += escaped(0xdc00u + static_cast<unsigned char>(path.front()));
    }
    path.remove_prefix(length > 0 ? length : 1);
  }
  return text + quote;
}

std::string error_text(int code) {
  return "[Errno " + std::to_string(code) + "] " + std::generic_category().message(code);
}

}  // namespace

SystemError::SystemError(int code) : std::runtime_error(error_text(code)), code_(code) {}

SystemError::SystemError(int code, const std::string& path)
    : std::runtime_error(error_text(code) + ": " + quoted_path(path)), code_(code), path_(path) {}

ProcessLookupError::ProcessLookupError() : SystemError(ESRCH) {}

}  // namespace platform
