#pragma once

#include <memory>
#include <optional>
#include <string>

#include "utility_manager/catalogue/plugin_places.h"
#include "utility_manager/catalogue/utility_info.h"
#include "utility_manager/values/value.h"

/// The icons that the interface shows, as self-contained data URIs. An encoded icon is kept with
/// the utility for as long as the file's modification time stays the same. Nothing here takes the
/// manager's lock.
namespace utility_manager {

/// A data URI; null for none.
using DataUri = std::shared_ptr<const std::string>;

/// The absolute form of the first candidate for an icon that exists, or `icon_path` unchanged.
std::string resolve_icon_path(const std::string& icon_path,
                              const std::optional<std::string>& plugin_base_path);

/// The icon of this path, null when it can't be read. Never fails.
DataUri load_icon(const std::optional<std::string>& icon_path, const UtilityInfo& utility_info);

/// The icon that the registration names. Fails with `TypeError` when it names one but no plugin,
/// and lets failures of the client through.
DataUri load_registered_icon(const UtilityInfo& utility_info, PluginPlaces& places);

/// A copy of the entry for the interface, without `icon_path` and icon cache. Under `icon` stands
/// `loaded`, else a value of the registration's own, else null.
values::Value with_icon(const UtilityInfo& utility_info, const DataUri& loaded);

/// The same with the icon that the registration names. Fails as `load_registered_icon` does.
values::Value with_icon(const UtilityInfo& utility_info, PluginPlaces& places);

}  // namespace utility_manager
