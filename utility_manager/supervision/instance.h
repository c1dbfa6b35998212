#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "utility_manager/server_info.h"

namespace utility_manager {

/// One instance, as its record knows it: own, by the handle of the child; adopted, by its process;
/// or by number alone. Looks at the record, which must outlive it.
class Instance {
 public:
  explicit Instance(const ServerInfo& record) : record_(record) {}

  /// True while its process runs; false where none is known. An own child is asked itself and
  /// collected, and so is an adopted process that an exec has made the client's own child. May fail
  /// where a handle or a process can't be asked.
  bool is_alive() const;

  /// The dead test of the monitor and of the listings. An instance of which no process is known is
  /// never dead.
  bool is_dead() const;

  /// For `platform::may_have_ended`; null where the instance has to be asked itself.
  const platform::ProcessReference* watched() const;

  /// True when the process that may have the instance's id now is known to be another one.
  bool is_another() const;

  /// True while a process has the instance's id and isn't known to be another one: what a state
  /// file asks.
  bool holds_id() const;

  /// Ends it with its descendants, as `stop_utility_process`; true when it has gone. An adopted
  /// process is signalled through what it was adopted by, from the first signal to the last.
  bool stop() const;

 private:
  const ServerInfo& record_;
};

/// Tells whether the live process `pid` can be the instance of a state file, and holds on to it.
struct Adoption {
  bool refuted = false;                        ///< an unrelated process was given the id
  bool is_around_client = false;               ///< refuted, yet it carries the `server_id`
  std::shared_ptr<platform::Process> process;  ///< null where the number is all there is
};

/// A process is refuted when it started later or earlier than `create_time` allows and its command
/// line doesn't carry `server_id`; one of the two alone proves nothing, and where either can't be
/// known nothing is refuted. The client itself, what it descends from and the system's first
/// process always are; such a one may be the instance, in which the client runs.
Adoption examine_for_adoption(std::int64_t pid, const std::string& server_id,
                              const values::Value& create_time);

}  // namespace utility_manager
