#include "python/bind.h"
#include "utility_manager/registration/registration.h"

namespace py = pybind11;

namespace python {
namespace {

using utility_manager::UtilityRegistration;

/// A record as Python holds it: `extra` is a live dict, so that it can be changed in place.
struct Registration {
  UtilityRegistration fields;
  py::dict extra;

  explicit Registration(UtilityRegistration record)
      : fields(std::move(record)), extra(given(fields.extra)) {}

  UtilityRegistration record() const {
    UtilityRegistration result = fields;
    result.extra = to_value(extra.ptr());
    return result;
  }
};

/// A value for a field; a path may be any of the file system.
struct PathField {
  values::Value value;
};

py::dict as_dict(const py::object& extra) {
  if (extra.is_none()) return py::dict();
  if (py::isinstance<py::dict>(extra)) return extra;
  if (!is_mapping(extra.ptr())) throw py::type_error("extra must be a mapping");
  return py::dict(given(to_value(extra.ptr())));
}

}  // namespace
}  // namespace python

namespace pybind11::detail {

template <>
struct type_caster<python::PathField> {
  PYBIND11_TYPE_CASTER(python::PathField, const_name("object"));
  bool load(handle source, bool) {
    const bool is_path = isinstance<str>(source) || hasattr(source, "__fspath__");
    value.value = is_path ? values::Value(python::encoded_path(source.ptr()))
                          : python::to_value(source.ptr());
    return true;
  }
};

}  // namespace pybind11::detail

namespace python {
namespace {

using RegistrationClass = py::class_<Registration>;

Registration make_registration(Data utility_name, Data title, Data en_title, Data description,
                               Data en_description, PathField script_path, Data default_route,
                               Data require_group_name, Data plugin_name, Data builtin,
                               Data access_level, Data persistent, PathField icon_path,
                               Data display_location, const py::object& extra) {
  Registration result(UtilityRegistration{.utility_name = std::move(utility_name.value),
                                          .title = std::move(title.value),
                                          .en_title = std::move(en_title.value),
                                          .description = std::move(description.value),
                                          .en_description = std::move(en_description.value),
                                          .script_path = std::move(script_path.value),
                                          .default_route = std::move(default_route.value),
                                          .require_group_name = std::move(require_group_name.value),
                                          .plugin_name = std::move(plugin_name.value),
                                          .builtin = std::move(builtin.value),
                                          .access_level = std::move(access_level.value),
                                          .persistent = std::move(persistent.value),
                                          .icon_path = std::move(icon_path.value),
                                          .display_location = std::move(display_location.value)});
  result.extra = as_dict(extra);
  return result;
}

template <typename Argument>
void bind_field(RegistrationClass& type, const char* name,
                values::Value UtilityRegistration::*member) {
  type.def_property(
      name, [member](const Registration& self) { return given(self.fields.*member); },
      [member](Registration& self, Argument value) {
        self.fields.*member = std::move(value.value);
      });
}

void bind_fields(RegistrationClass& type) {
  using R = UtilityRegistration;
  bind_field<Data>(type, "utility_name", &R::utility_name);
  bind_field<Data>(type, "title", &R::title);
  bind_field<Data>(type, "en_title", &R::en_title);
  bind_field<Data>(type, "description", &R::description);
  bind_field<Data>(type, "en_description", &R::en_description);
  bind_field<PathField>(type, "script_path", &R::script_path);
  bind_field<Data>(type, "default_route", &R::default_route);
  bind_field<Data>(type, "require_group_name", &R::require_group_name);
  bind_field<Data>(type, "plugin_name", &R::plugin_name);
  bind_field<Data>(type, "builtin", &R::builtin);
  bind_field<Data>(type, "access_level", &R::access_level);
  bind_field<Data>(type, "persistent", &R::persistent);
  bind_field<PathField>(type, "icon_path", &R::icon_path);
  bind_field<Data>(type, "display_location", &R::display_location);
  type.def_property(
      "extra", [](const Registration& self) { return self.extra; },
      [](Registration& self, const py::object& extra) { self.extra = as_dict(extra); });
}

}  // namespace

void bind_registration(py::module_& module) {
  RegistrationClass type(module, "UtilityRegistration");
  type.def(py::init(&make_registration), py::arg("utility_name"), py::arg("title") = "",
           py::arg("en_title") = "", py::arg("description") = "", py::arg("en_description") = "",
           py::arg("script_path") = "", py::arg("default_route") = "/",
           py::arg("require_group_name") = false, py::arg("plugin_name") = py::none(),
           py::arg("builtin") = false, py::arg("access_level") = "ALL",
           py::arg("persistent") = false, py::arg("icon_path") = "",
           py::arg("display_location") = "default", py::arg("extra") = py::none());
  bind_fields(type);
  type.def_static(
          "from_dict",
          [](const RegistrationMapping& data, const std::optional<Text>& plugin_name) {
            return Registration(UtilityRegistration::from_dict(data.value, plugin_name));
          },
          py::arg("data"), py::arg("plugin_name") = py::none())
      .def_static(
          "_convert_legacy_access_fields",
          [](const RegistrationMapping& data) {
            return UtilityRegistration::_convert_legacy_access_fields(data.value);
          },
          py::arg("data"))
      .def_static(
          "_normalize_access_level",
          [](const Data& access_level) {
            return UtilityRegistration::_normalize_access_level(access_level.value);
          },
          py::arg("access_level"))
      .def_static(
          "_normalize_display_location",
          [](const Data& value) {
            return UtilityRegistration::_normalize_display_location(value.value);
          },
          py::arg("value"))
      .def("to_dict", [](const Registration& self) { return given(self.record().to_dict()); })
      .def("__repr__",
           [](const Registration& self) { return given_text(self.record().text_form()); })
      .def(
          "__eq__",
          [](const Registration& self, const Registration& other) {
            return self.record() == other.record();
          },
          py::is_operator());
}

}  // namespace python
