#include "platform/native_inspection.h"
#include "python/inspection_layer.h"

namespace python {

InspectionLayer inspection_layer() {
  auto* const inspection = platform::native_inspection();
  return {.inspection = inspection,
          .name = inspection ? native_layer_object(*inspection) : Ref::borrow(Py_None)};
}

}  // namespace python
