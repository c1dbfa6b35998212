#pragma once

namespace platform {

/// What `System::is_windows` gives.
bool runs_on_windows();

}  // namespace platform
