#include "utility_manager/values/place.h"

#include "utility_manager/values/code_points.h"

namespace utility_manager::values {

std::string text_of(const Place& place) {
  if (!place.outer) return "";
  const auto outer = text_of(*place.outer);
  if (!place.key) return outer + "[" + std::to_string(place.index) + "]";
  return outer.empty() ? *place.key : outer + "." + *place.key;
}

std::string lead(const Place& place) {
  constexpr std::size_t longest = 100;
  auto text = text_of(place);
  if (text.size() > longest) {
    text.resize(longest);
    text.replace(well_formed_length(text), text.npos, "...");
  }
  return text.empty() ? text : text + ": ";
}

}  // namespace utility_manager::values
