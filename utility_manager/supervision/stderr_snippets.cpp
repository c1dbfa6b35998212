#include "utility_manager/platform/system.h"
#include "utility_manager/stderr_buffer.h"
#include "utility_manager/supervision/instance.h"
#include "utility_manager/utility_manager.h"
#include "utility_manager/values/text.h"

namespace utility_manager {
namespace {

/// What is left in the stream of a child that has ended. The stream of a running one isn't touched.
std::string unread_text(const ServerInfo& record) {
  if (!record.process || !record.process->poll()) return {};
  const auto stream = record.process->error_stream();
  if (!stream || stream->closed()) return {};
  try {
    const auto bytes = stream->read_rest(limits::final_read_bytes, limits::final_read_limit);
    std::string text;
    values::append_decodable(text, bytes);
    return std::string(values::strip(text));
  } catch (const std::exception&) {
    return {};
  }
}

}  // namespace

bool UtilityServerManager::is_utility_server_running(const std::string& server_id) {
  const auto record = server(server_id);
  return record && Instance(*record).is_alive();
}

std::string UtilityServerManager::get_utility_stderr_snippet(const std::string& server_id,
                                                             std::int64_t max_chars) {
  const auto record = server(server_id);
  if (!record || max_chars <= 0) return {};
  const auto count = static_cast<std::size_t>(max_chars);
  if (record->stderr_buffer && record->stderr_buffer->size() > 0) {
    return record->stderr_buffer->tail(count);
  }
  return std::string(values::last_code_points(unread_text(*record), count));
}

std::string UtilityServerManager::collect_utility_stderr_snippet(const std::string& server_id,
                                                                 double max_wait,
                                                                 std::int64_t max_chars) {
  const platform::WallDeadline deadline(max_wait);
  while (!deadline.passed()) {
    auto text = get_utility_stderr_snippet(server_id, max_chars);
    if (!text.empty()) return text;
    platform::system().sleep(limits::snippet_poll_interval);
  }
  return {};
}

}  // namespace utility_manager
