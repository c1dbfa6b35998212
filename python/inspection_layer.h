#pragma once

#include "host/process_inspection.h"
#include "python/gil.h"

namespace python {

struct InspectionLayer {
  host::ProcessInspection* inspection = nullptr;  ///< null: the layer is absent
  Ref name;                                       ///< what the module shows as `psutil`
};

/// The process-inspection layer that this module was built with. Called once per process, with the
/// interpreter lock held; lets through what is no ordinary failure.
InspectionLayer inspection_layer();

/// What the module shows as `psutil` for a layer that isn't a Python module, so that a client can
/// see that there is one. Called once; `inspection` is never destroyed.
Ref native_layer_object(host::ProcessInspection& inspection);

}  // namespace python
