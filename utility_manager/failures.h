#pragma once

#include <stdexcept>

namespace utility_manager {

/// What an operation can run into, with a text meant for the user.
struct RuntimeError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// An argument or a field of the wrong type.
struct TypeError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

}  // namespace utility_manager
