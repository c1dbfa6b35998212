#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "utility_manager/catalogue/utility_info.h"

namespace utility_manager {

/// Utilities by name in the order in which the names came; a new record under a known name keeps
/// its place. A name that is no text has a place of its own and is found by no text.
class UtilityMap {
 public:
  /// Null when the name is unknown.
  UtilityInfoPtr find(const std::string& utility_name) const;

  /// Adds a record or replaces the one of the same `utility_name`. Fails with `TypeError` when the
  /// name is a list or a mapping.
  void set(UtilityInfoPtr info);

  const std::vector<UtilityInfoPtr>& records() const { return records_; }

 private:
  std::vector<UtilityInfoPtr> records_;
  std::unordered_map<std::string, std::size_t> places_;
};

/// The catalogue's cache. Readers take a snapshot and never wait for the manager's lock; writers
/// are to hold it, so that one change follows the other. Every refresh begins a new generation, and
/// what a walk of an older one found is not taken.
class RegistryCache {
 public:
  RegistryCache();

  std::shared_ptr<const UtilityMap> snapshot() const;

  /// The snapshot where a whole collection is in place, else null.
  std::shared_ptr<const UtilityMap> whole() const;
  std::uint64_t generation() const;

  /// Adds a record found by a look-up unless its name is known by now.
  void add(const std::string& utility_name, const UtilityInfoPtr& info, std::uint64_t generation);

  /// Merges a whole collection, unless another is in place, and gives the catalogue; null when a
  /// refresh has made the collection obsolete.
  std::shared_ptr<const UtilityMap> merge(const UtilityMap& collection, std::uint64_t generation);

  void clear();

 private:
  /// What readers see at one moment.
  struct State {
    std::shared_ptr<const UtilityMap> map;
    bool complete = false;
    std::uint64_t generation = 0;
  };

  State state() const;
  void publish(State next);

  mutable std::mutex mutex_;
  State state_;
};

}  // namespace utility_manager
