#include "utility_manager/values/json_read.h"

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <limits>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "utility_manager/limits.h"
#include "utility_manager/values/code_points.h"
#include "utility_manager/values/json_number.h"

namespace utility_manager::values {
namespace {

/// From here on a hash map finds a repeated key sooner than a look at every member.
constexpr std::size_t many_members = 16;

class Reader {
 public:
  explicit Reader(std::string_view text)
      : start_(text.data()), at_(start_), end_(start_ + text.size()) {}

  Value read();

 private:
  /// `level` counts the lists and mappings around the value.
  Value read_value(int level);
  Value read_mapping(int level);
  Value read_list(int level);
  std::string read_text();
  void read_escape(std::string& text);
  char32_t read_escaped_code_point();
  char32_t read_code_unit();
  Value read_number();
  void skip_digits();
  Value read_literal(std::string_view literal, Value value);

  void enter(int level) const;
  void skip_blanks();
  char next() const { return at_ < end_ ? *at_ : '\0'; }
  bool take(char c);
  void expect(char c);
  [[noreturn]] void fail() const;

  Mapping mapping_of_members_from(std::size_t first);

  const char* const start_;
  const char* at_;
  const char* const end_;
  /// The members read so far of all mappings that are still open.
  std::vector<Member> members_;
};

Value Reader::read() {
  Value value = read_value(0);
  skip_blanks();
  if (at_ < end_) fail();
  return value;
}

Value Reader::read_value(int level) {
  skip_blanks();
  switch (next()) {
    case '{':
      return read_mapping(level + 1);
    case '[':
      return read_list(level + 1);
    case '"':
      return read_text();
    case 't':
      return read_literal("true", true);
    case 'f':
      return read_literal("false", false);
    case 'n':
      return read_literal("null", nullptr);
    case 'N':
      return read_literal("NaN", std::numeric_limits<double>::quiet_NaN());
    case 'I':
      return read_literal("Infinity", std::numeric_limits<double>::infinity());
    default:
      return read_number();
  }
}

Value Reader::read_mapping(int level) {
  enter(level);
  expect('{');
  const std::size_t first = members_.size();
  skip_blanks();
  if (take('}')) return Mapping();
  do {
    skip_blanks();
    std::string key = read_text();
    skip_blanks();
    expect(':');
    Value value = read_value(level);
    members_.emplace_back(std::move(key), std::move(value));
    skip_blanks();
  } while (take(','));
  expect('}');
  return mapping_of_members_from(first);
}

Mapping Reader::mapping_of_members_from(std::size_t first) {
  Mapping mapping;
  mapping.reserve(members_.size() - first);
  const bool many = members_.size() - first > many_members;
  std::unordered_map<std::string_view, Value*> places;
  const auto find = [&](const std::string& key) {
    if (!many) return mapping.find(key);
    const auto place = places.find(key);
    return place == places.end() ? nullptr : place->second;
  };
  for (std::size_t i = first; i < members_.size(); ++i) {
    if (auto* const known = find(members_[i].key)) {
      *known = std::move(members_[i].value);
    } else {
      auto& added = mapping.append(std::move(members_[i]));
      if (many) places.emplace(std::prev(mapping.end())->key, &added);
    }
  }
  members_.erase(members_.begin() + static_cast<std::ptrdiff_t>(first), members_.end());
  return mapping;
}

Value Reader::read_list(int level) {
  enter(level);
  expect('[');
  List list;
  skip_blanks();
  if (take(']')) return list;
  do {
    list.push_back(read_value(level));
    skip_blanks();
  } while (take(','));
  expect(']');
  return list;
}

std::string Reader::read_text() {
  expect('"');
  std::string text;
  for (;;) {
    const char* const run = at_;
    while (at_ < end_ && static_cast<unsigned char>(*at_) >= 0x20 && *at_ != '"' && *at_ != '\\') {
      ++at_;
    }
    text.append(run, at_);
    if (take('"')) return text;
    expect('\\');
    read_escape(text);
  }
}

void Reader::read_escape(std::string& text) {
  constexpr std::string_view kinds = "\"\\/bfnrt";
  const std::size_t kind = kinds.find(next());
  if (kind != std::string_view::npos) {
    text += "\"\\/\b\f\n\r\t"[kind];
    ++at_;
  } else {
    append_code_point(text, read_escaped_code_point());
  }
}

char32_t Reader::read_escaped_code_point() {
  const auto is_surrogate = [](char32_t unit, char32_t first) {
    return unit >= first && unit < first + 0x400;
  };
  const char32_t unit = read_code_unit();
  if (is_surrogate(unit, 0xdc00)) fail();
  if (!is_surrogate(unit, 0xd800)) return unit;
  expect('\\');
  const char32_t second = read_code_unit();
  if (!is_surrogate(second, 0xdc00)) fail();
  return 0x10000 + ((unit - 0xd800) << 10) + (second - 0xdc00);
}

char32_t Reader::read_code_unit() {
  expect('u');
  std::uint32_t unit = 0;
  const char* const last = end_ - at_ < 4 ? end_ : at_ + 4;
  const auto [stop, error] = std::from_chars(at_, last, unit, 16);
  if (error != std::errc() || stop != at_ + 4) fail();
  at_ = stop;
  return unit;
}

Value Reader::read_number() {
  const char* const first = at_;
  if (take('-') && next() == 'I') {
    return read_literal("Infinity", -std::numeric_limits<double>::infinity());
  }
  if (!take('0')) skip_digits();
  const char* const whole = at_;
  if (take('.')) skip_digits();
  if (take('e') || take('E')) {
    if (!take('+')) take('-');
    skip_digits();
  }
  const std::string_view number(first, at_);
  return at_ == whole ? whole_number(number) : real_number(number);
}

void Reader::skip_digits() {
  const char* const first = at_;
  while (next() >= '0' && next() <= '9') ++at_;
  if (at_ == first) fail();
}

Value Reader::read_literal(std::string_view literal, Value value) {
  for (const char c : literal) expect(c);
  return value;
}

void Reader::enter(int level) const {
  if (level > limits::deepest_level) throw JsonError("the JSON text is nested too deeply");
}

void Reader::skip_blanks() {
  while (at_ < end_ && (*at_ == ' ' || *at_ == '\n' || *at_ == '\r' || *at_ == '\t')) ++at_;
}

bool Reader::take(char c) {
  if (at_ == end_ || *at_ != c) return false;
  ++at_;
  return true;
}

void Reader::expect(char c) {
  if (!take(c)) fail();
}

void Reader::fail() const {
  throw JsonError("no JSON text: unexpected text or end at byte " + std::to_string(at_ - start_));
}

}  // namespace

Value read_json(std::string_view text) {
  if (well_formed_length(text) != text.size()) {
    throw JsonError("the JSON text is not well-formed UTF-8");
  }
  return Reader(text).read();
}

}  // namespace utility_manager::values
