#include "python/inspection_layer.h"

namespace utility_manager::python {

InspectionLayer inspection_layer() {
  return {.processes = platform::bare_processes(), .name = Ref::borrow(Py_None)};
}

}  // namespace utility_manager::python
