#pragma once

#include <string>

namespace utility_manager {

/// The path of the directory "utility_states" below the client's configuration directory, which is
/// created with its parents unless it exists. Lets failures of the client through, and fails with
/// `platform::SystemError` when the directory can't be had.
std::string make_state_directory();

}  // namespace utility_manager
