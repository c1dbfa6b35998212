#include "python/bind.h"
#include "utility_manager/addresses.h"
#include "utility_manager/command_line.h"

namespace utility_manager::python {
namespace {

/// The object that `__init__` is called on, and its manager.
struct NewManager {
  using Type = NewManager;
  static std::string name() { return class_of<Manager>->tp_name; }
  static Type read(PyObject* object, const ArgumentName& which) {
    refuse_forked_child();
    if (!is_instance<Manager>(object)) throw_wrong_type(which, name(), object);
    return {.object = object, .made = nullptr};
  }

  PyObject* object;
  std::shared_ptr<Manager> made;
};

void make(NewManager& manager) {
  manager.made = std::make_shared<Manager>();
}

void after_call(const NewManager& manager) {
  hold(manager.object, manager.made);
}

PortPool::Ports port_pool(const Manager&) {
  return PortPool::all();
}

FilePath state_dir(const Manager& self) {
  return {self.state_dir()};
}

void bind_attributes(PyObject* manager) {
  bind_attribute<&Manager::servers>(manager, "servers");
  bind_attribute<&Manager::used_ports>(manager, "used_ports");
  bind_attribute<&Manager::monitor_thread>(manager, "monitor_thread");
  bind_attribute<&Manager::running>(manager, "running");
  bind_attribute<of_catalogue<&Catalogue::snapshot>>(manager, "utility_registry");
  bind_attribute<of_catalogue<&Catalogue::is_complete>>(manager, "_utility_registry_complete");
  bind_attribute<&state_dir>(manager, "state_dir");
  bind_attribute<&port_pool>(manager, "port_pool");
}

}  // namespace

void bind_manager(PyObject* module) {
  PyObject* const manager =
      bind_class<Manager>("utility_manager.UtilityServerManager", Origin::client);
  bind(manager, operation_of<&make, NewManager>("__init__", {"self"}, true));
  bind_attributes(manager);
  bind_launch(manager);
  bind_supervision(manager);
  bind_state_files(manager);
  bind_catalogue(manager);
  bind_views(manager);
  checked(PyModule_AddObjectRef(module, "UtilityServerManager", manager));
  bind<&build_mapped_url, Text, Optional<Text>, Truth>(
      module, "_build_mapped_url", {"utility_name", "group_name", "require_group_name"});
  bind<&client_interpreter>(module, "_utility_subprocess_python_executable");
}

}  // namespace utility_manager::python
