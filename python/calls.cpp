#include "python/calls.h"

namespace utility_manager::python {

Ref import_name(const char* module_name, const char* name) {
  const Ref module = import_module(module_name);
  Ref found = optional_attribute(module.get(), name);
  if (found) return found;
  const Ref text =
      checked(PyUnicode_FromFormat("cannot import name '%s' from '%s'", name, module_name));
  const Ref module_text = checked(PyUnicode_FromString(module_name));
  PyErr_SetImportError(text.get(), module_text.get(), nullptr);
  throw_raised();
}

Ref optional_item(PyObject* mapping, const char* key) {
  const Ref name = checked(PyUnicode_FromString(key));
  const bool is_there = checked(guarded_call([mapping, name = name.get()] {
                          return PySequence_Contains(mapping, name);
                        })) != 0;
  if (!is_there) return {};
  return checked(
      guarded_call([mapping, name = name.get()] { return PyObject_GetItem(mapping, name); }));
}

}  // namespace utility_manager::python
