#pragma once

#include <memory>
#include <string>
#include <utility>

#include "utility_manager/catalogue/icon_cache.h"
#include "utility_manager/values/value.h"

namespace utility_manager {

/// One utility of the catalogue: the mapping form of its registration and, beside it, its encoded
/// icons, which a copy inherits. A utility of the catalogue is shared with callers and its fields
/// don't change.
struct UtilityInfo {
  explicit UtilityInfo(values::Value mapping) : fields(std::move(mapping)) {}

  values::Value fields;
  mutable IconCache icons;
};

using UtilityInfoPtr = std::shared_ptr<const UtilityInfo>;

}  // namespace utility_manager
