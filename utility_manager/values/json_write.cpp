#include "utility_manager/values/json_write.h"

#include <cmath>
#include <cstddef>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "utility_manager/limits.h"
#include "utility_manager/values/code_points.h"
#include "utility_manager/values/place.h"
#include "utility_manager/values/text_form.h"

namespace utility_manager::values {
namespace {

[[noreturn]] void fail(const Place& place, const std::string& reason) {
  throw std::invalid_argument(lead(place) + reason);
}

void enter(const Place& place) {
  if (place.depth == limits::deepest_level) {
    fail(place, "the value is nested too deeply for JSON");
  }
}

class Writer {
 public:
  explicit Writer(Characters characters) : escaped_(characters == Characters::escaped) {}

  void write(const Value& value, const Place& place = {});

  std::string take() && { return std::move(json_); }

 private:
  void write_real(double real);
  void write_text(std::string_view text, const Place& place);
  void write_list(const List& list, const Place& place);
  void write_mapping(const Mapping& mapping, const Place& place);

  bool stands_as_itself(unsigned char byte) const;
  /// Appends the escape of what `text` begins with and returns its length in `text`.
  std::size_t escape_first(std::string_view text);
  void escape_code_point(char32_t code_point);

  const bool escaped_;
  std::string json_;
};

void Writer::write(const Value& value, const Place& place) {
  switch (value.kind()) {
    case Kind::null:
      json_ += "null";
      break;
    case Kind::boolean:
      json_ += value.boolean() ? "true" : "false";
      break;
    case Kind::integer:
      json_ += std::to_string(value.integer());
      break;
    case Kind::unsigned_integer:
      json_ += std::to_string(value.unsigned_integer());
      break;
    case Kind::real:
      write_real(value.real());
      break;
    case Kind::text:
      write_text(value.text(), place);
      break;
    case Kind::list:
      write_list(value.list(), place);
      break;
    case Kind::mapping:
      write_mapping(value.mapping(), place);
      break;
    case Kind::host_value:
      fail(place, "a value of type '" + value.host_value()->type_name() + "' has no JSON form");
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

void Writer::write_text(std::string_view text, const Place& place) {
  if (well_formed_length(text) != text.size()) {
    fail(place, "text that is not well-formed UTF-8 has no JSON form");
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

void Writer::write_list(const List& list, const Place& place) {
  enter(place);
  json_ += '[';
  for (std::size_t index = 0; index < list.size(); ++index) {
    if (index > 0) json_ += ", ";
    write(list[index], {.outer = &place, .index = index, .depth = place.depth + 1});
  }
  json_ += ']';
}

void Writer::write_mapping(const Mapping& mapping, const Place& place) {
  enter(place);
  json_ += '{';
  const char* separator = "";
  for (const auto& [key, value] : mapping) {
    json_ += separator;
    write_text(key, place);
    json_ += ": ";
    write(value, {.outer = &place, .key = &key, .depth = place.depth + 1});
    separator = ", ";
  }
  json_ += '}';
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
  writer.write(value);
  return std::move(writer).take();
}

}  // namespace utility_manager::values
