#include "cli/commands.h"

#include <algorithm>
#include <iostream>
#include <stdexcept>

#include "cli/findings.h"
#include "cli/reports.h"
#include "utility_manager/platform/directory_use.h"
#include "utility_manager/platform/failures.h"
#include "utility_manager/platform/files.h"
#include "utility_manager/platform/paths.h"
#include "utility_manager/platform/process_reference.h"
#include "utility_manager/supervision/instance.h"

namespace utility_manager::cli {
namespace {

/// The state directory below the client's configuration directory.
std::string state_directory(const Arguments& arguments) {
  return platform::join_paths(arguments.directory, "utility_states");
}

std::vector<Finding> findings_of(const Arguments& arguments) {
  try {
    return look_at(state_directory(arguments));
  } catch (const platform::SystemError& failure) {
    throw std::runtime_error(
        "'" + arguments.directory +
        "' can't be read as a client's configuration directory: " + failure.what());
  }
}

void refuse_beside_client(const Arguments& arguments) {
  if (arguments.force || !platform::is_directory_used(arguments.directory)) return;
  throw std::runtime_error("a client uses this directory; leave it to the client, or say --force");
}

void remove_state_file(const Arguments& arguments, const Finding& finding) {
  const auto path = platform::join_paths(state_directory(arguments), finding.file_name);
  if (platform::path_exists(path)) platform::remove_file(path);
}

void say(const Arguments& arguments, const values::Value& json, const std::string& text) {
  std::cout << (arguments.json ? json_text(json) : text);
}

int list(const Arguments& arguments, const Terminal& terminal) {
  const auto findings = findings_of(arguments);
  say(arguments, json_of(findings), table_of(findings, terminal));
  return 0;
}

int why(const Arguments& arguments, const Terminal& terminal) {
  const auto findings = findings_of(arguments);
  const auto& finding = find(findings, arguments.id);
  say(arguments, explanation_json(finding), explanation(finding, terminal));
  return finding.state == State::running || finding.state == State::orphan ? 0 : 1;
}

/// True when the instance has ended, which its client may not have noticed yet.
bool end(const ServerInfo& record) {
  const Instance instance(record);
  if (instance.stop()) return true;
  const auto* const watched = instance.watched();
  return watched && platform::may_have_ended({&watched, 1}).front();
}

int stop(const Arguments& arguments, const Terminal&) {
  const auto findings = findings_of(arguments);
  const auto& finding = find(findings, arguments.id);
  const bool runs = finding.state == State::running || finding.state == State::orphan;
  if (!runs && finding.state != State::gone) {
    throw std::runtime_error(name_of(finding) + " isn't known to run; see 'why'");
  }
  refuse_beside_client(arguments);
  const bool has_gone = !runs || end(finding.record);
  if (has_gone) remove_state_file(arguments, finding);
  const auto* const outcome = !has_gone ? "could not be ended" : runs ? "stopped" : "had gone";
  say(arguments, outcome_json(finding, outcome), name_of(finding) + ": " + outcome + "\n");
  return has_gone ? 0 : 1;
}

int adopt(const Arguments& arguments, const Terminal& terminal) {
  const auto findings = findings_of(arguments);
  say(arguments, adoption_json(findings), adoption_table(findings, terminal));
  return 0;
}

std::vector<Finding> stale_findings(const Arguments& arguments) {
  auto findings = findings_of(arguments);
  std::erase_if(findings, [](const Finding& finding) { return !is_stale(finding); });
  return findings;
}

/// What is removed is what was shown and is still stale.
std::vector<Finding> remove_stale(const Arguments& arguments, const std::vector<Finding>& shown) {
  std::vector<Finding> removed;
  for (const auto& finding : stale_findings(arguments)) {
    const auto was_shown = [&](const Finding& one) { return one.file_name == finding.file_name; };
    if (std::ranges::none_of(shown, was_shown)) continue;
    remove_state_file(arguments, finding);
    removed.push_back(finding);
  }
  return removed;
}

int clean(const Arguments& arguments, const Terminal& terminal) {
  const auto stale = stale_findings(arguments);
  if (!arguments.json) {
    std::cout << (stale.empty() ? "Nothing to clean.\n" : table_of(stale, terminal));
  }
  std::vector<Finding> removed;
  if (!stale.empty() && !arguments.dry_run) {
    refuse_beside_client(arguments);
    const bool agreed = arguments.yes || terminal.confirms("Remove these files? [y/N] ");
    if (agreed) removed = remove_stale(arguments, stale);
    if (!arguments.json) std::cout << removal(removed.size(), agreed || terminal.can_ask());
  }
  if (arguments.json) std::cout << json_text(cleaning_json(stale, removed));
  return 0;
}

}  // namespace

int carry_out(const Arguments& arguments, const Terminal& terminal) {
  if (arguments.command == "list") return list(arguments, terminal);
  if (arguments.command == "why") return why(arguments, terminal);
  if (arguments.command == "stop") return stop(arguments, terminal);
  if (arguments.command == "adopt") return adopt(arguments, terminal);
  return clean(arguments, terminal);
}

}  // namespace utility_manager::cli
