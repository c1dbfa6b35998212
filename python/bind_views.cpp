#include "python/bind.h"
#include "utility_manager/access/access.h"
#include "utility_manager/registration/placement.h"

namespace utility_manager::python {

void bind_views(PyObject* manager) {
  bind<&user_permissions>(manager, "_get_user_permissions");
  bind<&check_utility_permission, InfoMapping, Permissions, Optional<Text>>(
      manager, "_check_utility_permission",
      {"utility_info", optional("user_permissions"), optional("group_name")});
  bind<&user_role_in_org, Data, Permissions>(manager, "_get_user_role_in_org",
                                             {"organization_id", optional("user_permissions")});
  bind<&check_org_admin_for_group, Text, Permissions>(manager, "_check_org_admin_for_group",
                                                      {"group_name", optional("user_permissions")});

  bind<&Manager::list_utility_servers>(manager, "list_utility_servers");
  bind<&Manager::list_all_running_utilities_grouped>(manager, "list_all_running_utilities_grouped");
  bind<&Manager::_find_running_utility, Text, Optional<Text>>(
      manager, "_find_running_utility", {"utility_name", optional("group_name")});

  bind<&Manager::get_utilities_without_group_name>(manager, "get_utilities_without_group_name");
  bind<&Manager::get_utilities_with_group_name, Text>(manager, "get_utilities_with_group_name",
                                                      {"group_name"});
  bind<&Manager::get_navbar_utilities>(manager, "get_navbar_utilities");
  bind<&Manager::get_create_exp_utilities, Text>(manager, "get_create_exp_utilities",
                                                 {"group_name"});
  bind<&is_navbar, InfoMapping>(manager, "_utility_is_navbar", {"utility"});
  bind<&is_create_exp_entry, InfoMapping>(manager, "_utility_is_create_exp_entry", {"utility"});
}

}  // namespace utility_manager::python
