#pragma once

#include "cli/arguments.h"
#include "cli/terminal.h"

namespace utility_manager::cli {

/// Carries out a command and writes what it has to say to standard output; gives the exit status.
/// Fails with `std::exception` and a message for the user.
int carry_out(const Arguments& arguments, const Terminal& terminal);

}  // namespace utility_manager::cli
