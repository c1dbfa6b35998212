#pragma once

#include <optional>
#include <string>
#include <vector>

/// What the program's own process was given.
namespace utility_manager::cli {

/// The words behind the program's name, in UTF-8; from then on a console takes UTF-8.
std::vector<std::string> words_of_command_line(int count, char** words);

/// Nothing where it is empty or not set.
std::optional<std::string> environment_variable(const char* name);

bool is_input_interactive();
bool is_output_interactive();

/// True when the terminal that is written to understands the codes of colours.
bool knows_colours();

}  // namespace utility_manager::cli
