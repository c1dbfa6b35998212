#pragma once

#include <exception>
#include <string>

#include "python/gil.h"

/// Failures at the border. What Python raised crosses the core as `host::HostFailure` or, where it
/// is no `Exception`, as `host::HostInterrupt`, and comes out again as the same object. All of it
/// needs the interpreter lock.
namespace python {

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

/// Sets the Python exception for a failure of the core; throws on what isn't known to it.
void translate(std::exception_ptr failure);

}  // namespace python
