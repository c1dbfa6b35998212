#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

namespace utility_manager {

/// The encoded icons of one record by resolved path. Has its own protection, and is never under the
/// manager's lock; an entry stays until its record goes.
class IconCache {
 public:
  struct Entry {
    std::shared_ptr<const std::string> data;  ///< the complete data URI
    double modification_time = 0;             ///< of the file when it was read
  };

  IconCache() = default;
  IconCache(const IconCache& other) : entries_(other.entries()) {}
  IconCache& operator=(const IconCache&) = delete;

  /// The data URI of `path` as of exactly `modification_time`, or null.
  std::shared_ptr<const std::string> find(const std::string& path, double modification_time) const {
    const std::lock_guard held(mutex_);
    const auto entry = entries_.find(path);
    if (entry == entries_.end()) return nullptr;
    if (entry->second.modification_time != modification_time) return nullptr;
    return entry->second.data;
  }

  void store(const std::string& path, Entry entry) {
    const std::lock_guard held(mutex_);
    entries_[path] = std::move(entry);
  }

  std::map<std::string, Entry> entries() const {
    const std::lock_guard held(mutex_);
    return entries_;
  }

 private:
  mutable std::mutex mutex_;
  std::map<std::string, Entry> entries_;
};

}  // namespace utility_manager
