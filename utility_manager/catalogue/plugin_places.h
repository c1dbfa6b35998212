#pragma once

#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "values/value.h"

/// Where plugins and their files lie: the rules that need no manager.
namespace utility_manager {

/// The built-in test: by flag, or by the plugin's name.
bool is_builtin_plugin(bool builtin, std::string_view plugin_name);

/// The same from the keys `builtin` and `plugin_name` of a catalogue record.
bool is_builtin_record(const values::Value& utility_info);

/// `plugin_name` of a catalogue record. Fails with `TypeError` when it is no text. Refers into
/// `utility_info`.
const std::string& plugin_name_of(const values::Value& utility_info);

/// The client's directories, each asked for when it is first needed and then no more. Lets failures
/// of the client through. Belongs to one call and one thread.
class ClientDirectories {
 public:
  const std::string& configuration();
  const std::string& plugins();
  const std::string& built_in_plugin();

 private:
  std::optional<std::string> configuration_;
  std::optional<std::string> plugins_;
  std::optional<std::string> built_in_plugin_;
};

/// The manager's `_get_plugin_base_path` and `_get_plugin_path_from_includes`, with directories
/// that several look-ups of one call may share.
std::optional<std::string> plugin_base_path(const std::string& plugin_name, bool is_builtin,
                                            ClientDirectories& directories);
std::optional<std::string> included_plugin_path(const std::string& plugin_name,
                                                ClientDirectories& directories);

/// What a look for a file gave.
struct FoundFile {
  std::string path;
  std::optional<double> modification_time;  ///< nothing where there was no look or there's no file
};

/// The absolute form of the first of `base`/`path` and, for a bare file name, `base`/`sub`/`path`
/// that exists; `path` unchanged when it is absolute, there is no base, or none exists.
FoundFile find_below(const std::string& path, const std::optional<std::string>& base,
                     std::initializer_list<std::string_view> sub_directories);

/// The lines of a text as the client's Python reads them: LF, CR LF and CR end a line. Reading
/// stops at what is no UTF-8, as the client's does.
std::vector<std::string> text_lines(const std::string& bytes);

}  // namespace utility_manager
