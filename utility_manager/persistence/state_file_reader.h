#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "utility_manager/persistence/state_file_form.h"
#include "utility_manager/platform/files.h"
#include "utility_manager/published.h"

namespace utility_manager {

/// Reads the state files of a directory again and again: its names only if it has changed, and each
/// file only if that has. The result is that of a full read. Members may be called from any thread.
class StateFileReader {
 public:
  /// What has the name of a state file.
  struct Entry {
    std::string name;
    std::optional<platform::FileStamp> stamp;  ///< nothing for what is no regular file
    std::shared_ptr<const StateFile> file;     ///< null where it can't be understood
  };
  using Entries = std::vector<Entry>;

  /// In the order of the directory; none when it can't be listed. Never null.
  std::shared_ptr<const Entries> read(const std::string& directory);

 private:
  /// Stamps that no file has stand for what must be read again.
  struct Findings {
    double walked = 0;  ///< when the names were read, by the wall clock
    platform::FileStamp directory;
    Entries entries;
  };
  class Look;

  Published<Findings> last_;
};

}  // namespace utility_manager
