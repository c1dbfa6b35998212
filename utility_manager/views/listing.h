#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "utility_manager/catalogue/catalogue.h"
#include "utility_manager/catalogue/plugin_places.h"
#include "utility_manager/server_table.h"
#include "utility_manager/values/value.h"
#include "utility_manager/views/running_entry.h"

namespace utility_manager {

/// One list, look-up or view while it is made. Asks the client for nothing before it is needed, and
/// for nothing twice, and looks for each icon once. To be used without the manager's lock; belongs
/// to one call and one thread. Lets failures of the client through.
class Listing {
 public:
  explicit Listing(Catalogue& catalogue) : catalogue_(catalogue) {}

  /// The instances as the running lists show them.
  std::vector<RunningEntry> entries(const ServerTable::Records& instances);
  GroupedEntries grouped_entries(const ServerTable::Records& instances);

  /// An instance as the look-up shows it: for exactly its group, whatever is registered.
  RunningEntry found_entry(const ServerTable::Record& instance);

  /// Whether a look-up has to find out anew what runs: true at first, and again when the client has
  /// been asked for something since. Between two such moments a view takes no time.
  bool must_look_again();

  /// What a view shows of a utility. `running` is null unless an instance of it runs where the view
  /// looks; `group_name` is that place.
  values::Value view_entry(const UtilityInfo& utility, const RunningEntry* running,
                           const std::optional<std::string>& group_name);

  /// The access decision with the user's rights, which are fetched once.
  bool may_use(const values::Value& utility, const std::optional<std::string>& group_name);
  void fetch_permissions();

 private:
  struct Registered {
    UtilityInfoPtr utility;       ///< null: not registered
    std::optional<DataUri> icon;  ///< once it has been looked for
  };

  RunningEntry entry(const ServerTable::Record& instance);
  RunningEntry entry(const ServerTable::Record& instance, Registered& known, bool in_group);
  Registered& registered(const ServerInfo& instance);
  const std::shared_ptr<const std::string>& studio_address();
  bool administrates(const std::string& group_name);

  Catalogue& catalogue_;
  PluginPlaces places_;
  std::shared_ptr<const std::string> studio_address_;  ///< null before it is asked for
  std::optional<values::Value> permissions_;
  std::shared_ptr<const UtilityMap> catalogued_;  ///< null before it is needed
  std::vector<Registered> utilities_;             ///< those of `catalogued_`, in its order
  std::unordered_map<std::string, Registered> asked_for_;
  Registered nameless_;
  std::optional<std::uint64_t> asked_before_;  ///< the last look-up
  std::map<std::string, bool> group_decisions_;
};

}  // namespace utility_manager
