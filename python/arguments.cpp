#include "python/arguments.h"

#include <cmath>
#include <limits>

#include "python/client_process.h"

namespace python {
namespace {

using limits = std::numeric_limits<std::int64_t>;

std::int64_t clamped(PyObject* integer) {
  int overflow = 0;
  const auto number = PyLong_AsLongLongAndOverflow(integer, &overflow);
  if (overflow == 0) return number;
  return overflow > 0 ? limits::max() : limits::min();
}

std::int64_t clamped(double number) {
  constexpr double beyond = 9223372036854775808.0;  // 2 ** 63
  if (std::isnan(number)) raise(PyExc_ValueError, "not a number");
  if (number >= beyond) return limits::max();
  return number < -beyond ? limits::min() : static_cast<std::int64_t>(number);
}

}  // namespace

std::int64_t to_integer(PyObject* number) {
  return clamped(checked(guarded_call([number] { return PyNumber_Index(number); })).get());
}

std::int64_t to_pid(PyObject* number) {
  if (!PyNumber_Check(number)) {
    raise(PyExc_TypeError, std::string("'") + Py_TYPE(number)->tp_name + "' is no number");
  }
  if (PyIndex_Check(number)) return to_integer(number);
  return clamped(
      PyFloat_AS_DOUBLE(checked(guarded_call([number] { return PyNumber_Float(number); })).get()));
}

std::shared_ptr<platform::ProcessHandle> to_handle(PyObject* process) {
  if (process == Py_None) return nullptr;
  using Handle = std::shared_ptr<platform::ProcessHandle>;
  if (pybind11::isinstance<platform::ProcessHandle>(process)) {
    return pybind11::handle(process).cast<Handle>();
  }
  return client_process(Ref::borrow(process));
}

}  // namespace python
