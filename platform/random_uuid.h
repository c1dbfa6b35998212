#pragma once

#include <string>

namespace platform {

/// What `System::random_uuid` does.
std::string random_uuid();

}  // namespace platform
