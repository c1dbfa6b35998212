#include "python/client_host.h"

#include <string>
#include <utility>

#include "python/calls.h"
#include "python/client_plugins.h"
#include "python/convert.h"
#include "python/gate.h"
#include "utility_manager/failures.h"

namespace utility_manager::python {
namespace {

constexpr const char* local_module = "velmora_client.utils.local";

/// Borrowed from references that are kept for ever.
struct LocalFunctions {
  PyObject* get_default_config_dir;
  PyObject* get_default_language;
  PyObject* get_gui_addr;
};

/// A member of the address that is no text or number is for the core to refuse, and not left out.
values::Value address_of(PyObject* answer) {
  auto address = lenient_to_value(answer);
  if (address.is_null() && is_true(answer)) throw TypeError("get_gui_addr must give a mapping");
  if (!address.is_mapping()) return address;
  for (const char* key : {"server_addr", "port"}) {
    const Ref member = optional_item(answer, key);
    if (member) address.mapping().set(key, to_carried_value(member.get()));
  }
  return address;
}

/// Only a list gives rights: what a conversion makes one of doesn't.
values::Value organizations_of(PyObject* answer) {
  auto result = lenient_to_value(answer);
  if (!result.is_mapping()) return result;
  const Ref organizations = optional_item(answer, "organizations");
  if (organizations && !PyList_Check(organizations.get())) {
    result.mapping().set("organizations", nullptr);
  }
  return result;
}

class ClientLocal : public host::Local {
 public:
  explicit ClientLocal(const LocalFunctions& functions) : functions_(functions) {}

  std::string get_default_config_dir() override {
    return with_gil([this] { return encoded_path(call(functions_.get_default_config_dir).get()); });
  }

  std::string get_plugin_dir() override {
    return with_gil([] {
      const Ref function = import_name(local_module, "get_plugin_dir");
      return encoded_path(call(function.get()).get());
    });
  }

  values::Value get_default_language() override {
    return with_gil(
        [this] { return lenient_to_value(call(functions_.get_default_language).get()); });
  }

  values::Value get_gui_addr() override {
    return with_gil([this] { return address_of(call(functions_.get_gui_addr).get()); });
  }

 private:
  LocalFunctions functions_;
};

class ClientOrganization : public host::Organization {
 public:
  explicit ClientOrganization(PyObject* get_org_list) : get_org_list_(get_org_list) {}

  values::Value get_org_list() override {
    return with_gil([this] { return organizations_of(call(get_org_list_).get()); });
  }

 private:
  PyObject* get_org_list_;
};

class ClientDevice : public host::Device {
 public:
  explicit ClientDevice(PyObject* get_group_detail) : get_group_detail_(get_group_detail) {}

  values::Value get_group_detail(const std::string& group_name) override {
    return with_gil([&] {
      const Ref name = decoded(group_name);
      return lenient_to_value(call(get_group_detail_, name.get()).get());
    });
  }

 private:
  PyObject* get_group_detail_;
};

}  // namespace

host::Services import_client_services() {
  Ref plugin_register = import_name("velmora_client.plugin.plugin_register", "plugin_register");
  Ref get_default_config_dir = import_name(local_module, "get_default_config_dir");
  Ref get_default_language = import_name(local_module, "get_default_language");
  Ref get_gui_addr = import_name(local_module, "get_gui_addr");
  Ref get_org_list = import_name("velmora_client.com.organization", "get_org_list");
  Ref get_group_detail = import_name("velmora_client.com.device", "get_group_detail");
  return {.plugin_register = new_plugin_register(std::move(plugin_register)),
          .local = new ClientLocal({.get_default_config_dir = get_default_config_dir.release(),
                                    .get_default_language = get_default_language.release(),
                                    .get_gui_addr = get_gui_addr.release()}),
          .organization = new ClientOrganization(get_org_list.release()),
          .device = new ClientDevice(get_group_detail.release()),
          .python = new_python_host()};
}

}  // namespace utility_manager::python
