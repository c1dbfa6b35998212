#include "utility_manager/server_table.h"

#include <algorithm>
#include <utility>

namespace utility_manager {

ServerTable::Record ServerTable::find(const std::string& server_id) const {
  const auto all = records();
  const auto place = std::ranges::find(*all, server_id, &ServerInfo::server_id);
  return place == all->end() ? nullptr : *place;
}

void ServerTable::add(Record record, Lock& /*lock*/) {
  records_.change([&](Records& records) { records.push_back(std::move(record)); });
}

void ServerTable::remove(const std::string& server_id, Lock& /*lock*/) {
  records_.change([&](Records& records) {
    std::erase_if(records, [&](const Record& record) { return record->server_id == server_id; });
  });
}

}  // namespace utility_manager
