#include "python/failures.h"

#include <cstring>

#include "python/texts.h"
#include "utility_manager/platform/failures.h"

namespace utility_manager::python {

void set_system_error(const platform::SystemError& failure) {
  const Ref text = decoded(std::strerror(failure.code()));
  const Ref path = failure.path().empty() ? Ref::borrow(Py_None) : decoded(failure.path());
  const Ref exception = Ref::steal(
      PyObject_CallFunction(PyExc_OSError, "iOO", failure.code(), text.get(), path.get()));
  if (exception)
    PyErr_SetObject(reinterpret_cast<PyObject*>(Py_TYPE(exception.get())), exception.get());
}

}  // namespace utility_manager::python
