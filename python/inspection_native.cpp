#include "platform/native_inspection.h"
#include "python/arguments.h"
#include "python/inspection_layer.h"

namespace python {
namespace {

/// What the module shows as `psutil`, so that a client can see that there is a layer.
struct NativeLayer {
  bool pid_exists(Pid pid) const { return platform::native_inspection()->pid_exists(pid); }
};

}  // namespace

InspectionLayer inspection_layer() {
  namespace py = pybind11;
  if (!platform::native_inspection()) return {.inspection = nullptr, .name = Ref::borrow(Py_None)};
  py::class_<NativeLayer>(py::handle(), "NativeInspection", py::module_local())
      .def("pid_exists", &NativeLayer::pid_exists, py::arg("pid"))
      .def("__repr__", [](const NativeLayer&) { return "<native process inspection>"; });
  return {.inspection = platform::native_inspection(),
          .name = Ref::steal(py::cast(NativeLayer()).release().ptr())};
}

}  // namespace python
