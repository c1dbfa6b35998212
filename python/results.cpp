#include "python/results.h"

namespace utility_manager::python {

Ref given(const UtilityInfoPtr& info) {
  if (!info) return Ref::borrow(Py_None);
  Ref utility = given(info->fields);
  for (const auto& [path, icon] : info->icons.entries()) set_icon(utility.get(), path, icon);
  return utility;
}

void set_icon(PyObject* utility, const std::string& path, const IconCache::Entry& icon) {
  const Ref entry = checked(PyDict_New());
  set_member(entry, "data", icon.data);
  set_member(entry, "mtime", icon.modification_time);
  const Ref key = decoded(std::string(icon_cache_prefix) + path);
  checked(guarded_call([=, name = key.get(), value = entry.get()] {
    return PyObject_SetItem(utility, name, value);
  }));
}

Ref given(const UtilityMap& map) {
  Ref dict = checked(PyDict_New());
  for (const auto& info : map.entries()) {
    const Ref utility = given(info);
    PyObject* const name = PyDict_GetItemString(utility.get(), "utility_name");
    checked(PyDict_SetItem(dict.get(), name, utility.get()));
  }
  return dict;
}

Ref given(const ServerInfo& info) {
  Ref dict = checked(PyDict_New());
  set_member(dict, "server_id", info.server_id);
  set_member(dict, "utility_name", info.utility_name);
  set_member(dict, "port", info.port);
  set_member(dict, "pid", info.pid);
  set_member(dict, "process", info.process);
  set_member(dict, "config", info.config);
  set_member(dict, "create_time", info.create_time);
  if (info.lang) set_member(dict, "lang", *info.lang);
  if (info.studio_url) set_member(dict, "studio_url", *info.studio_url);
  if (info.group_name) set_member(dict, "group_name", *info.group_name);
  if (info.stderr_buffer) set_member(dict, "stderr_buffer", info.stderr_buffer);
  return dict;
}

Ref given(const ServerTable::Records& instances) {
  Ref dict = checked(PyDict_New());
  for (const auto& instance : instances) set_member(dict, instance->server_id, *instance);
  return dict;
}

Ref given(const LaunchedProcess& child) {
  const Ref process = given(child.process);
  const Ref lines = given(child.stderr_buffer);
  return checked(PyTuple_Pack(2, process.get(), lines.get()));
}

Ref given(const PortPool::Ports& ports) {
  Ref set = checked(PySet_New(nullptr));
  for (const auto port : ports) checked(PySet_Add(set.get(), given(port).get()));
  return set;
}

}  // namespace utility_manager::python
