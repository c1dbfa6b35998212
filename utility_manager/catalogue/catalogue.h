#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "utility_manager/catalogue/utility_map.h"
#include "utility_manager/lock.h"
#include "utility_manager/published.h"

namespace utility_manager {

/// What the plugins register, kept until the next refresh. Readers take a snapshot and wait for
/// nobody; whoever changes it holds the manager's lock. Plugins are asked without that lock. A
/// refresh begins a new generation, and what a walk of an older one found isn't kept.
class Catalogue {
 public:
  explicit Catalogue(Lock& lock) : lock_(lock) {}

  /// The utilities known by now.
  std::shared_ptr<const UtilityMap> snapshot() const { return state_.read()->utilities; }

  /// True when a whole collection is in place.
  bool is_complete() const { return state_.read()->complete; }

  /// The known entry, else what the plugins say, which is then kept; null when nobody registers the
  /// name.
  UtilityInfoPtr find(const std::string& utility_name) UM_EXCLUDES(lock_);

  /// Every utility in the catalogue's order; asks the plugins unless that has been done since the
  /// last refresh.
  std::vector<UtilityInfoPtr> all() UM_EXCLUDES(lock_);

  /// Forgets everything; the plugins are asked again when next needed.
  void refresh() UM_EXCLUDES(lock_);

  /// The script that a start runs: `custom_path` unless null or empty, else the registered one.
  /// Fails with `RuntimeError` when there is none, and as `resolve_plugin_script_path` does.
  std::string script_of(const std::string& utility_name,
                        const std::optional<std::string>& custom_path = {}) UM_EXCLUDES(lock_);

 private:
  struct State {
    std::shared_ptr<const UtilityMap> utilities = std::make_shared<const UtilityMap>();
    bool complete = false;
    std::uint64_t generation = 0;
  };

  /// Keeps what a look-up found, unless the name is known by now.
  void keep(const std::string& utility_name, const UtilityInfoPtr& info, std::uint64_t generation)
      UM_REQUIRES(lock_);

  /// Takes a whole collection in, unless another is in place, and gives the catalogue; null when a
  /// refresh has made the collection obsolete.
  std::shared_ptr<const UtilityMap> merge(const UtilityMap& collection, std::uint64_t generation)
      UM_REQUIRES(lock_);

  Lock& lock_;
  Published<State> state_;
};

}  // namespace utility_manager
