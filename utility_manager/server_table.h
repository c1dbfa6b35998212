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
  using Entry = std::pair<std::string, Record>;

  const std::vector<Entry>& entries() const { return entries_; }

  std::vector<std::string> identifiers() const {
    std::vector<std::string> result;
    for (const auto& [server_id, record] : entries_) result.push_back(server_id);
    return result;
  }

  /// Null when there is no such instance.
  Record find(const std::string& server_id) const {
    const auto entry = position(server_id);
    return entry == entries_.end() ? nullptr : entry->second;
  }

  /// `server_id` must not be in the table.
  void add(std::string server_id, Record record) {
    entries_.emplace_back(std::move(server_id), std::move(record));
  }

  void remove(const std::string& server_id) {
    const auto entry = position(server_id);
    if (entry != entries_.end()) entries_.erase(entry);
  }

 private:
  std::vector<Entry>::const_iterator position(const std::string& server_id) const {
    return std::find_if(entries_.begin(), entries_.end(),
                        [&](const Entry& entry) { return entry.first == server_id; });
  }

  std::vector<Entry> entries_;
};

}  // namespace utility_manager
