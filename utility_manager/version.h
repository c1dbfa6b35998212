#pragma once

namespace utility_manager {

/// The version of the system, such as "1.0.0".
const char* version();

}  // namespace utility_manager
