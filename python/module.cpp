#include "host/services.h"
#include "python/bind.h"
#include "python/client_host.h"
#include "python/inspection_layer.h"

namespace py = pybind11;

namespace python {
namespace {

/// What is made once per process, for every attempt to load the module.
struct Parts {
  py::module_ names = py::reinterpret_steal<py::module_>(PyModule_New("utility_manager"));
  InspectionLayer layer = inspection_layer();

  Parts() {
    bind_handles(names);  // before the manager, whose attributes they are
    bind_registration(names);
    bind_manager(names);
  }
};

/// The work of loading, in its order. The module's own manager is made last and never again.
void load_into(const py::module_& module) {
  static Parts* parts = nullptr;  // with the interpreter lock held; kept for ever
  if (!parts) parts = new Parts;
  module.attr("psutil") = py::reinterpret_borrow<py::object>(parts->layer.name.get());
  for (const char* name : {"UtilityRegistration", "UtilityServerManager", "_build_mapped_url",
                           "_utility_subprocess_python_executable"}) {
    module.attr(name) = parts->names.attr(name);
  }
  static bool is_loaded = false;
  if (!is_loaded) {
    auto services = import_client_services();
    services.psutil = parts->layer.inspection;
    host::bind(services);
  }
  module.attr("utility_manager") = without_gil([] { return utility_manager::utility_manager(); });
  is_loaded = true;
}

/// Called through a bound function, so that failures come out as everywhere.
int load(PyObject* module) {
  static bool is_prepared = false;
  try {
    if (!is_prepared) {
      if (!Ref::steal(close_gate_at_exit())) return -1;
      py::register_exception_translator(&translate);
      is_prepared = true;
    }
    const py::cpp_function loader(&load_into);
    const Ref result = Ref::steal(PyObject_CallOneArg(loader.ptr(), module));
    return result ? 0 : -1;
  } catch (py::error_already_set& failure) {
    failure.restore();
    return -1;
  }
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
}  // namespace python

extern "C" PYBIND11_EXPORT PyObject* PyInit_utility_manager() {
  PYBIND11_CHECK_PYTHON_VERSION
  PYBIND11_ENSURE_INTERNALS_READY
  return PyModuleDef_Init(&python::definition);
}
