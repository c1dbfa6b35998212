#include "python/bind.h"

namespace py = pybind11;

namespace python {
namespace {

py::dict servers(const Manager& self) {
  py::dict result;
  for (const auto& record : without_gil([&] { return self.servers(); })) {
    result[given_text(record->server_id)] = server_info_to_python(*record);
  }
  return result;
}

py::dict utility_registry(const Manager& self) {
  py::dict result;
  const auto registry = without_gil([&] { return self.utility_registry(); });
  for (const auto& info : registry->records()) {
    const auto record = given(info->fields);
    result[record["utility_name"]] = record;
  }
  return result;
}

void bind_attributes(ManagerClass& manager) {
  manager.def_property_readonly("servers", &servers)
      .def_property_readonly("port_pool", [](const Manager&) { return Manager::port_pool(); })
      .def_property_readonly(
          "used_ports",
          [](const Manager& self) { return without_gil([&] { return self.used_ports(); }); })
      .def_property_readonly(
          "monitor_thread",
          [](const Manager& self) { return without_gil([&] { return self.monitor_thread(); }); })
      .def_property_readonly("running", [](const Manager& self) { return self.running(); })
      .def_property_readonly("utility_registry", &utility_registry)
      .def_property_readonly("_utility_registry_complete",
                             [](const Manager& self) { return self._utility_registry_complete(); })
      .def_property_readonly("state_dir",
                             [](const Manager& self) { return given_text(self.state_dir()); });
}

}  // namespace

void bind_manager(py::module_& module) {
  ManagerClass manager(module, "UtilityServerManager");
  manager.def(py::init([] { return without_gil([] { return std::make_shared<Manager>(); }); }));
  bind_attributes(manager);
  bind_launch(manager);
  bind_supervision(manager);
  bind_state_files(manager);
  bind_catalogue(manager);
  bind_views(manager);

  module.def(
      "_build_mapped_url",
      [](const Text& utility_name, const std::optional<Text>& group_name,
         Truth require_group_name) {
        return given_text(without_gil([&] {
          return utility_manager::_build_mapped_url(utility_name, group_name, require_group_name);
        }));
      },
      py::arg("utility_name"), py::arg("group_name"), py::arg("require_group_name"));
  module.def("_utility_subprocess_python_executable", [] {
    return given_text(without_gil(utility_manager::_utility_subprocess_python_executable));
  });
}

}  // namespace python
