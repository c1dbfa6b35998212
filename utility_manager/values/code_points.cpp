#include "utility_manager/values/code_points.h"

#include <array>
#include <cstring>

namespace utility_manager::values {
namespace {

constexpr bool is_ascii(char byte) {
  return static_cast<unsigned char>(byte) < 0x80;
}

std::uint64_t word_at(const char* bytes) {
  std::uint64_t word;
  std::memcpy(&word, bytes, sizeof word);
  return word;
}

std::size_t skip_ascii(std::string_view text, std::size_t at) {
  constexpr std::uint64_t high_bits = 0x8080808080808080;
  for (; at + 32 <= text.size(); at += 32) {
    const char* const block = text.data() + at;
    const auto all =
        word_at(block) | word_at(block + 8) | word_at(block + 16) | word_at(block + 24);
    if ((all & high_bits) != 0) break;
  }
  while (at < text.size() && is_ascii(text[at])) ++at;
  return at;
}

constexpr bool in_range(char32_t value, std::size_t length) {
  constexpr std::array<char32_t, 5> least{0, 0, 0x80, 0x800, 0x10000};
  return value >= least[length] && value <= 0x10ffff && (value < 0xd800 || value > 0xdfff);
}

}  // namespace

CodePoint first_code_point(std::string_view text) {
  const unsigned char lead = static_cast<unsigned char>(text.front());
  if (lead < 0x80) return {lead, 1};
  const std::uint8_t length = lead < 0xe0 ? 2 : lead < 0xf0 ? 3 : 4;
  if (lead < 0xc0 || lead > 0xf4 || text.size() < length) return {};
  char32_t value = lead & (0x7fU >> length);
  for (std::size_t i = 1; i < length; ++i) {
    const unsigned char byte = static_cast<unsigned char>(text[i]);
    if ((byte & 0xc0) != 0x80) return {};
    value = value << 6 | (byte & 0x3fU);
  }
  if (!in_range(value, length)) return {};
  return {value, length};
}

std::size_t well_formed_length(std::string_view text) {
  std::size_t at = 0;
  while ((at = skip_ascii(text, at)) < text.size()) {
    while (at < text.size() && !is_ascii(text[at])) {
      const std::uint8_t length = first_code_point(text.substr(at)).length;
      if (length == 0) return at;
      at += length;
    }
  }
  return at;
}

void append_code_point(std::string& text, char32_t code_point) {
  const auto append = [&](char32_t byte) { text += static_cast<char>(byte); };
  const auto append_rest = [&](int shift) {
    for (; shift >= 0; shift -= 6) append(0x80 | (code_point >> shift & 0x3f));
  };
  if (code_point < 0x80) {
    append(code_point);
  } else if (code_point < 0x800) {
    append(0xc0 | code_point >> 6);
    append_rest(0);
  } else if (code_point < 0x10000) {
    append(0xe0 | code_point >> 12);
    append_rest(6);
  } else {
    append(0xf0 | code_point >> 18);
    append_rest(12);
  }
}

void append_escape(std::string& text, char kind, char32_t value, int digits) {
  text += '\\';
  text += kind;
  for (int shift = 4 * (digits - 1); shift >= 0; shift -= 4) {
    text += "0123456789abcdef"[value >> shift & 0xf];
  }
}

}  // namespace utility_manager::values
