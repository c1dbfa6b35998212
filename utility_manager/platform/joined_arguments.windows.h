#pragma once

#include <string>
#include <vector>

namespace utility_manager::platform {

/// The one text that the C runtime of the program reads back as these arguments. Fails as
/// `start_program`.
std::wstring joined_arguments(const std::vector<std::string>& arguments);

}  // namespace utility_manager::platform
