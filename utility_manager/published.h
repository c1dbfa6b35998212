#pragma once

#include <memory>
#include <mutex>
#include <utility>

namespace utility_manager {

/// A value that readers take as a snapshot, waiting for nobody who works with it. Writers replace
/// it whole; that one change follows the other is theirs to see to.
template <typename Type>
class Published {
 public:
  using Snapshot = std::shared_ptr<const Type>;

  explicit Published(Type value = {}) : value_(std::make_shared<const Type>(std::move(value))) {}

  Snapshot read() const {
    const std::lock_guard held(mutex_);
    return value_;
  }

  /// Gives the new snapshot.
  Snapshot publish(Type value) {
    const auto next = std::make_shared<const Type>(std::move(value));
    auto previous = next;
    const std::lock_guard held(mutex_);
    std::swap(value_, previous);
    return next;
  }

  /// Publishes a copy that `change(copy)` has worked on.
  template <typename Change>
  void change(Change change) {
    auto next = *read();
    change(next);
    publish(std::move(next));
  }

 private:
  mutable std::mutex mutex_;
  Snapshot value_;
};

}  // namespace utility_manager
