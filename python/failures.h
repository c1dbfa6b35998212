#pragma once

#include <exception>
#include <string>

#include "python/ref.h"
#include "utility_manager/host/failures.h"

namespace utility_manager::platform {
class SystemError;
}

/// Failures at the border. What Python raised crosses the core as `host::HostFailure` or, where it
/// is no `Exception`, as `host::HostInterrupt`, and comes out again as the same object. All of it
/// needs the interpreter lock.
namespace utility_manager::python {

/// Throws the Python exception that is set.
[[noreturn]] void throw_raised();

/// Raises a Python exception of `type` and throws it.
[[noreturn]] void raise(PyObject* type, const std::string& text);

/// The result of a call that gives a new reference, null for a raised exception.
Ref checked(PyObject* result);

/// The result of a call that gives -1 for a raised exception.
int checked(int result);

/// True when the exception that is set is of `type`; it is cleared then.
bool caught(PyObject* type);

/// Sets the `OSError` that Python itself would raise for this number, with its path.
void set_system_error(const platform::SystemError& failure);

/// Sets the Python exception for the failure that is being handled.
void set_raised();

/// What a function that the interpreter calls gives back: the result of `work`, or null for a
/// failure, which is set as a Python exception.
template <typename Work>
PyObject* returned(const Work& work) {
  try {
    return work().release();
  } catch (const std::exception&) {
    set_raised();
  } catch (const host::HostInterrupt&) {
    set_raised();
  } catch (const host::HostGone&) {
    set_raised();
  }
  return nullptr;
}

}  // namespace utility_manager::python
