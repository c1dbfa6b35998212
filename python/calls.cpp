#include "python/calls.h"

namespace python {

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

}  // namespace python
