#include "python/client_process.h"

#include <algorithm>
#include <limits>
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

std::optional<int> code_of(const Ref& code) {
  const auto number = number_of(code);
  if (!number) return std::nullopt;
  using range = std::numeric_limits<int>;
  return static_cast<int>(std::clamp<std::int64_t>(*number, range::min(), range::max()));
}

class ClientProcess : public platform::ProcessHandle {
 public:
  explicit ClientProcess(Ref process) : process_(keep(std::move(process))) {}

  std::int64_t pid() const override {
    return with_gil(
        [this] { return number_of(optional_attribute(process_.get(), "pid")).value_or(0); });
  }

  std::optional<int> poll() override {
    return with_gil([this] { return code_of(call_method(process_.get(), "poll")); });
  }

  void terminate() override {
    with_gil([this] { call_method(process_.get(), "terminate"); });
  }

  void kill() override {
    with_gil([this] { call_method(process_.get(), "kill"); });
  }

  std::optional<int> wait(std::optional<double> seconds) override {
    return with_gil([&]() -> std::optional<int> {
      const Ref timeout_expired = import_name("subprocess", "TimeoutExpired");
      const Ref timeout = seconds ? checked(PyFloat_FromDouble(*seconds)) : Ref::borrow(Py_None);
      const Ref method = attribute(process_.get(), "wait");
      const Ref names = checked(Py_BuildValue("{sO}", "timeout", timeout.get()));
      const Ref none = checked(PyTuple_New(0));
      const Ref code = Ref::steal(guarded_call(
          [m = method.get(), n = none.get(), k = names.get()] { return PyObject_Call(m, n, k); }));
      if (!code && !caught(timeout_expired.get())) throw_raised();
      return code_of(code);
    });
  }

  std::optional<int> returncode() const override {
    return with_gil([this] { return code_of(optional_attribute(process_.get(), "returncode")); });
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
