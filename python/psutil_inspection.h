#pragma once

#include "host/process_inspection.h"
#include "python/gil.h"

namespace python {

/// The process-inspection layer over the Python library `psutil`. It is never destroyed. Needs the
/// interpreter lock.
host::ProcessInspection* new_psutil_inspection(Ref psutil);

}  // namespace python
