#include "python/bind.h"
#include "utility_manager/persistence/state_file_form.h"
#include "utility_manager/platform/files.h"

namespace utility_manager::python {
namespace {

/// An instance as the client holds it, with what is written to a state file.
struct Instance {
  using Type = values::Mapping;
  static std::string name() { return "dict"; }
  static Type read(PyObject* object, const ArgumentName& which);
};

/// Adds a member that there is, read as a kind; None is null.
template <typename Kind>
void add(values::Mapping& members, PyObject* dict, const char* key, const ArgumentName& which) {
  PyObject* const object = PyDict_GetItemString(dict, key);
  if (!object) return;
  auto value = Optional<Kind>::read(object, {which.operation, key});
  members.append(key, value ? values::Value(*std::move(value)) : values::Value());
}

values::Mapping Instance::read(PyObject* object, const ArgumentName& which) {
  if (!PyDict_Check(object)) throw_wrong_type(which, name(), object);
  PyObject* const server_id = PyDict_GetItemString(object, "server_id");
  if (!server_id) raise(PyExc_KeyError, "server_id");
  values::Mapping members;
  members.append("server_id", Text::read(server_id, {which.operation, "server_id"}));
  for (const char* key : {"utility_name", "lang", "studio_url", "group_name"}) {
    add<Text>(members, object, key, which);
  }
  add<Integer>(members, object, "port", which);
  add<Pid>(members, object, "pid", which);
  for (const char* key : {"config", "create_time"}) add<Data>(members, object, key, which);
  return members;
}

void persist(const Manager& self, const values::Mapping& server_info, bool require_group_name) {
  const LockHeld held(self.lock);
  platform::write_file(self._state_file_path(server_info.find("server_id")->text()),
                       write_state_file(server_info, require_group_name));
}

FilePath state_file_path(const Manager& self, const std::string& server_id) {
  return {self._state_file_path(server_id)};
}

}  // namespace

void bind_state_files(PyObject* manager) {
  bind<&state_file_path, Text>(manager, "_state_file_path", {"server_id"});
  bind<&persist, Instance, Truth>(manager, "_persist_server_state",
                                  {"server_info", "require_group_name"});
  bind<&Manager::_remove_state_file, Text>(manager, "_remove_state_file", {"server_id"});
  bind<&Manager::_load_persisted_states>(manager, "_load_persisted_states");
}

}  // namespace utility_manager::python
