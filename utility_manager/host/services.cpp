#include "utility_manager/host/services.h"

namespace utility_manager::host {
namespace {

Services& bound() {
  static Services* const services = new Services;  // outlives every thread
  return *services;
}

}  // namespace

void bind(const Services& services) {
  bound() = services;
}

const Services& services() {
  return bound();
}

}  // namespace utility_manager::host
