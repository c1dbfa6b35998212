#include "python/bind.h"

namespace py = pybind11;

namespace python {
namespace {

using utility_manager::LockHeld;
using utility_manager::UtilityInfo;
using utility_manager::UtilityInfoPtr;

py::object record(const UtilityInfoPtr& info) {
  return info ? given(info->fields) : py::none();
}

py::list records(const std::vector<UtilityInfoPtr>& infos) {
  py::list result;
  for (const auto& info : infos) result.append(record(info));
  return result;
}

py::dict by_name(const utility_manager::UtilityMap& map) {
  py::dict result;
  for (const auto& info : map.records()) {
    const auto fields = record(info);
    result[fields["utility_name"]] = fields;
  }
  return result;
}

/// A mapping with `data` and `mtime`, nothing for anything else.
std::optional<utility_manager::IconCache::Entry> cache_entry(py::handle value) {
  if (!py::isinstance<py::dict>(value)) return std::nullopt;
  const auto entry = py::reinterpret_borrow<py::dict>(value);
  if (!entry.contains("data") || !entry.contains("mtime")) return std::nullopt;
  if (!py::isinstance<py::str>(entry["data"])) return std::nullopt;
  if (!py::isinstance<py::float_>(entry["mtime"])) return std::nullopt;
  return utility_manager::IconCache::Entry{
      .data = std::make_shared<const std::string>(encoded(entry["data"].ptr())),
      .modification_time = entry["mtime"].cast<double>()};
}

/// A record of the catalogue as Python holds it, with its icon cache inside.
class InfoDict {
 public:
  explicit InfoDict(py::dict dict) : dict_(std::move(dict)), info_(info_to_value(dict_.ptr())) {
    for (const auto& [key, value] : dict_) {
      if (!is_icon_cache_key(key.ptr())) continue;
      if (auto entry = cache_entry(value)) info_.icons.store(path_of(key), std::move(*entry));
    }
    before_ = info_.icons.entries();
  }

  const UtilityInfo& info() const { return info_; }

  /// Writes the entries that came up back into the dict.
  void write_back() {
    for (const auto& [path, entry] : info_.icons.entries()) {
      const auto known = before_.find(path);
      if (known != before_.end() && known->second.data == entry.data) continue;
      py::dict value;
      value["data"] = given_text(*entry.data);
      value["mtime"] = entry.modification_time;
      dict_[given_text(std::string(icon_cache_prefix) + path)] = value;
    }
  }

 private:
  static std::string path_of(py::handle key) {
    return encoded_path(key.ptr()).substr(icon_cache_prefix.size());
  }

  py::dict dict_;
  UtilityInfo info_;
  std::map<std::string, utility_manager::IconCache::Entry> before_;
};

py::object load_icon_as_base64(const Manager& self, const std::optional<Path>& icon_path,
                               const py::dict& utility_info) {
  InfoDict dict(utility_info);
  const auto data = without_gil([&] { return self._load_icon_as_base64(icon_path, dict.info()); });
  dict.write_back();
  return data ? given_text(*data) : py::none();
}

py::object add_icon_to_utility_info(const Manager& self, const py::dict& utility_info) {
  InfoDict dict(utility_info);
  const auto result = without_gil([&] { return self._add_icon_to_utility_info(dict.info()); });
  dict.write_back();
  return given(result);
}

/// `locked` says where the look-up inserts; a Python caller can't hold the lock, so it is taken.
py::object get_utility_info(Manager& self, const Text& utility_name, Truth locked) {
  return record(without_gil([&] {
    if (!locked) return self._get_utility_info(utility_name);
    const LockHeld held(self.lock);
    return self._get_utility_info(utility_name, true);
  }));
}

void bind_plugin_paths(ManagerClass& manager) {
  manager
      .def_static(
          "_get_plugin_base_path",
          [](const Text& plugin_name, Truth is_builtin) {
            return given_text(without_gil(
                [&] { return Manager::_get_plugin_base_path(plugin_name, is_builtin); }));
          },
          py::arg("plugin_name"), py::arg("is_builtin"))
      .def_static(
          "_get_plugin_path_from_includes",
          [](const Text& plugin_name) {
            return given_text(
                without_gil([&] { return Manager::_get_plugin_path_from_includes(plugin_name); }));
          },
          py::arg("plugin_name"))
      .def_static(
          "_resolve_script_path_at_registration",
          [](const Path& script_path, const std::optional<Path>& plugin_base_path) {
            return given_text(without_gil([&] {
              return Manager::_resolve_script_path_at_registration(script_path, plugin_base_path);
            }));
          },
          py::arg("script_path"), py::arg("plugin_base_path"))
      .def_static(
          "_resolve_plugin_script_path",
          [](const Path& script_path, const InfoMapping& utility_info) {
            return given_text(without_gil([&] {
              return Manager::_resolve_plugin_script_path(script_path, utility_info.value);
            }));
          },
          py::arg("script_path"), py::arg("utility_info"));
}

void bind_registry(ManagerClass& manager) {
  manager
      .def_static("_collect_registry_from_plugins",
                  [] { return by_name(without_gil(Manager::_collect_registry_from_plugins)); })
      .def_static(
          "_get_utility_info_from_plugins",
          [](const Text& utility_name) {
            return record(
                without_gil([&] { return Manager::_get_utility_info_from_plugins(utility_name); }));
          },
          py::arg("utility_name"))
      .def("_get_utility_info", &get_utility_info, py::arg("utility_name"),
           py::arg("locked") = false)
      .def("_get_all_utilities",
           [](Manager& self) {
             return records(without_gil([&] { return self._get_all_utilities(); }));
           })
      .def("refresh_utility_registry",
           [](Manager& self) { without_gil([&] { self.refresh_utility_registry(); }); })
      .def(
          "_get_utility_script_path",
          [](Manager& self, const Text& utility_name, const std::optional<Path>& custom_path) {
            return given_text(without_gil(
                [&] { return self._get_utility_script_path(utility_name, custom_path); }));
          },
          py::arg("utility_name"), py::arg("custom_path") = py::none());
}

void bind_icons(ManagerClass& manager) {
  manager
      .def_static(
          "_resolve_icon_path",
          [](const Path& icon_path, const std::optional<Path>& plugin_base_path) {
            return given_text(without_gil(
                [&] { return Manager::_resolve_icon_path(icon_path, plugin_base_path); }));
          },
          py::arg("icon_path"), py::arg("plugin_base_path"))
      .def("_load_icon_as_base64", &load_icon_as_base64, py::arg("icon_path"),
           py::arg("utility_info"))
      .def("_add_icon_to_utility_info", &add_icon_to_utility_info, py::arg("utility_info"));
}

}  // namespace

void bind_catalogue(ManagerClass& manager) {
  bind_plugin_paths(manager);
  bind_registry(manager);
  bind_icons(manager);
}

}  // namespace python
