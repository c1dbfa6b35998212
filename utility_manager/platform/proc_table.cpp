#include "utility_manager/platform/proc_table.h"

#include <unordered_map>

namespace utility_manager::platform {

std::vector<ProcessRow> descendants_in(const std::vector<ProcessRow>& rows, std::int64_t root) {
  std::unordered_multimap<std::int64_t, const ProcessRow*> children;
  std::vector<ProcessRow> found;
  for (const ProcessRow& row : rows) {
    children.emplace(row.parent, &row);
    if (row.pid == root) found.push_back(row);
  }
  for (std::size_t i = 0; i < found.size(); ++i) {
    const ProcessRow parent = found[i];
    const auto [first, last] = children.equal_range(parent.pid);
    for (auto child = first; child != last; ++child) {
      if (child->second->start_ticks >= parent.start_ticks) found.push_back(*child->second);
    }
    children.erase(first, last);  // each is visited once, whatever the table says
  }
  if (!found.empty()) found.erase(found.begin());
  return found;
}

}  // namespace utility_manager::platform
