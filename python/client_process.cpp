#include "python/client_process.h"

#include <utility>

#include "python/arguments.h"
#include "python/calls.h"
#include "python/gate.h"

namespace utility_manager::python {
namespace {

/// Nothing for null and for None.
std::optional<std::int64_t> number_of(const Ref& number) {
  if (!number || number.get() == Py_None) return std::nullopt;
  return to_pid(number.get());
}

class ClientProcess : public platform::ProcessHandle {
 public:
  explicit ClientProcess(Ref process) : process_(keep(std::move(process))) {}

  std::int64_t pid() const override {
    return with_gil(
        [this] { return number_of(optional_attribute(process_.get(), "pid")).value_or(0); });
  }

  std::optional<std::int64_t> poll() override {
    return with_gil([this] { return number_of(call_method(process_.get(), "poll")); });
  }

  void terminate() override {
    with_gil([this] { call_method(process_.get(), "terminate"); });
  }

  void kill() override {
    with_gil([this] { call_method(process_.get(), "kill"); });
  }

  std::optional<std::int64_t> wait(std::optional<double> seconds) override {
    return with_gil([&]() -> std::optional<std::int64_t> {
      const Ref timeout_expired = import_name("subprocess", "TimeoutExpired");
      const Ref timeout = seconds ? checked(PyFloat_FromDouble(*seconds)) : Ref::borrow(Py_None);
      const Ref method = attribute(process_.get(), "wait");
      const Ref names = checked(Py_BuildValue("{sO}", "timeout", timeout.get()));
      const Ref none = checked(PyTuple_New(0));
      const Ref code = Ref::steal(guarded_call(
          [m = method.get(), n = none.get(), k = names.get()] { return PyObject_Call(m, n, k); }));
      if (!code && !caught(timeout_expired.get())) throw_raised();
      return number_of(code);
    });
  }

  std::optional<std::int64_t> returncode() const override {
    return with_gil([this] { return number_of(optional_attribute(process_.get(), "returncode")); });
  }

  std::shared_ptr<platform::Stream> output_stream() const override { return nullptr; }
  std::shared_ptr<platform::Stream> error_stream() const override { return nullptr; }

 private:
  KeptObject process_;
};

}  // namespace

std::shared_ptr<platform::ProcessHandle> client_process(Ref process) {
  return std::make_shared<ClientProcess>(std::move(process));
}

}  // namespace utility_manager::python
