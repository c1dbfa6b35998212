#include <array>

#include "platform/stream.h"
#include "python/bind.h"
#include "python/calls.h"

namespace py = pybind11;

namespace python {
namespace {

using platform::ProcessHandle;
using platform::Stream;
using utility_manager::MonitorThread;

py::object exit_code(std::optional<int> code) {
  return code ? py::int_(*code) : py::object(py::none());
}

[[noreturn]] void throw_timeout_expired(std::int64_t pid, double seconds) {
  const auto expired = given(import_name("subprocess", "TimeoutExpired"));
  const auto failure = expired("process " + std::to_string(pid), seconds);
  PyErr_SetObject(expired.ptr(), failure.ptr());
  throw py::error_already_set();
}

int wait_for_end(ProcessHandle& self, std::optional<double> timeout) {
  const auto code = without_gil([&] { return self.wait(timeout); });
  if (!code) throw_timeout_expired(self.pid(), timeout.value_or(0));
  return *code;
}

/// Everything up to the end of the stream.
py::bytes read_all(Stream& self) {
  return py::bytes(without_gil([&] {
    std::string bytes;
    std::array<char, 64 * 1024> buffer;
    while (const auto count = self.read_some(buffer)) bytes.append(buffer.data(), count);
    return bytes;
  }));
}

void join(const MonitorThread& self, std::optional<double> timeout) {
  constexpr double hour = 3600;
  without_gil([&] {
    if (timeout) return self.join(*timeout);
    while (self.is_alive()) self.join(hour);
  });
}

}  // namespace

void bind_handles(py::module_& module) {
  py::class_<Stream, std::shared_ptr<Stream>>(module, "ChildStream")
      .def("read", &read_all)
      .def("close", [](Stream& self) { without_gil([&] { self.close(); }); })
      .def_property_readonly(
          "closed", [](const Stream& self) { return without_gil([&] { return self.closed(); }); });

  py::class_<ProcessHandle, std::shared_ptr<ProcessHandle>>(module, "ChildProcess")
      .def_property_readonly("pid", [](const ProcessHandle& self) { return self.pid(); })
      .def("poll",
           [](ProcessHandle& self) { return exit_code(without_gil([&] { return self.poll(); })); })
      .def("terminate", [](ProcessHandle& self) { without_gil([&] { self.terminate(); }); })
      .def("wait", &wait_for_end, py::arg("timeout") = py::none())
      .def_property_readonly("returncode",
                             [](const ProcessHandle& self) {
                               return exit_code(without_gil([&] { return self.returncode(); }));
                             })
      .def_property_readonly("stdout",
                             [](const ProcessHandle& self) { return self.output_stream(); })
      .def_property_readonly("stderr",
                             [](const ProcessHandle& self) { return self.error_stream(); })
      .def("__repr__", [](const ProcessHandle& self) {
        return "<child process " + std::to_string(self.pid()) + ">";
      });

  py::class_<MonitorThread, std::shared_ptr<MonitorThread>>(module, "MonitorThread")
      .def("is_alive",
           [](const MonitorThread& self) { return without_gil([&] { return self.is_alive(); }); })
      .def("join", &join, py::arg("timeout") = py::none());
}

}  // namespace python
