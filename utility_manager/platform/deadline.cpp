#include "utility_manager/platform/deadline.h"

#include <algorithm>
#include <climits>
#include <thread>

namespace utility_manager::platform {
namespace {

constexpr double lifetime = 3e9;  // seconds

}  // namespace

Deadline::Deadline(std::optional<double> seconds) {
  if (!seconds || *seconds > lifetime) return;
  const double from_now = *seconds > 0 ? *seconds : 0;  // not a number counts as no time
  moment_ = Clock::now() +
            std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(from_now));
}

bool Deadline::passed() const {
  return moment_ && Clock::now() >= *moment_;
}

int Deadline::milliseconds_left() const {
  if (!moment_) return -1;
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(*moment_ - Clock::now()).count();
  return static_cast<int>(std::clamp<decltype(left)>(left, 0, INT_MAX));
}

void Deadline::pause(std::chrono::milliseconds time) const {
  const auto until = Clock::now() + time;
  std::this_thread::sleep_until(moment_ ? std::min(*moment_, until) : until);
}

}  // namespace utility_manager::platform
