#include "utility_manager/addresses.h"

#include <initializer_list>
#include <string_view>

#include "utility_manager/failures.h"
#include "utility_manager/host/services.h"
#include "utility_manager/values/text_form.h"
#include "utility_manager/values/truthiness.h"

namespace utility_manager {
namespace {

std::string joined(std::initializer_list<std::string_view> parts) {
  std::size_t size = 0;
  for (const auto part : parts) size += part.size();
  std::string text;
  text.reserve(size);
  for (const auto part : parts) text += part;
  return text;
}

std::string http_address(std::string_view host, std::string_view port) {
  return joined({"http://", host, ":", port});
}

std::string text_at(const values::Value& gui_addr, const char* key, const char* absent) {
  const auto* const value = gui_addr.mapping().find(key);
  if (!value) return absent;
  if (!value->is_text() && !value->is_number()) {
    throw TypeError(std::string("get_gui_addr must give a text or a number as ") + key);
  }
  return values::text_form(*value);
}

}  // namespace

std::string local_address(std::int64_t port) {
  return http_address("localhost", std::to_string(port));
}

std::optional<std::string> gui_address(const values::Value& gui_addr) {
  if (!values::truthy(gui_addr)) return std::nullopt;
  if (!gui_addr.is_mapping()) throw TypeError("get_gui_addr must give a mapping");
  return http_address(text_at(gui_addr, "server_addr", "127.0.0.1"),
                      text_at(gui_addr, "port", "6886"));
}

std::string gui_address_or_fallback(const values::Value& gui_addr) {
  return gui_address(gui_addr).value_or("http://127.0.0.1:6886");
}

std::string mapped_url(const std::string& base, const std::string& utility_name,
                       const std::optional<std::string>& group_name, bool require_group_name) {
  if (require_group_name && group_name && !group_name->empty()) {
    return joined({base, "/group_utility/", *group_name, "/", utility_name});
  }
  return joined({base, "/utility/", utility_name});
}

std::string build_mapped_url(const std::string& utility_name,
                             const std::optional<std::string>& group_name,
                             bool require_group_name) {
  const auto base = gui_address_or_fallback(host::services().local->get_gui_addr());
  return mapped_url(base, utility_name, group_name, require_group_name);
}

}  // namespace utility_manager
