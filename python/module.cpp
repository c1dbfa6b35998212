#include "python/bind.h"
#include "python/calls.h"
#include "python/client_host.h"
#include "python/inspection_layer.h"
#include "utility_manager/host/services.h"
#include "utility_manager/platform/line_writer.h"
#include "utility_manager/platform/system.h"
#include "utility_manager/version.h"

namespace utility_manager::python {
namespace {

/// What is made once per process, for every attempt to load the module.
struct Parts {
  Ref names = checked(PyModule_New("utility_manager"));
  InspectionLayer layer = inspection_layer();

  Parts() {
    const PyObject* const output = PySys_GetObject("__stdout__");
    if (!output || output == Py_None) platform::give_up_output();
    const PyObject* const errors = PySys_GetObject("__stderr__");
    if (!errors || errors == Py_None) platform::give_up_reports();
    close_gate_at_exit();
    bind_handles();
    bind_stderr_buffer();
    bind_registration(names.get());
    bind_manager(names.get());
  }
};

void set_name(PyObject* module, const char* name, const Ref& object) {
  checked(PyModule_AddObjectRef(module, name, object.get()));
}

/// The work of loading, in its order. The manager is made last and never again.
Ref load_into(PyObject* module) {
  static Parts* parts = nullptr;  // with the interpreter lock held; kept for ever
  if (!parts) parts = new Parts;
  set_name(module, "__version__", checked(PyUnicode_FromString(version())));
  set_name(module, "psutil", Ref::borrow(parts->layer.name.get()));
  for (const char* name : {"UtilityRegistration", "UtilityServerManager", "_build_mapped_url",
                           "_utility_subprocess_python_executable"}) {
    set_name(module, name, attribute(parts->names.get(), name));
  }
  static bool is_loaded = false;
  if (!is_loaded) {
    platform::bind_processes(parts->layer.processes);
    host::bind(import_client_services());
  }
  const auto make = operation<&utility_manager::utility_manager>("utility_manager");
  set_name(module, "utility_manager", make.call(make, {}));
  is_loaded = true;
  return Ref::borrow(Py_None);
}

/// The manager, its threads and what it keeps of the client belong to one interpreter.
int load(PyObject* module) {
  if (PyInterpreterState_Get() != PyInterpreterState_Main()) {
    PyErr_SetString(PyExc_ImportError,
                    "utility_manager can't be imported in a subinterpreter: it has one manager "
                    "per process, which belongs to the main interpreter");
    return -1;
  }
  const Ref loaded = Ref::steal(returned([module] { return load_into(module); }));
  return loaded ? 0 : -1;
}

PyModuleDef_Slot slots[] = {{Py_mod_exec, reinterpret_cast<void*>(&load)}, {0, nullptr}};

PyModuleDef definition = {
    .m_base = PyModuleDef_HEAD_INIT,
    .m_name = "utility_manager",
    .m_doc = "Starts, watches and lists the utilities that plugins of the client register.",
    .m_size = 0,
    .m_methods = nullptr,
    .m_slots = slots,
    .m_traverse = nullptr,
    .m_clear = nullptr,
    .m_free = nullptr};

}  // namespace
}  // namespace utility_manager::python

PyMODINIT_FUNC PyInit_utility_manager() {
  return PyModuleDef_Init(&utility_manager::python::definition);
}
