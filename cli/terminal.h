#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace utility_manager::cli {

enum class Colour { none, bold, dim, red, green, yellow };

struct Cell {
  std::string text;
  Colour colour = Colour::none;
};
using Row = std::vector<Cell>;

/// Where the program writes to: columns and colours for a person at a terminal, plain lines with
/// tabs for a program. NO_COLOR takes the colours away.
class Terminal {
 public:
  Terminal();

  /// True when a person sees questions and can answer them.
  bool can_ask() const;

  /// The rows as columns below `heading`; to a program one line per row, without the heading.
  std::string table(const std::vector<std::string>& heading, const std::vector<Row>& rows) const;

  /// The text, coloured where colours are wanted.
  std::string in(Colour colour, std::string_view text) const;

  /// Asks a question at the terminal; true when the answer begins with y.
  bool confirms(std::string_view question) const;

 private:
  bool is_interactive_;
  bool has_colours_;
};

/// Without what would break a line or command a terminal: a state file may hold anything.
std::string printable(std::string_view text);

}  // namespace utility_manager::cli
