#include "python/failures.h"

#include "python/texts.h"
#include "utility_manager/platform/failures.h"

namespace utility_manager::python {

void set_system_error(const platform::SystemError& failure) {
  const Ref path = failure.path().empty() ? Ref() : decoded(failure.path());
  PyErr_SetExcFromWindowsErrWithFilenameObject(PyExc_OSError, failure.code(), path.get());
}

}  // namespace utility_manager::python
