#include <pybind11/pybind11.h>

#include "python/arguments.h"
#include "python/inspection_layer.h"

namespace py = pybind11;

namespace python {
namespace {

struct NativeLayer {
  host::ProcessInspection* inspection;
};

}  // namespace

Ref native_layer_object(host::ProcessInspection& inspection) {
  py::class_<NativeLayer>(py::handle(), "NativeInspection", py::module_local())
      .def(
          "pid_exists",
          [](const NativeLayer& self, Pid pid) { return self.inspection->pid_exists(pid); },
          py::arg("pid"))
      .def("__repr__", [](const NativeLayer&) { return "<native process inspection>"; });
  return Ref::steal(py::cast(NativeLayer{&inspection}).release().ptr());
}

}  // namespace python
