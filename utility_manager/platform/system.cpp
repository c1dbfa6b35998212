#include "utility_manager/platform/system.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <thread>
#include <utility>

#include "utility_manager/platform/random_bytes.h"

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

std::string System::random_uuid() const {
  std::array<std::uint8_t, 16> bytes;
  fill_with_random_bytes(bytes);
  bytes[6] = static_cast<std::uint8_t>(0x40 | (bytes[6] & 0x0f));  // version 4
  bytes[8] = static_cast<std::uint8_t>(0x80 | (bytes[8] & 0x3f));  // the usual variant
  std::string text;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) text += '-';
    for (const int digit : {bytes[i] >> 4, bytes[i] & 0x0f}) text += "0123456789abcdef"[digit];
  }
  return text;
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
