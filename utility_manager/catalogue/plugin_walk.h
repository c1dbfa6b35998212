#pragma once

#include <string>

#include "utility_manager/catalogue/utility_map.h"

/// What the plugins say when they are asked. Slow, and holds no lock; a failure of a plugin loses
/// the rest of that plugin only, and no ordinary failure leaves a walk.
namespace utility_manager {

/// Asks every plugin; the last registration of a name stands.
UtilityMap collect_from_plugins();

/// Asks the plugins up to the first that registers the name; null when none does.
UtilityInfoPtr find_in_plugins(const std::string& utility_name);

}  // namespace utility_manager
