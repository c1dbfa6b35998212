#include "utility_manager/values/text_form.h"

#include <array>
#include <charconv>
#include <cmath>

#include "utility_manager/values/quoting.h"

namespace utility_manager::values {
namespace {

void append_item(std::string& result, const Value& value);

void append_list(std::string& result, const List& list) {
  result += '[';
  const char* separator = "";
  for (const Value& item : list) {
    result += separator;
    append_item(result, item);
    separator = ", ";
  }
  result += ']';
}

void append_mapping(std::string& result, const Mapping& mapping) {
  result += '{';
  const char* separator = "";
  for (const auto& [key, value] : mapping) {
    result += separator;
    append_quoted(result, key);
    result += ": ";
    append_item(result, value);
    separator = ", ";
  }
  result += '}';
}

void append_item(std::string& result, const Value& value) {
  switch (value.kind()) {
    case Kind::null:
      result += "None";
      break;
    case Kind::boolean:
      result += value.boolean() ? "True" : "False";
      break;
    case Kind::integer:
      result += std::to_string(value.integer());
      break;
    case Kind::unsigned_integer:
      result += std::to_string(value.unsigned_integer());
      break;
    case Kind::real:
      result += real_form(value.real());
      break;
    case Kind::text:
      append_quoted(result, value.text());
      break;
    case Kind::list:
      append_list(result, value.list());
      break;
    case Kind::mapping:
      append_mapping(result, value.mapping());
      break;
    case Kind::host_value:
      result += value.host_value()->repr_form();
      break;
  }
}

}  // namespace

std::string text_form(const Value& value) {
  if (value.is_text()) return value.text();
  return value.is_host_value() ? value.host_value()->text_form() : repr_form(value);
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

}  // namespace utility_manager::values
