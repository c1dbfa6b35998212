#include "python/bind.h"

namespace py = pybind11;

namespace python {
namespace {

/// The member, None where there is none.
py::object member(const py::dict& info, const char* key) {
  return info.contains(key) ? py::object(info[key]) : py::none();
}

template <typename Type>
Type number_at(const py::dict& info, const char* key) {
  const auto number = member(info, key);
  return number.is_none() ? Type() : number.cast<Type>();
}

std::optional<std::string> text_at(const py::dict& info, const char* key) {
  return member(info, key).cast<std::optional<Text>>();
}

}  // namespace

py::dict server_info_to_python(const utility_manager::ServerInfo& info) {
  py::dict result;
  result["server_id"] = given_text(info.server_id);
  result["utility_name"] = given_text(info.utility_name);
  result["port"] = info.port;
  result["pid"] = info.pid;
  result["process"] = info.process;
  result["config"] = given(info.config);
  result["create_time"] = given(info.create_time);
  if (info.lang) result["lang"] = given_text(info.lang);
  if (info.studio_url) result["studio_url"] = given_text(info.studio_url);
  if (info.group_name) result["group_name"] = given_text(info.group_name);
  if (info.stderr_buffer) {
    py::list lines;
    for (const auto& line : info.stderr_buffer->lines()) lines.append(given_text(line));
    result["stderr_buffer"] = lines;
  }
  return result;
}

utility_manager::ServerInfo to_server_info(const py::dict& info) {
  utility_manager::ServerInfo result;
  if (!info.contains("server_id")) throw py::key_error("server_id");
  result.server_id = info["server_id"].cast<Text>();
  result.utility_name = text_at(info, "utility_name");
  result.port = number_at<Integer>(info, "port");
  result.pid = number_at<Pid>(info, "pid");
  result.config = to_value(member(info, "config").ptr());
  result.create_time = to_value(member(info, "create_time").ptr());
  result.lang = text_at(info, "lang");
  result.studio_url = text_at(info, "studio_url");
  result.group_name = text_at(info, "group_name");
  return result;
}

void bind_state_files(ManagerClass& manager) {
  manager
      .def(
          "_state_file_path",
          [](const Manager& self, const Text& server_id) {
            return given_text(self._state_file_path(server_id));
          },
          py::arg("server_id"))
      .def(
          "_persist_server_state",
          [](const Manager& self, const py::dict& server_info, Truth require_group_name) {
            const auto info = to_server_info(server_info);
            without_gil([&] {
              const utility_manager::LockHeld held(self.lock);
              self._persist_server_state(info, require_group_name);
            });
          },
          py::arg("server_info"), py::arg("require_group_name"))
      .def(
          "_remove_state_file",
          [](const Manager& self, const Text& server_id) {
            without_gil([&] { self._remove_state_file(server_id); });
          },
          py::arg("server_id"))
      .def("_load_persisted_states",
           [](Manager& self) { without_gil([&] { self._load_persisted_states(); }); });
}

}  // namespace python
