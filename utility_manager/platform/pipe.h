#pragma once

#include "utility_manager/platform/handle.h"

namespace utility_manager::platform {

/// No child that is started meanwhile inherits an end, and neither takes the place of a standard
/// stream.
struct Pipe {
  Handle read_end;
  Handle write_end;
};

/// Fails with `SystemError`.
Pipe make_pipe();

}  // namespace utility_manager::platform
