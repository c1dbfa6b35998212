#pragma once

#include <memory>
#include <string>
#include <utility>

#include "utility_manager/catalogue/icon_cache.h"
#include "values/value.h"

namespace utility_manager {

/// One utility of the catalogue, shared with callers. `fields` is the mapping form of its
/// registration and never changes; the encoded icons are kept beside it.
struct UtilityInfo {
  explicit UtilityInfo(values::Value mapping) : fields(std::move(mapping)) {}

  const values::Value fields;
  mutable IconCache icons;
};

using UtilityInfoPtr = std::shared_ptr<const UtilityInfo>;

}  // namespace utility_manager
