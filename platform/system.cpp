#include "platform/system.h"

#include "platform/child_process.h"
#include "platform/clock.h"
#include "platform/port_test.h"
#include "platform/random_uuid.h"
#include "platform/run_command.h"
#include "platform/signals.h"
#include "platform/system_kind.h"

namespace platform {
namespace {

const System*& in_use() {
  static const System* current = new System;  // outlives every thread
  return current;
}

}  // namespace

bool System::is_windows() const {
  return runs_on_windows();
}

double System::wall_clock() const {
  return platform::wall_clock();
}

void System::sleep(double seconds) const {
  platform::sleep(seconds);
}

std::shared_ptr<ProcessHandle> System::spawn(const std::vector<std::string>& arguments,
                                             std::uint32_t /*flags*/) const {
  return spawn_child(arguments);
}

void System::signal(std::int64_t pid, Signal signal) const {
  send_signal(pid, signal);
}

bool System::can_signal(std::int64_t pid) const {
  return platform::can_signal(pid);
}

void System::run_command(const std::vector<std::string>& arguments, double seconds,
                         std::uint32_t /*flags*/) const {
  platform::run_command(arguments, seconds);
}

bool System::can_bind(std::int64_t port) const {
  return platform::can_bind(port);
}

std::string System::random_uuid() const {
  return platform::random_uuid();
}

const System& system() {
  return *in_use();
}

BindSystem::BindSystem(const System& replacement)
    : previous_(std::exchange(in_use(), &replacement)) {}

BindSystem::~BindSystem() {
  in_use() = previous_;
}

}  // namespace platform
