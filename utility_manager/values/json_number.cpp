#include "utility_manager/values/json_number.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <locale>
#include <sstream>
#include <string>

namespace utility_manager::values {
namespace {

double real_out_of_range(std::string_view number) {
  std::istringstream stream{std::string(number)};
  stream.imbue(std::locale::classic());
  double real = 0;
  stream >> real;
  return std::fabs(real) < 1 ? real : std::copysign(std::numeric_limits<double>::infinity(), real);
}

template <typename Number>
bool reads_as(std::string_view text, Number& number) {
  return std::from_chars(text.data(), text.data() + text.size(), number).ec == std::errc();
}

}  // namespace

Value whole_number(std::string_view number) {
  std::int64_t whole = 0;
  if (reads_as(number, whole)) return whole;
  std::uint64_t large = 0;
  if (reads_as(number, large)) return large;
  return real_number(number);
}

double real_number(std::string_view number) {
  double real = 0;
  return reads_as(number, real) ? real : real_out_of_range(number);
}

}  // namespace utility_manager::values
