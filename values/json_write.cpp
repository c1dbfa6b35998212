#include "values/json_write.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "values/code_points.h"
#include "values/text_form.h"

namespace values {
namespace {

constexpr int deepest_level = 500;

class Writer {
 public:
  explicit Writer(Characters characters) : escaped_(characters == Characters::escaped) {}

  /// `level` counts the lists and mappings around `value`.
  void write(const Value& value, int level);

  std::string take() && { return std::move(json_); }

 private:
  void write_real(double real);
  void write_text(std::string_view text);
  void write_list(const Value& list, int level);
  void write_mapping(const Value& mapping, int level);
  void enter(int level) const;

  bool stands_as_itself(unsigned char byte) const;
  /// Appends the escape of what `text` begins with and returns its length in `text`.
  std::size_t escape_first(std::string_view text);
  void escape_code_point(char32_t code_point);

  const bool escaped_;
  std::string json_;
};

void Writer::write(const Value& value, int level) {
  switch (value.type()) {
    case Value::value_t::null:
      json_ += "null";
      break;
    case Value::value_t::boolean:
      json_ += value.get<bool>() ? "true" : "false";
      break;
    case Value::value_t::number_integer:
      json_ += std::to_string(value.get<std::int64_t>());
      break;
    case Value::value_t::number_unsigned:
      json_ += std::to_string(value.get<std::uint64_t>());
      break;
    case Value::value_t::number_float:
      write_real(value.get<double>());
      break;
    case Value::value_t::string:
      write_text(value.get_ref<const std::string&>());
      break;
    case Value::value_t::array:
      write_list(value, level + 1);
      break;
    case Value::value_t::object:
      write_mapping(value, level + 1);
      break;
    default:
      throw std::invalid_argument("a value of this kind has no JSON form");
  }
}

void Writer::write_real(double real) {
  if (std::isfinite(real)) {
    json_ += real_form(real);
  } else if (std::isnan(real)) {
    json_ += "NaN";
  } else {
    json_ += real > 0 ? "Infinity" : "-Infinity";
  }
}

void Writer::write_text(std::string_view text) {
  if (well_formed_length(text) != text.size()) {
    throw std::invalid_argument("text that is not well-formed UTF-8 has no JSON form");
  }
  json_ += '"';
  while (!text.empty()) {
    std::size_t run = 0;
    while (run < text.size() && stands_as_itself(static_cast<unsigned char>(text[run]))) ++run;
    json_.append(text.substr(0, run));
    text.remove_prefix(run);
    if (!text.empty()) text.remove_prefix(escape_first(text));
  }
  json_ += '"';
}

void Writer::write_list(const Value& list, int level) {
  enter(level);
  json_ += '[';
  const char* separator = "";
  for (const Value& item : list) {
    json_ += separator;
    write(item, level);
    separator = ", ";
  }
  json_ += ']';
}

void Writer::write_mapping(const Value& mapping, int level) {
  enter(level);
  json_ += '{';
  const char* separator = "";
  for (const auto& [key, value] : mapping.get_ref<const Value::object_t&>()) {
    json_ += separator;
    write_text(key);
    json_ += ": ";
    write(value, level);
    separator = ", ";
  }
  json_ += '}';
}

void Writer::enter(int level) const {
  if (level > deepest_level) throw std::invalid_argument("the value is nested too deeply for JSON");
}

bool Writer::stands_as_itself(unsigned char byte) const {
  return byte >= 0x20 && byte != '"' && byte != '\\' && !(escaped_ && byte >= 0x7f);
}

std::size_t Writer::escape_first(std::string_view text) {
  const CodePoint first = first_code_point(text);
  constexpr std::string_view with_short_form = "\"\\\b\f\n\r\t";
  const std::size_t found = with_short_form.find(text.front());
  if (found != std::string_view::npos) {
    json_ += '\\';
    json_ += "\"\\bfnrt"[found];
  } else {
    escape_code_point(first.value);
  }
  return first.length;
}

void Writer::escape_code_point(char32_t code_point) {
  if (code_point < 0x10000) {
    append_escape(json_, 'u', code_point, 4);
  } else {
    append_escape(json_, 'u', 0xd800 + ((code_point - 0x10000) >> 10), 4);
    append_escape(json_, 'u', 0xdc00 + ((code_point - 0x10000) & 0x3ff), 4);
  }
}

}  // namespace

std::string write_json(const Value& value, Characters characters) {
  Writer writer(characters);
  writer.write(value, 0);
  return std::move(writer).take();
}

}  // namespace values
