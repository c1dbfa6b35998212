#include "python/inspection_layer.h"

namespace utility_manager::python {

InspectionLayer inspection_layer() {
  const auto& processes = platform::native_processes();
  const bool is_bare = &processes == &platform::bare_processes();
  return {.processes = processes,
          .name = is_bare ? Ref::borrow(Py_None) : native_layer_object(processes)};
}

}  // namespace utility_manager::python
