#pragma once

#include "host/process_inspection.h"

namespace platform {

/// The process-inspection layer of this system; null where there is none.
host::ProcessInspection* native_inspection();

}  // namespace platform
