#include "python/bind.h"

namespace py = pybind11;

namespace python {
namespace {

using utility_manager::LockHeld;

py::list texts(const std::vector<std::string>& lines) {
  py::list result;
  for (const auto& line : lines) result.append(given_text(line));
  return result;
}

/// The record keeps the very handle and the very mapping that were given.
py::dict create_server_info(const Text& server_id, const Text& utility_name, Integer port,
                            const py::object& process, const py::object& utility_config,
                            const Text& group_name, Truth require_group_name,
                            const std::optional<Text>& lang,
                            const std::optional<Text>& studio_url) {
  const auto handle = to_handle(process.ptr());
  if (!handle) throw py::type_error("process must be a child-process handle");
  if (!is_mapping(utility_config.ptr())) throw py::type_error("utility_config must be a mapping");
  const auto config = to_value(utility_config.ptr());
  const auto info = without_gil([&] {
    return Manager::_create_server_info(server_id, utility_name, port, handle, config, group_name,
                                        require_group_name, lang, studio_url);
  });
  auto result = server_info_to_python(info);
  result["process"] = process;
  result["config"] = utility_config;
  return result;
}

py::list build_process_args(const Path& script_path, const Text& server_id,
                            const Text& utility_name, Integer port, const Text& group_name,
                            Truth require_group_name, const Mapping& utility_config,
                            const std::optional<Text>& lang, const std::optional<Text>& studio_url,
                            Truth persistent) {
  return texts(without_gil([&] {
    return Manager::_build_process_args(script_path, server_id, utility_name, port, group_name,
                                        require_group_name, utility_config.value, lang, studio_url,
                                        persistent);
  }));
}

py::tuple start_process(Manager& self, const std::vector<Path>& process_args, Integer port) {
  const std::vector<std::string> arguments(process_args.begin(), process_args.end());
  auto [child, lines] = without_gil([&] {
    auto launched = self._start_process(arguments, port);
    auto lines = launched.stderr_buffer->lines();
    return std::pair(std::move(launched), std::move(lines));
  });
  return py::make_tuple(child.process, texts(lines));
}

std::string format_utility_start_error(
    const Text& base_msg, const std::optional<std::vector<std::optional<Text>>>& stderr_buffer) {
  std::vector<std::string> lines;
  if (stderr_buffer) {
    for (const auto& line : *stderr_buffer) lines.push_back(line.value_or(Text()));
  }
  return Manager::_format_utility_start_error(base_msg, lines);
}

py::object start_utility_server(Manager& self, const Text& group_name, const Text& utility_name,
                                const Mapping& utility_config,
                                const std::optional<Path>& utility_module_path) {
  return given(without_gil([&] {
    return self.start_utility_server(group_name, utility_name, utility_config.value,
                                     utility_module_path);
  }));
}

}  // namespace

void bind_launch(ManagerClass& manager) {
  manager
      .def_static("_get_state_dir", [] { return given_text(without_gil(Manager::_get_state_dir)); })
      .def_static("_create_server_info", &create_server_info, py::arg("server_id"),
                  py::arg("utility_name"), py::arg("port"), py::arg("process"),
                  py::arg("utility_config"), py::arg("group_name"), py::arg("require_group_name"),
                  py::arg("lang"), py::arg("studio_url") = py::none())
      .def_static(
          "_is_port_available",
          [](Integer port) {
            return without_gil([&] { return Manager::_is_port_available(port); });
          },
          py::arg("port"))
      .def("_get_available_port",
           [](Manager& self) {
             return without_gil([&] {
               const LockHeld held(self.lock);
               return self._get_available_port();
             });
           })
      .def_static("_build_process_args", &build_process_args, py::arg("script_path"),
                  py::arg("server_id"), py::arg("utility_name"), py::arg("port"),
                  py::arg("group_name"), py::arg("require_group_name"), py::arg("utility_config"),
                  py::arg("lang") = py::none(), py::arg("studio_url") = py::none(),
                  py::arg("persistent") = false)
      .def("_start_process", &start_process, py::arg("process_args"), py::arg("port"))
      .def_static("_format_utility_start_error", &format_utility_start_error, py::arg("base_msg"),
                  py::arg("stderr_buffer") = py::none())
      .def("start_utility_server", &start_utility_server, py::arg("group_name"),
           py::arg("utility_name"), py::arg("utility_config"),
           py::arg("utility_module_path") = py::none())
      .def(
          "_check_existing_instances",
          [](Manager& self, const Text& utility_name, const Text& group_name,
             Truth require_group_name) {
            without_gil([&] {
              const LockHeld held(self.lock);
              self._check_existing_instances(utility_name, group_name, require_group_name);
            });
          },
          py::arg("utility_name"), py::arg("group_name"), py::arg("require_group_name"));
}

}  // namespace python
