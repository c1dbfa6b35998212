#include "utility_manager/persistence/state_file_reader.h"

#include <algorithm>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "utility_manager/limits.h"
#include "utility_manager/platform/failures.h"
#include "utility_manager/platform/system.h"

namespace utility_manager {
namespace {

using platform::FileStamp;

/// How long the names may be taken from memory, in seconds: not every file system keeps the times
/// of directories.
constexpr double longest_trust = 10;

std::shared_ptr<const StateFile> understand(std::string_view bytes) {
  auto file = read_state_file(bytes);
  return file ? std::make_shared<const StateFile>(*std::move(file)) : nullptr;
}

}  // namespace

/// One look at the directory, beside what the last one found.
class StateFileReader::Look {
 public:
  Look(const std::string& path, const Findings& last) : directory_(path), last_(last) {}

  /// An unchanged directory has the same names in the same order; what they lead to is looked at.
  bool finds_the_same() const {
    const double age = now_ - last_.walked;
    if (stamp_ != last_.directory || age < 0 || age > longest_trust) return false;
    return std::all_of(last_.entries.begin(), last_.entries.end(), [this](const Entry& entry) {
      return directory_.stamp_of(entry.name.c_str()) == entry.stamp;
    });
  }

  Findings find() {
    for (const Entry& entry : last_.entries) known_.emplace(entry.name, &entry);
    Findings found{.walked = now_, .directory = if_settled(stamp_), .entries = {}};
    while (const char* const name = directory_.next()) {
      if (std::string_view(name).ends_with(state_file_suffix))
        found.entries.push_back(look_at(name));
    }
    return found;
  }

 private:
  Entry look_at(std::string name) {
    const auto stamp = directory_.stamp_of(name.c_str());
    if (!stamp) return {.name = std::move(name), .stamp = {}, .file = nullptr};
    const auto known = known_.find(name);
    const bool is_known = known != known_.end() && known->second->stamp == stamp;
    return is_known && stamp->is_settled(now_) ? *known->second : read(std::move(name));
  }

  Entry read(std::string name) {
    const auto content = directory_.read(name.c_str(), limits::state_file_bytes);
    return {.name = std::move(name),
            .stamp = content ? if_settled(content->stamp) : FileStamp(),
            .file = content ? understand(content->bytes) : nullptr};
  }

  FileStamp if_settled(const FileStamp& stamp) const {
    return stamp.is_settled(now_) ? stamp : FileStamp();
  }

  // In this order: what changes from now on has a later time.
  const double now_ = platform::system().wall_clock();
  platform::Directory directory_;
  const FileStamp stamp_ = directory_.stamp();

  const Findings& last_;
  std::unordered_map<std::string_view, const Entry*> known_;
};

std::shared_ptr<const StateFileReader::Entries> StateFileReader::read(
    const std::string& directory) try {
  auto findings = last_.read();
  Look look(directory, *findings);
  if (!look.finds_the_same()) findings = last_.publish(look.find());
  const auto* const entries = &findings->entries;
  return {std::move(findings), entries};
} catch (const platform::SystemError&) {
  return std::make_shared<const Entries>();
}

}  // namespace utility_manager
