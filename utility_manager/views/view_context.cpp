#include "utility_manager/views/view_context.h"

#include "host/services.h"
#include "utility_manager/access/access_decision.h"
#include "utility_manager/addresses.h"
#include "utility_manager/utility_manager.h"

namespace utility_manager {

std::string ViewContext::mapped_url(const std::string& utility_name,
                                    const std::optional<std::string>& group_name,
                                    bool require_group_name) {
  if (!gui_base_) gui_base_ = gui_address_or_fallback(host::services().local->get_gui_addr());
  return utility_manager::mapped_url(*gui_base_, utility_name, group_name, require_group_name);
}

UtilityInfoPtr ViewContext::utility_info(UtilityServerManager& manager,
                                         const std::string& utility_name, bool locked) {
  const auto known = utility_infos_.find(utility_name);
  if (known != utility_infos_.end()) return known->second;
  auto info = manager._get_utility_info(utility_name, locked);
  utility_infos_.emplace(utility_name, info);
  return info;
}

const std::optional<std::string>& ViewContext::plugin_base_path(const std::string& plugin_name,
                                                                bool is_builtin) {
  auto& base_paths = is_builtin ? builtin_base_paths_ : base_paths_;
  const auto known = base_paths.find(plugin_name);
  if (known != base_paths.end()) return known->second;
  return base_paths
      .emplace(plugin_name,
               utility_manager::plugin_base_path(plugin_name, is_builtin, directories_))
      .first->second;
}

void ViewContext::fetch_permissions() {
  permissions_ = UtilityServerManager::_get_user_permissions();
}

bool ViewContext::may_use(const values::Value& utility_info,
                          const std::optional<std::string>& group_name) {
  if (!permissions_) fetch_permissions();
  return utility_manager::may_use(
      utility_info, *permissions_, group_name,
      [this](const std::string& group) { return administrates(group); });
}

bool ViewContext::administrates(const std::string& group_name) {
  const auto known = group_decisions_.find(group_name);
  if (known != group_decisions_.end()) return known->second;
  const bool answer = UtilityServerManager::_check_org_admin_for_group(group_name, *permissions_);
  group_decisions_.emplace(group_name, answer);
  return answer;
}

}  // namespace utility_manager
