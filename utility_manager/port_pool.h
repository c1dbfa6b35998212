#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <span>

#include "utility_manager/lock.h"
#include "utility_manager/published.h"

namespace utility_manager {

/// The ports that instances may get, and those that are in use: reserved by a start or held by an
/// instance. A state file may bring in a port from beyond the pool. Readers take a snapshot and
/// wait for nobody; writers hold the manager's lock.
class PortPool {
 public:
  using Ports = std::set<std::int64_t>;

  /// Every port that an instance may get.
  static Ports all();

  std::shared_ptr<const Ports> used() const { return used_.read(); }

  /// The lowest port of the pool that is neither in use nor `taken` nor bound by anybody; nothing
  /// when there is none. Doesn't reserve it. Fails only when no socket can be made.
  std::optional<std::int64_t> available(std::span<const std::int64_t> taken = {}) const;

  void use(std::int64_t port, Lock& lock) UM_REQUIRES(lock);

  /// Nothing happens to a port that isn't in use.
  void release(std::int64_t port, Lock& lock) UM_REQUIRES(lock);

 private:
  Published<Ports> used_;
};

}  // namespace utility_manager
