#include "utility_manager/values/base64.h"

#include <cstddef>
#include <cstdint>

namespace utility_manager::values {
namespace {

std::uint32_t byte_at(std::string_view bytes, std::size_t i) {
  return static_cast<unsigned char>(bytes[i]);
}

/// Writes four characters for the low 24 bits of `group`.
char* write_group(char* at, std::uint32_t group) {
  constexpr std::string_view alphabet =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  for (int shift = 18; shift >= 0; shift -= 6) *at++ = alphabet[group >> shift & 0x3f];
  return at;
}

}  // namespace

void append_base64(std::string& text, std::string_view bytes) {
  const std::size_t start = text.size();
  text.resize(start + (bytes.size() + 2) / 3 * 4);
  char* at = text.data() + start;
  std::size_t i = 0;
  for (; i + 3 <= bytes.size(); i += 3) {
    at = write_group(at,
                     byte_at(bytes, i) << 16 | byte_at(bytes, i + 1) << 8 | byte_at(bytes, i + 2));
  }
  if (i == bytes.size()) return;
  const bool two_left = i + 2 == bytes.size();
  at = write_group(at, byte_at(bytes, i) << 16 | (two_left ? byte_at(bytes, i + 1) << 8 : 0));
  at[-1] = '=';
  if (!two_left) at[-2] = '=';
}

}  // namespace utility_manager::values
