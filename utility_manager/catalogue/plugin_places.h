#pragma once

#include <initializer_list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "utility_manager/values/value.h"

/// Where plugins and their files lie.
namespace utility_manager {

namespace platform {
class SearchedDirectory;
}  // namespace platform

/// The built-in test: by flag, or by the plugin's name.
bool is_builtin_plugin(bool builtin, std::string_view plugin_name);

/// The same from the keys `builtin` and `plugin_name` of a catalogue entry.
bool is_builtin_entry(const values::Value& utility_info);

/// `plugin_name` of a catalogue entry. Fails with `TypeError` when it is no text. Refers into
/// `utility_info`.
const std::string& plugin_name_of(const values::Value& utility_info);

/// Where the plugins lie. The client is asked for a directory when it is first needed and then no
/// more, and each plugin is looked for once. Lets failures of the client through. Belongs to one
/// call and one thread.
class PluginPlaces {
 public:
  /// Where a plugin lies; nothing when it isn't found. All built-in plugins lie in one place.
  const std::optional<std::string>& base_path(const std::string& plugin_name, bool is_builtin);

  /// The same to look for files in; null where the plugin isn't found, or lies at an empty path.
  const platform::SearchedDirectory* directory(const std::string& plugin_name, bool is_builtin);

  /// The first directory of `plugin_includes.txt` whose `main` carries the name. No ordinary
  /// failure leaves it.
  std::optional<std::string> included_path(const std::string& plugin_name);

 private:
  struct Base {
    std::optional<std::string> path;
    std::shared_ptr<const platform::SearchedDirectory> directory;  ///< null before it is needed
  };

  Base& base(const std::string& plugin_name, bool is_builtin);
  std::optional<std::string> find(const std::string& plugin_name);

  std::optional<std::string> configuration_directory_;
  std::optional<std::string> plugin_directory_;
  Base built_in_;
  std::map<std::string, Base> plugins_;
};

/// What a look for a file gave.
struct FoundFile {
  std::string path;
  std::optional<double> modification_time;  ///< nothing where there was no look or there's no file
};

/// The absolute form of the first of `base`/`path` and, for a bare file name, `base`/`sub`/`path`
/// that exists; `path` unchanged when it is absolute, `base` is null, or none exists.
FoundFile find_below(const std::string& path, const platform::SearchedDirectory* base,
                     std::initializer_list<std::string_view> sub_directories);

/// What `find_below` gives below a path, where there is one and it isn't empty.
FoundFile find_below(const std::string& path, const std::optional<std::string>& base,
                     std::initializer_list<std::string_view> sub_directories);

/// The absolute form of the first candidate for a script that exists, or `script_path` unchanged.
std::string resolve_script_path(const std::string& script_path,
                                const std::optional<std::string>& plugin_base_path);

/// The same in the place of the plugin that `utility_info` names. Fails with `TypeError` when its
/// `plugin_name` is no text, and lets failures of the client through.
std::string resolve_plugin_script_path(const std::string& script_path,
                                       const values::Value& utility_info);

/// The lines of a text as the client's Python reads them: LF, CR LF and CR end a line. Reading
/// stops at what is no UTF-8, as the client's does.
std::vector<std::string> text_lines(const std::string& bytes);

}  // namespace utility_manager
