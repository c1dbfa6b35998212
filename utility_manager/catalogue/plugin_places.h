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
