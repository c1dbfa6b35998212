#include <exception>
#include <iostream>
#include <stdexcept>

#include "cli/commands.h"
#include "cli/console.h"
#include "utility_manager/platform/process.h"
#include "utility_manager/version.h"

namespace utility_manager::cli {
namespace {

int run(const std::vector<std::string>& words) {
  const auto arguments = parse(words);
  if (arguments.help) {
    std::cout << help();
    return 0;
  }
  if (arguments.version) {
    std::cout << "utility-manager " << version() << "\n";
    return 0;
  }
  platform::bind_processes(platform::native_processes());
  return carry_out(arguments, Terminal());
}

}  // namespace
}  // namespace utility_manager::cli

int main(int count, char** words) {
  namespace cli = utility_manager::cli;
  try {
    const int status = cli::run(cli::words_of_command_line(count, words));
    if (std::cout.flush()) return status;
    throw std::runtime_error("the standard output can't be written");
  } catch (const cli::UsageError& failure) {
    std::cerr << "utility-manager: " << failure.what() << "; see --help\n";
    return 2;
  } catch (const std::exception& failure) {
    std::cerr << "utility-manager: " << cli::printable(failure.what()) << "\n";
    return 1;
  }
}
