#pragma once

#include <algorithm>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "utility_manager/server_info.h"

namespace utility_manager {

/// The instances by identifier, in the order in which they entered. Holds at most as many as there
/// are ports, so a look-up simply walks.
class ServerTable {
 public:
  using Record = std::shared_ptr<const ServerInfo>;

  const std::vector<Record>& records() const { return records_; }

  /// Null when there is no such instance.
  Record find(const std::string& server_id) const {
    const auto place = position(server_id);
    return place == records_.end() ? nullptr : *place;
  }

  /// An instance with this identifier must not be in the table.
  void add(Record record) { records_.push_back(std::move(record)); }

  void remove(const std::string& server_id) {
    const auto place = position(server_id);
    if (place != records_.end()) records_.erase(place);
  }

 private:
  std::vector<Record>::const_iterator position(const std::string& server_id) const {
    return std::ranges::find(records_, server_id, &ServerInfo::server_id);
  }

  std::vector<Record> records_;
};

}  // namespace utility_manager
