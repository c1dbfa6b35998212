#include "utility_manager/host/services.h"

#include <atomic>

namespace utility_manager::host {
namespace {

Services& bound() {
  static Services* const services = new Services;  // outlives every thread
  return *services;
}

std::atomic<std::uint64_t> asked = 0;

}  // namespace

void bind(const Services& services) {
  bound() = services;
}

const Services& services() {
  ++asked;
  return bound();
}

std::uint64_t times_asked() {
  return asked;
}

}  // namespace utility_manager::host
