#pragma once

#include <memory>
#include <string>
#include <vector>

#include "utility_manager/lock.h"
#include "utility_manager/published.h"
#include "utility_manager/server_info.h"

namespace utility_manager {

/// The instances in the order in which they entered. Readers take a snapshot and wait for nobody;
/// writers hold the manager's lock. At most as many instances as ports: a look-up simply walks.
class ServerTable {
 public:
  using Record = std::shared_ptr<const ServerInfo>;
  using Records = std::vector<Record>;

  std::shared_ptr<const Records> records() const { return records_.read(); }

  /// Null when there is no such instance.
  Record find(const std::string& server_id) const;

  /// An instance with this identifier must not be in the table.
  void add(Record record, Lock& lock) UM_REQUIRES(lock);

  void remove(const std::string& server_id, Lock& lock) UM_REQUIRES(lock);

 private:
  Published<Records> records_;
};

}  // namespace utility_manager
