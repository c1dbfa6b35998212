#include "python/inspection_layer.h"

namespace utility_manager::python {

InspectionLayer inspection_layer() {
  const auto& processes = platform::native_processes();
  return {.processes = processes, .name = native_layer_object(processes)};
}

}  // namespace utility_manager::python
