#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>

namespace utility_manager {

/// What the key of an encoded icon begins with where a utility's mapping shows it; the rest is the
/// path of the file.
inline constexpr std::string_view icon_cache_prefix = "_icon_cache_";

/// The encoded icons of one utility by resolved path. Has its own protection, and needs no lock of
/// the manager's; an entry stays until its utility goes.
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
