#pragma once

#include "python/ref.h"
#include "utility_manager/values/value.h"

/// Python objects that values carry as they are. Both operations need the interpreter lock.
namespace utility_manager::python {

/// A value that carries `object`.
values::Value carried(PyObject* object);

/// The very object that `value` carries.
Ref object_of(const values::HostValue& value);

}  // namespace utility_manager::python
