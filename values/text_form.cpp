#include "values/text_form.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <string_view>

#include <utf8proc.h>

#include "values/code_points.h"

namespace values {
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

void append_item(std::string& result, const Value& value);

void append_list(std::string& result, const Value& list) {
  result += '[';
  const char* separator = "";
  for (const Value& item : list) {
    result += separator;
    append_item(result, item);
    separator = ", ";
  }
  result += ']';
}

void append_mapping(std::string& result, const Value& mapping) {
  result += '{';
  const char* separator = "";
  for (const auto& [key, value] : mapping.items()) {
    result += separator;
    append_quoted(result, key);
    result += ": ";
    append_item(result, value);
    separator = ", ";
  }
  result += '}';
}

void append_item(std::string& result, const Value& value) {
  switch (value.type()) {
    case Value::value_t::null:
      result += "None";
      break;
    case Value::value_t::boolean:
      result += value.get<bool>() ? "True" : "False";
      break;
    case Value::value_t::number_integer:
      result += std::to_string(value.get<std::int64_t>());
      break;
    case Value::value_t::number_unsigned:
      result += std::to_string(value.get<std::uint64_t>());
      break;
    case Value::value_t::number_float:
      result += real_form(value.get<double>());
      break;
    case Value::value_t::string:
      append_quoted(result, value.get_ref<const std::string&>());
      break;
    case Value::value_t::array:
      append_list(result, value);
      break;
    case Value::value_t::object:
      append_mapping(result, value);
      break;
    default:
      break;
  }
}

}  // namespace

std::string text_form(const Value& value) {
  return value.is_string() ? value.get<std::string>() : repr_form(value);
}

std::string repr_form(const Value& value) {
  std::string result;
  append_item(result, value);
  return result;
}

std::string real_form(double value) {
  if (std::isnan(value)) return "nan";
  if (std::isinf(value)) return value > 0 ? "inf" : "-inf";
  const double size = std::fabs(value);
  const bool exponent = size != 0 && (size < 1e-4 || size >= 1e16);
  std::array<char, 32> buffer;
  const auto written =
      std::to_chars(buffer.data(), buffer.data() + buffer.size(), value,
                    exponent ? std::chars_format::scientific : std::chars_format::fixed);
  std::string text(buffer.data(), written.ptr);
  if (!exponent && text.find('.') == std::string::npos) text += ".0";
  return text;
}

}  // namespace values
