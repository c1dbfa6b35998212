#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "utility_manager/values/value.h"

/// The address forms of the system, made from what the client said.
namespace utility_manager {

/// The address of an instance's own port on the local machine.
std::string local_address(std::int64_t port);

/// The address of the Studio's web application from the result of `get_gui_addr`; nothing when that
/// isn't truthy. Fails with `TypeError` when it is truthy and no mapping, or when host or port is
/// neither a text nor a number.
std::optional<std::string> gui_address(const values::Value& gui_addr);

/// The same, with the fixed fallback in place of nothing.
std::string gui_address_or_fallback(const values::Value& gui_addr);

/// The address of a utility below that of the web application. Names are not escaped.
std::string mapped_url(const std::string& base, const std::string& utility_name,
                       const std::optional<std::string>& group_name, bool require_group_name);

/// The same below the address that the client reports now, or the fallback. Lets a failure of
/// `get_gui_addr` through.
std::string build_mapped_url(const std::string& utility_name,
                             const std::optional<std::string>& group_name, bool require_group_name);

}  // namespace utility_manager
