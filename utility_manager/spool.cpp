#include "utility_manager/spool.h"

#include <algorithm>
#include <new>
#include <utility>

#include "utility_manager/limits.h"

namespace utility_manager {

void Spool::append(std::string_view bytes) {
  make_room(bytes.size());
  while (!bytes.empty()) {
    auto& page = pages_[(size_ - spilled_) / page_bytes];
    const auto part = bytes.substr(0, page_bytes - page.size());
    page += part;
    size_ += part.size();
    bytes.remove_prefix(part.size());
  }
}

/// What is appended next needs no memory any more.
void Spool::make_room(std::size_t count) {
  const auto pages_before = pages_.size();
  try {
    auto left = size_ - spilled_ + count;
    for (std::size_t i = 0; left > 0; ++i) {
      if (i == pages_.size()) pages_.push_back(std::exchange(spare_page_, {}));
      const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(left, page_bytes));
      // Most children say little: only behind a first page the next one is made whole.
      if (pages_[i].capacity() < wanted) pages_[i].reserve(i == 0 ? wanted : page_bytes);
      left -= wanted;
    }
  } catch (const std::bad_alloc&) {
    pages_.resize(pages_before);
    throw;
  }
}

bool Spool::write_oldest() {
  const bool stays_without_need = size_ - spilled_ >= limits::spool_bytes + page_bytes;
  return stays_without_need && file_.write(spilled_, pages_.front());
}

void Spool::drop_oldest() {
  spilled_ += page_bytes;
  spare_page_ = std::move(pages_.front());
  spare_page_.clear();
  pages_.pop_front();
}

std::string Spool::read(std::uint64_t offset, std::size_t count) const {
  std::string bytes;
  if (offset >= size_) return bytes;
  count = static_cast<std::size_t>(std::min<std::uint64_t>(count, size_ - offset));
  const auto behind = std::max(offset, spilled_);
  bytes.resize(static_cast<std::size_t>(std::min<std::uint64_t>(count, behind - offset)));
  file_.read(offset, bytes);
  offset += bytes.size();
  while (bytes.size() < count) {
    const auto place = offset - spilled_;
    const std::string_view page = pages_[place / page_bytes];
    const auto part = page.substr(place % page_bytes, count - bytes.size());
    bytes += part;
    offset += part.size();
  }
  return bytes;
}

}  // namespace utility_manager
