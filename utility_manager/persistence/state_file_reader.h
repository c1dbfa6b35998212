#pragma once

#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "utility_manager/persistence/state_file_form.h"
#include "utility_manager/platform/files.h"
#include "utility_manager/published.h"

namespace utility_manager {

/// Reads the state files of a directory again and again, each only if it has changed. The result is
/// that of a full read. Members may be called from any thread.
class StateFileReader {
 public:
  /// A file of the directory that could be understood.
  struct Entry {
    std::string name;
    std::shared_ptr<const StateFile> file;  ///< never null
  };

  /// In the order of the directory. None when it can't be listed.
  std::vector<Entry> read(const std::string& directory);

 private:
  struct Known {
    platform::FileStamp stamp;
    std::shared_ptr<const StateFile> file;  ///< null where it can't be understood
  };
  using KnownFiles = std::unordered_map<std::string, Known>;

  class Walk;

  Published<KnownFiles> known_;
};

}  // namespace utility_manager
