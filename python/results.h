#pragma once

#include <concepts>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include "python/convert.h"
#include "python/failures.h"
#include "python/instance.h"
#include "utility_manager/catalogue/utility_info.h"
#include "utility_manager/catalogue/utility_map.h"
#include "utility_manager/launch.h"
#include "utility_manager/port_pool.h"
#include "utility_manager/registration/registration.h"
#include "utility_manager/server_info.h"
#include "utility_manager/server_table.h"
#include "utility_manager/views/running_entry.h"

/// What bound operations give back, as Python objects. All of it needs the interpreter lock.
namespace utility_manager::python {

inline Ref given(bool truth) {
  return Ref::borrow(truth ? Py_True : Py_False);
}
template <std::integral Number>
Ref given(Number number) {
  return checked(PyLong_FromLongLong(static_cast<long long>(number)));
}
inline Ref given(double number) {
  return checked(PyFloat_FromDouble(number));
}
inline Ref given(const std::string& text) {
  return decoded(text);
}
/// The file system's bytes, as the interpreter itself decodes them.
struct FilePath {
  std::string bytes;
};
inline Ref given(const FilePath& path) {
  return checked(PyUnicode_DecodeFSDefaultAndSize(path.bytes.data(),
                                                  static_cast<Py_ssize_t>(path.bytes.size())));
}
inline Ref given(const values::Value& value) {
  return to_python(value);
}

/// The same object for as long as Python holds it.
template <typename Type>
requires Bound<std::remove_const_t<Type>> Ref given(const std::shared_ptr<Type>& held) {
  using Held = std::remove_const_t<Type>;
  return object_for(class_of<Held>, std::const_pointer_cast<Held>(held));
}
inline Ref given(const std::shared_ptr<const std::string>& text) {
  return text ? decoded(*text) : Ref::borrow(Py_None);
}

/// A utility of the catalogue as a dict, with its encoded icons; None for null.
Ref given(const UtilityInfoPtr& info);

/// Writes an encoded icon into the dict of a utility.
void set_icon(PyObject* utility, const std::string& path, const IconCache::Entry& icon);

/// Utilities by name.
Ref given(const UtilityMap& map);
inline Ref given(const std::shared_ptr<const UtilityMap>& map) {
  return given(*map);
}

/// An instance as a dict, with its handle and its buffer of standard error where it has them.
Ref given(const ServerInfo& info);

/// A new object, with its extras in a live dict.
Ref given(const UtilityRegistration& registration);

/// Instances by identifier.
Ref given(const ServerTable::Records& instances);

/// Running instances as the flat list, the grouped one and the look-up show them.
Ref given(const std::vector<RunningEntry>& entries);
Ref given(const GroupedEntries& entries);
Ref given(const std::optional<RunningEntry>& entry);

/// The pair of handle and buffer.
Ref given(const LaunchedProcess& child);

Ref given(const PortPool::Ports& ports);

template <typename Item>
Ref given(const std::optional<Item>& item) {
  return item ? given(*item) : Ref::borrow(Py_None);
}

template <typename Item>
Ref given(const std::vector<Item>& items) {
  Ref list = checked(PyList_New(0));
  for (const auto& item : items) checked(PyList_Append(list.get(), given(item).get()));
  return list;
}

template <typename Result>
void set_member(const Ref& dict, const std::string& key, const Result& result) {
  checked(PyDict_SetItem(dict.get(), decoded(key).get(), given(result).get()));
}

}  // namespace utility_manager::python
