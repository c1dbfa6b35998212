#include "utility_manager/persistence/state_file_reader.h"

#include <utility>

#include "utility_manager/limits.h"
#include "utility_manager/platform/failures.h"
#include "utility_manager/platform/system.h"

namespace utility_manager {
namespace {

std::shared_ptr<const StateFile> understand(std::string_view bytes) {
  auto file = read_state_file(bytes);
  return file ? std::make_shared<const StateFile>(*std::move(file)) : nullptr;
}

}  // namespace

/// One look at the directory, beside what is known from the last.
class StateFileReader::Walk {
 public:
  Walk(const std::string& path, const KnownFiles& known) : directory_(path), known_(known) {
    while (const char* const name = directory_.next()) {
      if (std::string_view(name).ends_with(state_file_suffix)) look_at(name);
    }
  }

  std::vector<Entry> entries;

  /// What is known now; nothing when that is what was known.
  std::optional<KnownFiles> news() {
    if (read_anew_.empty() && unchanged_.size() == known_.size()) return std::nullopt;
    for (const auto* const file : unchanged_) read_anew_.insert(*file);
    return std::move(read_anew_);
  }

 private:
  void look_at(std::string name) {
    const auto stamp = directory_.stamp_of(name.c_str());
    if (!stamp) return;
    const auto place = known_.find(name);
    if (place != known_.end() && place->second.stamp == *stamp) {
      unchanged_.push_back(&*place);
      if (place->second.file) entries.push_back({std::move(name), place->second.file});
    } else {
      read(std::move(name));
    }
  }

  void read(std::string name) {
    const double now = platform::system().wall_clock();
    const auto content = directory_.read(name.c_str(), limits::state_file_bytes);
    if (!content) return;
    const auto file = understand(content->bytes);
    if (content->stamp.is_settled(now)) read_anew_.emplace(name, Known{content->stamp, file});
    if (file) entries.push_back({std::move(name), file});
  }

  platform::Directory directory_;
  const KnownFiles& known_;
  std::vector<const KnownFiles::value_type*> unchanged_;
  KnownFiles read_anew_;
};

std::vector<StateFileReader::Entry> StateFileReader::read(const std::string& directory) {
  try {
    const auto known = known_.read();
    Walk walk(directory, *known);
    if (auto news = walk.news()) known_.publish(*std::move(news));
    return std::move(walk.entries);
  } catch (const platform::SystemError&) {
    return {};
  }
}

}  // namespace utility_manager
