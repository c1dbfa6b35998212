#pragma once

#include <stdexcept>
#include <string>
#include <vector>

namespace utility_manager::cli {

/// A command line that can't be understood.
struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

struct Arguments {
  std::string command;  ///< one that `help` names; empty with `help` or `version`
  std::string id;       ///< an instance, perhaps shortened; empty where the command takes none
  std::string directory;
  bool json = false;
  bool yes = false;
  bool force = false;
  bool dry_run = false;
  bool help = false;
  bool version = false;
};

/// Understands the words behind the program's name. Fails with `UsageError`.
Arguments parse(const std::vector<std::string>& words);

/// What `--help` prints.
const char* help();

}  // namespace utility_manager::cli
