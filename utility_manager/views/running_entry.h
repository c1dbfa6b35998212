#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "utility_manager/catalogue/icons.h"
#include "utility_manager/server_info.h"
#include "utility_manager/values/value.h"

namespace utility_manager {

/// A running instance with what the interface is shown of it. Shares all that doesn't change, and
/// makes the addresses when they are asked for.
struct RunningEntry {
  std::shared_ptr<const ServerInfo> instance;
  UtilityInfoPtr utility;                             ///< null when nobody registers it
  std::shared_ptr<const std::string> studio_address;  ///< of the Studio's web application
  bool in_group = false;                              ///< its address there names its group
  DataUri icon;                                       ///< null where none could be loaded

  std::string local_url() const;

  /// Through the Studio's web application.
  std::string url() const;

  /// The value under `key` of the registration, `absent` without it; an empty one stays empty.
  const values::Value& registered(std::string_view key, const values::Value& absent) const;

  const values::Value& default_route() const;

  /// `url` directly followed by the default route.
  std::string full_url() const;

  /// "navbar" or "default".
  std::string display_location() const;
};

/// The instances of the grouped list: those of no device group, and those of each in the order in
/// which the groups were met.
struct GroupedEntries {
  std::vector<RunningEntry> without_group;
  std::vector<std::pair<std::string, std::vector<RunningEntry>>> by_group;
};

/// The forms in which the interface is shown an entry.
enum class Shown { in_list, in_grouped_list, by_look_up };

/// Calls `member(key, value)` for every member of the mapping that shows the entry, in its order. A
/// value is a `std::string_view`, a `std::int64_t` or a `const values::Value&`, so that every
/// reader can make the mapping in its own form.
template <typename Member>
void for_each_member(const RunningEntry& entry, Shown shown, Member&& member);

/// The mapping itself.
values::Value to_value(const RunningEntry& entry, Shown shown);

/// The list of these mappings.
values::Value to_value(const std::vector<RunningEntry>& entries, Shown shown);

/// `without_group` and `by_group`.
values::Value to_value(const GroupedEntries& entries);

/// What stands for a registration's member that is absent.
namespace absent {

const values::Value& null();
const values::Value& empty_text();
const values::Value& route();  ///< "/"

}  // namespace absent

template <typename Member>
void for_each_member(const RunningEntry& entry, Shown shown, Member&& member) {
  const ServerInfo& instance = *entry.instance;
  const auto text = [&](const char* key, std::string_view value) { member(key, value); };
  const auto text_if_any = [&](const char* key, const std::optional<std::string>& value) {
    if (value) text(key, *value);
  };
  const auto registered = [&](const char* key) {
    member(key, entry.registered(key, absent::empty_text()));
  };
  const auto name = [&](const char* key) {
    instance.utility_name ? text(key, *instance.utility_name) : member(key, absent::null());
  };
  const bool grouped = shown == Shown::in_grouped_list;
  const bool found = shown == Shown::by_look_up;

  text("server_id", instance.server_id);
  name("utility_name");
  if (grouped) {
    const values::Value& title = entry.registered("title", absent::null());
    &title == &absent::null() ? name("title") : member("title", title);
    for (const char* key : {"en_title", "description", "en_description"}) registered(key);
  }
  member("port", instance.port);
  if (!found) member("pid", instance.pid);
  text("local_url", entry.local_url());
  text("url", entry.url());
  if (grouped) text("full_url", entry.full_url());
  member("default_route", entry.default_route());
  if (grouped) text("display_location", entry.display_location());
  if (!found) member("create_time", instance.create_time);
  if (found) text_if_any("group_name", instance.group_name);
  text_if_any("lang", instance.lang);
  text_if_any("studio_url", instance.studio_url);
  if (shown == Shown::in_list) text_if_any("group_name", instance.group_name);
  entry.icon ? text("icon", *entry.icon) : member("icon", entry.registered("icon", absent::null()));
  if (grouped) text_if_any("group_name", instance.group_name);
}

}  // namespace utility_manager
