#pragma once

#include <string>
#include <vector>

#include "cli/findings.h"
#include "cli/terminal.h"
#include "utility_manager/values/value.h"

/// What the commands say, as text for people and as JSON for programs.
namespace utility_manager::cli {

/// The name of the utility and its identifier.
std::string name_of(const Finding& finding);

std::string table_of(const std::vector<Finding>& findings, const Terminal& terminal);
values::Value json_of(const std::vector<Finding>& findings);

/// What the file says, what the process says, and whether they fit.
std::string explanation(const Finding& finding, const Terminal& terminal);
values::Value explanation_json(const Finding& finding);

/// What a client does with each file when it starts.
std::string adoption_table(const std::vector<Finding>& findings, const Terminal& terminal);
values::Value adoption_json(const std::vector<Finding>& findings);

values::Value outcome_json(const Finding& finding, const std::string& outcome);

/// What is said of `count` removed files; `is_settled` unless nobody was there to agree.
std::string removal(std::size_t count, bool is_settled);
values::Value cleaning_json(const std::vector<Finding>& stale, const std::vector<Finding>& removed);

/// One line.
std::string json_text(const values::Value& value);

}  // namespace utility_manager::cli
