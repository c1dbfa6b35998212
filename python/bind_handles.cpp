#include "python/bind.h"
#include "python/calls.h"
#include "python/waits.h"
#include "utility_manager/platform/stream.h"
#include "utility_manager/supervision/monitor_thread.h"

namespace utility_manager::python {
namespace {

using platform::ProcessHandle;
using platform::Stream;

/// How a wait for a child ended.
struct Waited {
  std::optional<std::int64_t> code;
  std::int64_t pid;
  std::optional<double> timeout;
};

Waited wait(ProcessHandle& self, std::optional<double> timeout) {
  std::optional<std::int64_t> code;
  wait_in_slices(platform::Deadline(timeout), [&](double slice) {
    code = self.wait(slice);
    return code.has_value();
  });
  return {code, self.pid(), timeout};
}

Ref given(const Waited& waited) {
  if (waited.code) return python::given(*waited.code);
  const Ref type = import_name("subprocess", "TimeoutExpired");
  const Ref name = decoded("process " + std::to_string(waited.pid));
  const Ref seconds = checked(PyFloat_FromDouble(waited.timeout.value_or(0)));
  const Ref failure = call(type.get(), name.get(), seconds.get());
  PyErr_SetObject(type.get(), failure.get());
  throw_raised();
}

struct Bytes {
  std::string bytes;
};

/// Everything up to the end of the stream.
Bytes read_all(Stream& self) {
  std::string bytes;
  std::vector<char> buffer(limits::relay_chunk_bytes);
  wait_in_slices(platform::Deadline(std::nullopt), [&](double slice) {
    const auto count = self.read_some(buffer, slice);
    bytes.append(buffer.data(), count.value_or(0));
    return count == 0;
  });
  return {std::move(bytes)};
}

Ref given(const Bytes& read) {
  return checked(
      PyBytes_FromStringAndSize(read.bytes.data(), static_cast<Py_ssize_t>(read.bytes.size())));
}

std::string text_form(const ProcessHandle& self) {
  return "<child process " + std::to_string(self.pid()) + ">";
}

void join(const MonitorThread& self, std::optional<double> timeout) {
  wait_in_slices(platform::Deadline(timeout), [&](double slice) {
    self.join(slice);
    return !self.is_alive();
  });
}

}  // namespace

void bind_handles() {
  auto* const stream = bind_class<Stream>("utility_manager.ChildStream", Origin::system);
  bind<&read_all>(stream, "read");
  bind<&Stream::close>(stream, "close");
  bind_attribute<&Stream::closed>(stream, "closed");

  auto* const process = bind_class<ProcessHandle>("utility_manager.ChildProcess", Origin::system);
  bind<&ProcessHandle::poll>(process, "poll");
  bind<&ProcessHandle::terminate>(process, "terminate");
  bind<&wait, Optional<Real>>(process, "wait", {optional("timeout")});
  bind<&text_form>(process, "__repr__");
  bind_attribute<&ProcessHandle::pid>(process, "pid");
  bind_attribute<&ProcessHandle::returncode>(process, "returncode");
  bind_attribute<&ProcessHandle::output_stream>(process, "stdout");
  bind_attribute<&ProcessHandle::error_stream>(process, "stderr");

  auto* const monitor = bind_class<MonitorThread>("utility_manager.MonitorThread", Origin::system);
  bind<&MonitorThread::is_alive>(monitor, "is_alive");
  bind<&join, Optional<Real>>(monitor, "join", {optional("timeout")});
}

}  // namespace utility_manager::python
