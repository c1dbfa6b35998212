#include "python/bind.h"

namespace py = pybind11;

namespace python {
namespace {

void bind_process_control(ManagerClass& manager) {
  manager
      .def_static(
          "_is_process_alive",
          [](Pid pid) { return without_gil([&] { return Manager::_is_process_alive(pid); }); },
          py::arg("pid"))
      .def_static(
          "_kill_process_tree",
          [](Pid pid) { return without_gil([&] { return Manager::_kill_process_tree(pid); }); },
          py::arg("pid"))
      .def_static(
          "_stop_utility_process",
          [](const py::object& process, Pid pid) {
            const auto handle = to_handle(process.ptr());
            return without_gil([&] { return Manager::_stop_utility_process(handle, pid); });
          },
          py::arg("process"), py::arg("pid"));
}

void bind_stop(ManagerClass& manager) {
  manager
      .def(
          "stop_utility_server",
          [](Manager& self, const Text& server_id) {
            return without_gil([&] { return self.stop_utility_server(server_id); });
          },
          py::arg("server_id"))
      .def("stop_all_utility_servers",
           [](Manager& self) { without_gil([&] { self.stop_all_utility_servers(); }); })
      .def("cleanup_all_servers",
           [](Manager& self) { without_gil([&] { self.cleanup_all_servers(); }); })
      .def("_start_monitoring",
           [](Manager& self) { without_gil([&] { self._start_monitoring(); }); })
      .def("_monitor_loop", [](Manager& self) { without_gil([&] { self._monitor_loop(); }); })
      .def(
          "_handle_server_died",
          [](Manager& self, const Text& server_id) {
            without_gil([&] { self._handle_server_died(server_id); });
          },
          py::arg("server_id"));
}

void bind_stderr_snippets(ManagerClass& manager) {
  namespace timings = utility_manager::timings;
  manager
      .def(
          "is_utility_server_running",
          [](Manager& self, const Text& server_id) {
            return without_gil([&] { return self.is_utility_server_running(server_id); });
          },
          py::arg("server_id"))
      .def(
          "get_utility_stderr_snippet",
          [](Manager& self, const Text& server_id, Integer max_chars) {
            return given_text(
                without_gil([&] { return self.get_utility_stderr_snippet(server_id, max_chars); }));
          },
          py::arg("server_id"), py::arg("max_chars") = timings::snippet_characters)
      .def(
          "collect_utility_stderr_snippet",
          [](Manager& self, const Text& server_id, double max_wait, Integer max_chars) {
            return given_text(without_gil([&] {
              return self.collect_utility_stderr_snippet(server_id, max_wait, max_chars);
            }));
          },
          py::arg("server_id"), py::arg("max_wait") = timings::snippet_wait,
          py::arg("max_chars") = timings::snippet_characters);
}

}  // namespace

void bind_supervision(ManagerClass& manager) {
  bind_process_control(manager);
  bind_stop(manager);
  bind_stderr_snippets(manager);
}

}  // namespace python
