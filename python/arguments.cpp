#include "python/arguments.h"

#include <cmath>
#include <limits>

#include "python/calls.h"
#include "python/client_process.h"
#include "python/instance.h"

namespace utility_manager::python {
namespace {

using range = std::numeric_limits<std::int64_t>;

std::int64_t clamped(PyObject* integer) {
  int overflow = 0;
  const auto number = PyLong_AsLongLongAndOverflow(integer, &overflow);
  if (overflow == 0) return number;
  return overflow > 0 ? range::max() : range::min();
}

std::int64_t clamped(double number) {
  constexpr double beyond = 9223372036854775808.0;  // 2 ** 63
  if (std::isnan(number)) raise(PyExc_ValueError, "not a number");
  if (number >= beyond) return range::max();
  return number < -beyond ? range::min() : static_cast<std::int64_t>(number);
}

std::int64_t to_integer(PyObject* number) {
  return clamped(checked(guarded_call([number] { return PyNumber_Index(number); })).get());
}

double to_real(PyObject* number) {
  return PyFloat_AS_DOUBLE(
      checked(guarded_call([number] { return PyNumber_Float(number); })).get());
}

}  // namespace

void throw_wrong_type(const ArgumentName& which, const std::string& wanted, PyObject* given) {
  raise(PyExc_TypeError, std::string(which.operation) + "(): " +
                             (which.is_item ? "an item of " : "") + "argument '" + which.argument +
                             "' must be " + wanted + ", not " + Py_TYPE(given)->tp_name);
}

std::string Text::read(PyObject* object, const ArgumentName& which) {
  if (!PyUnicode_Check(object)) throw_wrong_type(which, name(), object);
  return encoded(object);
}

std::string Path::read(PyObject* object, const ArgumentName& which) {
  if (!is_path_like(object)) throw_wrong_type(which, name(), object);
  return encoded_path(object);
}

std::int64_t Pid::read(PyObject* object, const ArgumentName& which) {
  if (!PyNumber_Check(object)) throw_wrong_type(which, name(), object);
  return to_pid(object);
}

std::int64_t Integer::read(PyObject* object, const ArgumentName& which) {
  if (!PyIndex_Check(object)) throw_wrong_type(which, name(), object);
  return to_integer(object);
}

double Real::read(PyObject* object, const ArgumentName& which) {
  if (!PyNumber_Check(object)) throw_wrong_type(which, name(), object);
  return to_real(object);
}

bool Truth::read(PyObject* object, const ArgumentName& which) {
  if (object == Py_None) throw_wrong_type(which, name(), object);
  return is_true(object);
}

values::Value AnythingOrPath::read(PyObject* object, const ArgumentName&) {
  return is_path_like(object) ? values::Value(encoded_path(object)) : to_carried_value(object);
}

std::shared_ptr<platform::ProcessHandle> Process::read(PyObject* object,
                                                       const ArgumentName& which) {
  if (object == Py_None) return nullptr;
  if (is_instance<platform::ProcessHandle>(object)) {
    return Self<platform::ProcessHandle>::read(object, which).held;
  }
  return client_process(Ref::borrow(object));
}

Ref items_of(PyObject* object, const ArgumentName& which, const std::string& wanted) {
  if (!PySequence_Check(object) || PyUnicode_Check(object) || PyBytes_Check(object)) {
    throw_wrong_type(which, wanted, object);
  }
  return checked(guarded_call([object] { return PySequence_List(object); }));
}

std::int64_t to_pid(PyObject* number) {
  if (!PyNumber_Check(number)) {
    raise(PyExc_TypeError, std::string("'") + Py_TYPE(number)->tp_name + "' is no number");
  }
  return PyIndex_Check(number) ? to_integer(number) : clamped(to_real(number));
}

}  // namespace utility_manager::python
