#include "python/bind.h"
#include "python/inspection_layer.h"

namespace utility_manager::python {
namespace {

using platform::ProcessTable;

std::string text_form(const ProcessTable&) {
  return "<native process inspection>";
}

}  // namespace

Ref native_layer_object(const ProcessTable& processes) {
  auto* const type = bind_class<ProcessTable>("utility_manager.NativeInspection", Origin::system);
  bind<&ProcessTable::exists, Pid>(type, "pid_exists", {"pid"});
  bind<&text_form>(type, "__repr__");
  return given(std::shared_ptr<const ProcessTable>(&processes, [](const auto*) {}));
}

}  // namespace utility_manager::python
