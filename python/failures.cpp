#include "python/failures.h"

#include <new>
#include <stdexcept>
#include <utility>

#include "python/convert.h"
#include "utility_manager/failures.h"
#include "utility_manager/platform/failures.h"

namespace utility_manager::python {
namespace {

/// Takes the exception that is set, with its traceback.
Ref take_raised() {
  PyObject* type = nullptr;
  PyObject* value = nullptr;
  PyObject* traceback = nullptr;
  PyErr_Fetch(&type, &value, &traceback);
  guarded_call([&] { PyErr_NormalizeException(&type, &value, &traceback); });
  if (traceback) PyException_SetTraceback(value, traceback);
  Py_XDECREF(type);
  Py_XDECREF(traceback);
  return Ref::steal(value);
}

/// What `str` gives; never fails.
std::string text_of(PyObject* exception) {
  const Ref text = Ref::steal(guarded_call([=] { return PyObject_Str(exception); }));
  const Ref bytes = Ref::steal(
      text ? PyUnicode_AsEncodedString(text.get(), "utf-8", "backslashreplace") : nullptr);
  if (bytes) return {PyBytes_AS_STRING(bytes.get()), std::size_t(PyBytes_GET_SIZE(bytes.get()))};
  PyErr_Clear();
  return Py_TYPE(exception)->tp_name;
}

void set(PyObject* type, const std::string& text) {
  const Ref message = Ref::steal(decoded(text).release());
  PyErr_SetObject(type, message.get());
}

void set_again(const std::shared_ptr<void>& origin) {
  auto* const exception = static_cast<PyObject*>(origin.get());
  PyErr_Restore(Py_NewRef(reinterpret_cast<PyObject*>(Py_TYPE(exception))), Py_NewRef(exception),
                PyException_GetTraceback(exception));
}

}  // namespace

void throw_raised() {
  auto exception = keep(take_raised());
  if (PyErr_GivenExceptionMatches(exception.get(), PyExc_Exception)) {
    throw host::HostFailure(text_of(exception.get()), exception);
  }
  throw host::HostInterrupt{exception};
}

void raise(PyObject* type, const std::string& text) {
  set(type, text);
  throw_raised();
}

Ref checked(PyObject* result) {
  if (!result) throw_raised();
  return Ref::steal(result);
}

int checked(int result) {
  if (result < 0) throw_raised();
  return result;
}

bool caught(PyObject* type) {
  if (!PyErr_ExceptionMatches(type)) return false;
  PyErr_Clear();
  return true;
}

void set_raised() {
  try {
    throw;
  } catch (const host::HostFailure& raised) {
    if (raised.origin()) return set_again(raised.origin());
    set(PyExc_RuntimeError, raised.what());
  } catch (const host::HostInterrupt& raised) {
    set_again(raised.origin);
  } catch (const host::HostGone&) {
    set(PyExc_RuntimeError, "the interpreter is ending");
  } catch (const utility_manager::TypeError& wrong) {
    set(PyExc_TypeError, wrong.what());
  } catch (const platform::SystemError& refused) {
    set_system_error(refused);
  } catch (const std::bad_alloc&) {
    PyErr_NoMemory();
  } catch (const std::invalid_argument& wrong) {
    set(PyExc_ValueError, wrong.what());
  } catch (const std::exception& failed) {
    set(PyExc_RuntimeError, failed.what());
  }
}

}  // namespace utility_manager::python
