#pragma once

#include <map>
#include <optional>
#include <string>
#include <unordered_map>

#include "utility_manager/catalogue/plugin_places.h"
#include "utility_manager/catalogue/utility_info.h"
#include "values/value.h"

namespace utility_manager {

class UtilityServerManager;

/// What one listing or view has asked the client for: nothing before it is needed, and nothing
/// twice. Belongs to one call and one thread.
class ViewContext {
 public:
  /// The address of a utility through the Studio's web application.
  std::string mapped_url(const std::string& utility_name,
                         const std::optional<std::string>& group_name, bool require_group_name);

  /// The catalogue's record of a utility, null when nobody registers it. `locked` as in
  /// `_get_utility_info`.
  UtilityInfoPtr utility_info(UtilityServerManager& manager, const std::string& utility_name,
                              bool locked);

  const std::optional<std::string>& plugin_base_path(const std::string& plugin_name,
                                                     bool is_builtin);

  /// The access decision with the user's rights, fetched once.
  bool may_use(const values::Value& utility_info, const std::optional<std::string>& group_name);

  /// Fetches the user's rights now.
  void fetch_permissions();

 private:
  bool administrates(const std::string& group_name);

  std::optional<std::string> gui_base_;
  std::optional<values::Value> permissions_;
  ClientDirectories directories_;
  std::unordered_map<std::string, UtilityInfoPtr> utility_infos_;
  std::map<std::string, std::optional<std::string>> base_paths_;  ///< by plugin
  std::map<std::string, std::optional<std::string>> builtin_base_paths_;
  std::map<std::string, bool> group_decisions_;
};

}  // namespace utility_manager
