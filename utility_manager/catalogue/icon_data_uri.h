#pragma once

#include <string>
#include <string_view>

namespace utility_manager {

/// An image as a self-contained data URI. Only the extension of `path` decides its MIME type.
std::string icon_data_uri(std::string_view path, std::string_view bytes);

}  // namespace utility_manager
