#include "cli/terminal.h"

#include <algorithm>
#include <iostream>

#include <utf8proc.h>

#include "cli/console.h"
#include "utility_manager/values/code_points.h"

namespace utility_manager::cli {
namespace {

const char* code_of(Colour colour) {
  switch (colour) {
    case Colour::none:
      return "";
    case Colour::bold:
      return "\33[1m";
    case Colour::dim:
      return "\33[2m";
    case Colour::red:
      return "\33[31m";
    case Colour::green:
      return "\33[32m";
    case Colour::yellow:
      return "\33[33m";
  }
  return "";
}

/// How many columns a printable text takes.
std::size_t width(std::string_view text) {
  std::size_t columns = 0;
  while (!text.empty()) {
    const auto [value, length] = values::first_code_point(text);
    columns += static_cast<std::size_t>(utf8proc_charwidth(static_cast<utf8proc_int32_t>(value)));
    text.remove_prefix(length);
  }
  return columns;
}

std::vector<std::size_t> widths_of(const Row& heading, const std::vector<Row>& rows) {
  std::vector<std::size_t> widths;
  for (std::size_t column = 0; column < heading.size(); ++column) {
    widths.push_back(width(heading[column].text));
    for (const auto& row : rows) widths[column] = std::max(widths[column], width(row[column].text));
  }
  return widths;
}

}  // namespace

Terminal::Terminal()
    : is_interactive_(is_output_interactive()),
      has_colours_(is_interactive_ && !environment_variable("NO_COLOR") && knows_colours()) {}

std::string Terminal::table(const std::vector<std::string>& heading,
                            const std::vector<Row>& rows) const {
  std::string text;
  if (!is_interactive_) {
    for (const auto& row : rows) {
      for (const auto& cell : row) text += (&cell == row.data() ? "" : "\t") + cell.text;
      text += '\n';
    }
    return text;
  }
  if (rows.empty()) return "Nothing is on record.\n";
  Row head;
  for (const auto& title : heading) head.push_back({title, Colour::bold});
  const auto widths = widths_of(head, rows);
  const auto add = [&](const Row& row) {
    for (std::size_t column = 0; column < row.size(); ++column) {
      text += in(row[column].colour, row[column].text);
      if (column + 1 == row.size()) break;
      text.append(widths[column] - width(row[column].text) + 2, ' ');
    }
    text += '\n';
  };
  add(head);
  for (const auto& row : rows) add(row);
  return text;
}

std::string Terminal::in(Colour colour, std::string_view text) const {
  if (!has_colours_ || colour == Colour::none) return std::string(text);
  return code_of(colour) + std::string(text) + "\33[0m";
}

bool Terminal::can_ask() const {
  return is_interactive_ && is_input_interactive();
}

bool Terminal::confirms(std::string_view question) const {
  if (!can_ask()) return false;
  std::cout << question << std::flush;
  std::string answer;
  std::getline(std::cin, answer);
  return answer.starts_with('y') || answer.starts_with('Y');
}

std::string printable(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    const auto [value, length] = values::first_code_point(text);
    const auto size = std::max<std::size_t>(length, 1);
    const bool is_visible = length > 0 && value >= 0x20 && (value < 0x7f || value > 0x9f);
    result += is_visible ? text.substr(0, size) : "?";
    text.remove_prefix(size);
  }
  return result;
}

}  // namespace utility_manager::cli
