#include "platform/clock.h"

#include <algorithm>
#include <chrono>
#include <thread>

namespace platform {

double wall_clock() {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration<double>(now).count();
}

void sleep(double seconds) {
  if (!(seconds > 0)) return;
  constexpr double longest = 3e9;  // a lifetime; the clock's own range ends somewhat later
  std::this_thread::sleep_for(std::chrono::duration<double>(std::min(seconds, longest)));
}

}  // namespace platform
