#include "python/client_plugins.h"

#include <memory>
#include <string>
#include <utility>

#include "python/calls.h"
#include "python/convert.h"
#include "python/gate.h"
#include "utility_manager/failures.h"
#include "utility_manager/platform/paths.h"

namespace utility_manager::python {
namespace {

Ref path_object(const std::string& path) {
  return checked(
      PyUnicode_DecodeFSDefaultAndSize(path.data(), static_cast<Py_ssize_t>(path.size())));
}

class ClientRegistrations : public host::Registrations {
 public:
  /// `items` is a list of its own.
  explicit ClientRegistrations(Ref items)
      : count_(static_cast<std::size_t>(PyList_GET_SIZE(items.get()))),
        items_(keep(std::move(items))) {}

  std::size_t count() const override { return count_; }

  bool is_mapping(std::size_t index) const override {
    return with_gil([&] { return python::is_mapping(item(index)); });
  }

  bool is_named(std::size_t index, const std::string& utility_name) const override {
    return with_gil([&] {
      if (!python::is_mapping(item(index))) return false;
      const Ref name = optional_item(item(index), "utility_name");
      const Ref wanted = decoded(utility_name);
      return name && checked(guarded_call([a = name.get(), b = wanted.get()] {
                       return PyObject_RichCompareBool(a, b, Py_EQ);
                     })) != 0;
    });
  }

  values::Value mapping(std::size_t index) const override {
    return with_gil([&] { return registration_to_value(item(index)); });
  }

 private:
  PyObject* item(std::size_t index) const {
    return PyList_GET_ITEM(items_.get(), static_cast<Py_ssize_t>(index));
  }

  std::size_t count_;
  KeptObject items_;
};

/// A list stands as it is, anything else for its only item, and nothing for what isn't truthy.
Ref as_list(PyObject* given) {
  if (PyList_Check(given)) return checked(PyList_GetSlice(given, 0, PyList_GET_SIZE(given)));
  Ref items = checked(PyList_New(0));
  if (is_true(given)) checked(PyList_Append(items.get(), given));
  return items;
}

class ClientPlugin : public host::Plugin {
 public:
  explicit ClientPlugin(Ref plugin) : plugin_(keep(std::move(plugin))) {}

  std::string name() const override {
    return with_gil([this]() -> std::string {
      Ref name = optional_attribute(plugin_.get(), "plugin_name");
      if (!name || !is_true(name.get())) name = optional_attribute(plugin_.get(), "name");
      if (!name) return "unknown";
      if (PyUnicode_Check(name.get())) return encoded(name.get());
      throw utility_manager::TypeError("the name of a plugin must be a str");
    });
  }

  std::unique_ptr<host::Registrations> utility_server_register() const override {
    return with_gil([this] {
      const Ref given = call_method(plugin_.get(), "utility_server_register");
      return std::make_unique<ClientRegistrations>(as_list(given.get()));
    });
  }

 private:
  KeptObject plugin_;
};

class ClientPluginWalk : public host::PluginWalk {
 public:
  explicit ClientPluginWalk(Ref iterator) : iterator_(keep(std::move(iterator))) {}

  std::unique_ptr<host::Plugin> next() override {
    return with_gil([this]() -> std::unique_ptr<host::Plugin> {
      Ref plugin =
          Ref::steal(guarded_call([iterator = iterator_.get()] { return PyIter_Next(iterator); }));
      if (plugin) return std::make_unique<ClientPlugin>(std::move(plugin));
      if (PyErr_Occurred()) throw_raised();
      return nullptr;
    });
  }

 private:
  KeptObject iterator_;
};

class ClientPluginRegister : public host::PluginRegister {
 public:
  explicit ClientPluginRegister(PyObject* plugin_register) : plugin_register_(plugin_register) {}

  std::unique_ptr<host::PluginWalk> get_plugins_by_hook(const std::string& hook) override {
    return with_gil([&] {
      const Ref name = decoded(hook);
      const Ref plugins = call_method(plugin_register_, "get_plugins_by_hook", name.get());
      return std::make_unique<ClientPluginWalk>(
          checked(guarded_call([all = plugins.get()] { return PyObject_GetIter(all); })));
    });
  }

 private:
  PyObject* plugin_register_;
};

class ClientInterpreter : public host::PythonHost {
 public:
  std::optional<std::string> base_executable() override { return text_of("_base_executable"); }

  std::string executable() override { return text_of("executable").value_or(""); }

  void ensure_on_module_path(const std::string& directory) override {
    with_gil([&] {
      const Ref path = attribute(import_module("sys").get(), "path");
      const Ref entry = path_object(directory);
      const bool known = checked(guarded_call([all = path.get(), one = entry.get()] {
                           return PySequence_Contains(all, one);
                         })) != 0;
      const Ref front = checked(PyLong_FromLong(0));
      if (!known) call_method(path.get(), "insert", front.get(), entry.get());
    });
  }

  bool module_carries_plugin_name(const std::string& name,
                                  const std::string& plugin_name) override {
    return with_gil([&] {
      const Ref importlib = import_module("importlib");
      const Ref module_name = path_object(name);
      const Ref module = call_method(importlib.get(), "import_module", module_name.get());
      const Ref names = attribute(module.get(), "__dict__");
      const Ref marker = optional_item(names.get(), "__VELMORA_PLUGIN_NAME__");
      const Ref wanted = decoded(plugin_name);
      return marker && checked(guarded_call([a = marker.get(), b = wanted.get()] {
                         return PyObject_RichCompareBool(a, b, Py_EQ);
                       })) != 0;
    });
  }

  std::string built_in_plugin_directory() override {
    return with_gil([] {
      const Ref package = import_module("velmora_client.plugin.built_in");
      return platform::directory_part(encoded_path(attribute(package.get(), "__file__").get()));
    });
  }

 private:
  static std::optional<std::string> text_of(const char* name) {
    return with_gil([name]() -> std::optional<std::string> {
      const Ref value = optional_attribute(import_module("sys").get(), name);
      if (!value || !PyUnicode_Check(value.get())) return std::nullopt;
      return encoded_path(value.get());
    });
  }
};

}  // namespace

host::PluginRegister* new_plugin_register(Ref plugin_register) {
  return new ClientPluginRegister(plugin_register.release());
}

host::PythonHost* new_python_host() {
  return new ClientInterpreter;
}

}  // namespace utility_manager::python
