#include "host/failures.h"
#include "python/calls.h"
#include "python/inspection_layer.h"
#include "python/psutil_inspection.h"

namespace python {

InspectionLayer inspection_layer() {
  try {
    Ref psutil = import_module("psutil");
    auto* const inspection = new_psutil_inspection(Ref::borrow(psutil.get()));
    return {.inspection = inspection, .name = std::move(psutil)};
  } catch (const host::HostFailure&) {
    return {.inspection = nullptr, .name = Ref::borrow(Py_None)};
  }
}

}  // namespace python
