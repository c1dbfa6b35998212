#include "utility_manager/platform/win32.windows.h"

#include "utility_manager/platform/failures.h"
#include "utility_manager/values/code_points.h"

namespace utility_manager::platform {
namespace {

constexpr char32_t first_high = 0xd800;
constexpr char32_t first_low = 0xdc00;

constexpr bool is_surrogate(char32_t unit, char32_t first) {
  return unit >= first && unit < first + 0x400;
}

/// Never of length 0.
values::CodePoint next_unit(std::string_view text) {
  const auto point = values::first_code_point(text);
  if (point.length != 0) return point;
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const bool is_lone_surrogate =
      text.size() >= 3 && byte(0) == 0xed && byte(1) >> 5 == 0x5 && byte(2) >> 6 == 0x2;
  if (!is_lone_surrogate) return {.value = first_low + byte(0), .length = 1};
  return {.value = 0xd000U + ((byte(1) & 0x3fU) << 6) + (byte(2) & 0x3fU), .length = 3};
}

void append_surrogate(std::string& text, char32_t unit) {
  text += '\xed';
  text += static_cast<char>(0x80 | ((unit >> 6) & 0x3f));
  text += static_cast<char>(0x80 | (unit & 0x3f));
}

}  // namespace

std::wstring wide(std::string_view text) {
  std::wstring result;
  result.reserve(text.size());
  while (!text.empty()) {
    const auto [value, length] = next_unit(text);
    text.remove_prefix(length);
    if (value < 0x10000) {
      result += static_cast<wchar_t>(value);
    } else {
      result += static_cast<wchar_t>(first_high + ((value - 0x10000) >> 10));
      result += static_cast<wchar_t>(first_low + (value & 0x3ff));
    }
  }
  return result;
}

std::string narrow(std::wstring_view text) {
  std::string result;
  result.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char32_t unit = text[i];
    const char32_t next = i + 1 < text.size() ? text[i + 1] : 0;
    if (is_surrogate(unit, first_high) && is_surrogate(next, first_low)) {
      values::append_code_point(result, 0x10000 + ((unit - first_high) << 10) + (next - first_low));
      ++i;
    } else if (unit >= first_high && is_surrogate(unit & ~char32_t{0x400}, first_high)) {
      append_surrogate(result, unit);
    } else {
      values::append_code_point(result, unit);
    }
  }
  return result;
}

std::wstring full_path(const std::wstring& path) {
  std::wstring full(::GetFullPathNameW(path.c_str(), 0, nullptr, nullptr), L'\0');
  const auto size = static_cast<DWORD>(full.size());
  full.resize(::GetFullPathNameW(path.c_str(), size, full.data(), nullptr));
  return full;
}

std::wstring native_path(const std::string& path) {
  if (path.find('\0') != path.npos) throw SystemError(ERROR_FILE_NOT_FOUND, path);
  constexpr std::size_t longest_directory = MAX_PATH - 13;
  const std::wstring text = wide(path);
  const std::wstring full = full_path(text);
  const bool has_form = full.starts_with(L"\\\\?\\") || full.starts_with(L"\\\\.\\");
  if (full.size() <= longest_directory || has_form) return text;
  if (full.starts_with(L"\\\\")) return L"\\\\?\\UNC" + full.substr(1);
  return L"\\\\?\\" + full;
}

}  // namespace utility_manager::platform
