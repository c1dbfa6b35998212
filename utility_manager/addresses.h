#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "values/value.h"

/// The address forms of the system, made from what the client said.
namespace utility_manager {

/// The address of an instance's own port on the local machine.
std::string local_address(std::int64_t port);

/// The address of the Studio's web application from the result of `get_gui_addr`; nothing when that
/// isn't truthy. Fails with `TypeError` when it is truthy and no mapping.
std::optional<std::string> gui_address(const values::Value& gui_addr);

/// The same, with the fixed fallback in place of nothing.
std::string gui_address_or_fallback(const values::Value& gui_addr);

/// The address of a utility below that of the web application.
std::string mapped_url(const std::string& base, const std::string& utility_name,
                       const std::optional<std::string>& group_name, bool require_group_name);

}  // namespace utility_manager
