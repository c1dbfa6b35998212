#include "python/waits.h"

#include "python/failures.h"
#include "python/gate.h"

namespace utility_manager::python {

void look_for_signals() {
  with_gil([] { checked(guarded_call([] { return PyErr_CheckSignals(); })); });
}

}  // namespace utility_manager::python
