#pragma once

#include "python/ref.h"
#include "utility_manager/platform/process.h"

namespace utility_manager::python {

struct InspectionLayer {
  const platform::ProcessTable& processes;
  Ref name;  ///< what the module shows as `psutil`; None where there is no process inspection
};

/// The process-inspection layer that this module was built with. Called once per process, with the
/// interpreter lock held; lets through what is no ordinary failure.
InspectionLayer inspection_layer();

/// What the module shows as `psutil` for a layer that isn't a Python module, so that a client can
/// see that there is one. Called once.
Ref native_layer_object(const platform::ProcessTable& processes);

}  // namespace utility_manager::python
