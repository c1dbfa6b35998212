#include "python/calls.h"
#include "python/inspection_layer.h"
#include "python/library_processes.h"
#include "utility_manager/host/failures.h"

namespace utility_manager::python {

InspectionLayer inspection_layer() {
  try {
    const Ref psutil = import_module("psutil");
    return {.processes = new_library_processes(Ref::borrow(psutil.get())),
            .name = Ref::borrow(psutil.get())};
  } catch (const host::HostFailure&) {
    return {.processes = platform::bare_processes(), .name = Ref::borrow(Py_None)};
  }
}

}  // namespace utility_manager::python
