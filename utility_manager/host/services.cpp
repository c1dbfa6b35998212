#include "utility_manager/host/services.h"

namespace utility_manager::host {
namespace {

Services& bound() {
  static Services* const services = new Services;  // outlives every thread
  return *services;
}

thread_local std::uint64_t asked = 0;

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
