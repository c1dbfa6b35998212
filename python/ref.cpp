#include "python/ref.h"

#include "python/gate.h"
#include "utility_manager/host/failures.h"

namespace utility_manager::python {
namespace {

void drop(PyObject* object) noexcept {
  if (!Py_IsInitialized()) return;
  try {
    with_gil([object] { Ref::steal(object); });
  } catch (const host::HostGone&) {  // leaked
  }
}

}  // namespace

KeptObject keep(Ref object) {
  return KeptObject(object.release(), drop);
}

}  // namespace utility_manager::python
