#include <algorithm>

#include "python/bind.h"
#include "python/waits.h"
#include "utility_manager/platform/system.h"
#include "utility_manager/supervision/process_control.h"

namespace utility_manager::python {
namespace {

/// The core's own in slices.
std::string collect(Manager& self, const std::string& server_id, double max_wait,
                    std::int64_t max_chars) {
  constexpr double slice = 2 * limits::snippet_poll_interval;
  const platform::WallDeadline deadline(max_wait);
  std::string text;
  for (double left = deadline.left(); left > 0 && text.empty(); left = deadline.left()) {
    text = self.collect_utility_stderr_snippet(server_id, std::min(slice, left), max_chars);
    look_for_signals();
  }
  return text;
}

}  // namespace

void bind_supervision(PyObject* manager) {
  constexpr bool (*kill_by_id)(std::int64_t) = &kill_process_tree;
  bind<&is_process_alive, Pid>(manager, "_is_process_alive", {"pid"});
  bind<kill_by_id, Pid>(manager, "_kill_process_tree", {"pid"});
  bind<&stop_utility_process, Process, Pid>(manager, "_stop_utility_process", {"process", "pid"});

  bind<&Manager::stop_utility_server, Text>(manager, "stop_utility_server", {"server_id"});
  bind<&Manager::stop_all_utility_servers>(manager, "stop_all_utility_servers");
  bind<&Manager::cleanup_all_servers>(manager, "cleanup_all_servers");
  bind<&Manager::_start_monitoring>(manager, "_start_monitoring");
  bind<&Manager::_monitor_loop>(manager, "_monitor_loop");
  bind<&Manager::_handle_server_died, Text>(manager, "_handle_server_died", {"server_id"});

  bind<&Manager::is_utility_server_running, Text>(manager, "is_utility_server_running",
                                                  {"server_id"});
  bind<&Manager::get_utility_stderr_snippet, Text, Integer>(
      manager, "get_utility_stderr_snippet",
      {"server_id", optional("max_chars", limits::snippet_characters)});
  bind<&collect, Text, Real, Integer>(manager, "collect_utility_stderr_snippet",
                                      {"server_id", optional("max_wait", limits::snippet_wait),
                                       optional("max_chars", limits::snippet_characters)});
}

}  // namespace utility_manager::python
