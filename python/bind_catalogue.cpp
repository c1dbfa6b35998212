#include "python/bind.h"
#include "utility_manager/catalogue/icons.h"
#include "utility_manager/catalogue/plugin_places.h"
#include "utility_manager/catalogue/plugin_walk.h"

namespace utility_manager::python {
namespace {

/// A mapping with `data` and `mtime`, nothing for anything else.
std::optional<IconCache::Entry> cache_entry(PyObject* value) {
  if (!PyDict_Check(value)) return std::nullopt;
  PyObject* const data = PyDict_GetItemString(value, "data");
  PyObject* const time = PyDict_GetItemString(value, "mtime");
  if (!data || !PyUnicode_Check(data) || !time || !PyFloat_Check(time)) return std::nullopt;
  return IconCache::Entry{.data = std::make_shared<const std::string>(encoded(data)),
                          .modification_time = PyFloat_AS_DOUBLE(time)};
}

/// A utility of the catalogue as the client holds it, with its icon cache inside. Entries that come
/// up in a call are written back.
struct UtilityWithIcons {
  using Type = std::unique_ptr<UtilityWithIcons>;
  static std::string name() { return "dict"; }
  static Type read(PyObject* object, const ArgumentName& which);

  explicit UtilityWithIcons(PyObject* utility);

  PyObject* dict;  ///< lives as long as the call
  UtilityInfo info;
  std::map<std::string, IconCache::Entry> before;
};

UtilityWithIcons::UtilityWithIcons(PyObject* utility)
    : dict(utility), info(info_to_value(utility)) {
  PyObject *key, *value;
  for (Py_ssize_t place = 0; PyDict_Next(utility, &place, &key, &value);) {
    if (!is_icon_cache_key(key)) continue;
    auto path = encoded_path(key).substr(icon_cache_prefix.size());
    if (auto entry = cache_entry(value)) info.icons.store(path, std::move(*entry));
  }
  before = info.icons.entries();
}

UtilityWithIcons::Type UtilityWithIcons::read(PyObject* object, const ArgumentName& which) {
  if (!PyDict_Check(object)) throw_wrong_type(which, name(), object);
  return std::make_unique<UtilityWithIcons>(object);
}

UtilityInfo& core_value(UtilityWithIcons::Type& utility) {
  return utility->info;
}

void after_call(const UtilityWithIcons::Type& utility) {
  for (const auto& [path, entry] : utility->info.icons.entries()) {
    const auto known = utility->before.find(path);
    if (known != utility->before.end() && known->second.data == entry.data) continue;
    set_icon(utility->dict, path, entry);
  }
}

/// A client can't hold the lock, whatever it says.
UtilityInfoPtr find(Manager& self, const std::string& utility_name, bool /*locked*/) {
  return self.catalogue().find(utility_name);
}

std::optional<std::string> base_path(const std::string& plugin_name, bool is_builtin) {
  return PluginPlaces().base_path(plugin_name, is_builtin);
}

std::optional<std::string> included_path(const std::string& plugin_name) {
  return PluginPlaces().included_path(plugin_name);
}

DataUri load(const Manager&, const std::optional<std::string>& icon_path, const UtilityInfo& info) {
  return load_icon(icon_path, info);
}

values::Value add_icon(const Manager&, const UtilityInfo& info) {
  PluginPlaces places;
  return with_icon(info, places);
}

}  // namespace

void bind_catalogue(PyObject* manager) {
  bind<&base_path, Text, Truth>(manager, "_get_plugin_base_path", {"plugin_name", "is_builtin"});
  bind<&included_path, Text>(manager, "_get_plugin_path_from_includes", {"plugin_name"});
  bind<&resolve_script_path, Path, Optional<Path>>(manager, "_resolve_script_path_at_registration",
                                                   {"script_path", "plugin_base_path"});
  bind<&resolve_plugin_script_path, Path, InfoMapping>(manager, "_resolve_plugin_script_path",
                                                       {"script_path", "utility_info"});

  bind<&collect_from_plugins>(manager, "_collect_registry_from_plugins");
  bind<&find_in_plugins, Text>(manager, "_get_utility_info_from_plugins", {"utility_name"});
  bind<&find, Text, Truth>(manager, "_get_utility_info",
                           {"utility_name", optional("locked", false)});
  bind<of_catalogue<&Catalogue::all>>(manager, "_get_all_utilities");
  bind<of_catalogue<&Catalogue::refresh>>(manager, "refresh_utility_registry");
  bind<of_catalogue<&Catalogue::script_of>, Text, Optional<Path>>(
      manager, "_get_utility_script_path", {"utility_name", optional("custom_path")});

  bind<&resolve_icon_path, Path, Optional<Path>>(manager, "_resolve_icon_path",
                                                 {"icon_path", "plugin_base_path"});
  bind<&load, Optional<Path>, UtilityWithIcons>(manager, "_load_icon_as_base64",
                                                {"icon_path", "utility_info"});
  bind<&add_icon, UtilityWithIcons>(manager, "_add_icon_to_utility_info", {"utility_info"});
}

}  // namespace utility_manager::python
