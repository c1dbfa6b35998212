#include "python/bind.h"

namespace py = pybind11;

namespace python {
namespace {

values::Value value_or_null(const std::optional<Mapping>& permissions) {
  return permissions ? permissions->value : values::Value();
}

void bind_access(ManagerClass& manager) {
  manager
      .def_static("_get_user_permissions",
                  [] { return given(without_gil(Manager::_get_user_permissions)); })
      .def_static(
          "_check_utility_permission",
          [](const InfoMapping& utility_info, const std::optional<Mapping>& user_permissions,
             const std::optional<Text>& group_name) {
            const auto permissions = value_or_null(user_permissions);
            return without_gil([&] {
              return Manager::_check_utility_permission(utility_info.value, permissions,
                                                        group_name);
            });
          },
          py::arg("utility_info"), py::arg("user_permissions") = py::none(),
          py::arg("group_name") = py::none())
      .def_static(
          "_get_user_role_in_org",
          [](const Data& organization_id, const std::optional<Mapping>& user_permissions) {
            const auto permissions = value_or_null(user_permissions);
            return given_text(without_gil([&] {
              return Manager::_get_user_role_in_org(organization_id.value, permissions);
            }));
          },
          py::arg("organization_id"), py::arg("user_permissions") = py::none())
      .def_static(
          "_check_org_admin_for_group",
          [](const Text& group_name, const std::optional<Mapping>& user_permissions) {
            const auto permissions = value_or_null(user_permissions);
            return without_gil(
                [&] { return Manager::_check_org_admin_for_group(group_name, permissions); });
          },
          py::arg("group_name"), py::arg("user_permissions") = py::none());
}

void bind_running(ManagerClass& manager) {
  manager
      .def("list_utility_servers",
           [](Manager& self) {
             return given(without_gil([&] { return self.list_utility_servers(); }));
           })
      .def("list_all_running_utilities_grouped",
           [](Manager& self) {
             return given(without_gil([&] { return self.list_all_running_utilities_grouped(); }));
           })
      .def(
          "_find_running_utility",
          [](Manager& self, const Text& utility_name, const std::optional<Text>& group_name) {
            return given(
                without_gil([&] { return self._find_running_utility(utility_name, group_name); }));
          },
          py::arg("utility_name"), py::arg("group_name") = py::none());
}

void bind_catalogue_views(ManagerClass& manager) {
  manager
      .def("get_utilities_without_group_name",
           [](Manager& self) {
             return given(without_gil([&] { return self.get_utilities_without_group_name(); }));
           })
      .def(
          "get_utilities_with_group_name",
          [](Manager& self, const Text& group_name) {
            return given(
                without_gil([&] { return self.get_utilities_with_group_name(group_name); }));
          },
          py::arg("group_name"))
      .def("get_navbar_utilities",
           [](Manager& self) {
             return given(without_gil([&] { return self.get_navbar_utilities(); }));
           })
      .def(
          "get_create_exp_utilities",
          [](Manager& self, const Text& group_name) {
            return given(without_gil([&] { return self.get_create_exp_utilities(group_name); }));
          },
          py::arg("group_name"))
      .def_static(
          "_utility_is_navbar",
          [](const InfoMapping& utility) { return Manager::_utility_is_navbar(utility.value); },
          py::arg("utility"))
      .def_static(
          "_utility_is_create_exp_entry",
          [](const InfoMapping& utility) {
            return Manager::_utility_is_create_exp_entry(utility.value);
          },
          py::arg("utility"));
}

}  // namespace

void bind_views(ManagerClass& manager) {
  bind_access(manager);
  bind_running(manager);
  bind_catalogue_views(manager);
}

}  // namespace python
