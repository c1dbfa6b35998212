#include "utility_manager/platform/system.h"

#include <algorithm>
#include <chrono>
#include <thread>
#include <utility>

namespace utility_manager::platform {
namespace {

const System*& in_use() {
  static const System* current = new System;  // outlives every thread
  return current;
}

double steady_clock() {
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  return std::chrono::duration<double>(now).count();
}

}  // namespace

double System::wall_clock() const {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration<double>(now).count();
}

void System::sleep(double seconds) const {
  if (!(seconds > 0)) return;
  constexpr double longest = 3e9;  // a lifetime; the clock's own range ends somewhat later
  std::this_thread::sleep_for(std::chrono::duration<double>(std::min(seconds, longest)));
}

void System::sleep_until_called(double seconds, Wakeup& wakeup, Wakeup::Count count) const {
  wakeup.sleep(seconds, count);
}

WallDeadline::WallDeadline(double seconds)
    : by_wall_clock_(system().wall_clock() + seconds), by_steady_clock_(steady_clock() + seconds) {}

double WallDeadline::left() const {
  return std::min(by_wall_clock_ - system().wall_clock(), by_steady_clock_ - steady_clock());
}

const System& system() {
  return *in_use();
}

BindSystem::BindSystem(const System& replacement)
    : previous_(std::exchange(in_use(), &replacement)) {}

BindSystem::~BindSystem() {
  in_use() = previous_;
}

}  // namespace utility_manager::platform
