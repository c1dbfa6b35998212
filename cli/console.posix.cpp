#include "cli/console.h"

#include <cstdlib>

#include <unistd.h>

namespace utility_manager::cli {

std::vector<std::string> words_of_command_line(int count, char** words) {
  return {words + 1, words + count};
}

std::optional<std::string> environment_variable(const char* name) {
  const char* const value = std::getenv(name);
  return value && *value ? std::optional<std::string>(value) : std::nullopt;
}

bool is_input_interactive() {
  return ::isatty(STDIN_FILENO) == 1;
}

bool is_output_interactive() {
  return ::isatty(STDOUT_FILENO) == 1;
}

bool knows_colours() {
  return environment_variable("TERM").value_or("dumb") != "dumb";
}

}  // namespace utility_manager::cli
