#include "cli/reports.h"

#include <algorithm>
#include <ctime>

#include "utility_manager/platform/process.h"
#include "utility_manager/values/json_write.h"

namespace utility_manager::cli {
namespace {

Colour colour_of(State state) {
  if (state == State::running || state == State::starting) return Colour::green;
  return state == State::gone ? Colour::dim : Colour::yellow;
}

std::string time_text(double seconds) {
  const auto moment = static_cast<std::time_t>(seconds);
  const std::tm* const local = seconds > 0 ? std::localtime(&moment) : nullptr;
  char text[32];
  if (!local || std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", local) == 0) return "-";
  return text;
}

double created(const Finding& finding) {
  const auto& time = finding.record.create_time;
  return time.is_number() ? time.number() : 0;
}

std::string text_or_dash(const std::optional<std::string>& text) {
  return text && !text->empty() ? printable(*text) : "-";
}

std::string number_or_dash(std::int64_t number) {
  return number == 0 ? "-" : std::to_string(number);
}

values::Value text_or_null(const std::optional<std::string>& text) {
  return text ? values::Value(printable(*text)) : values::Value();
}

values::Mapping members_of(const Finding& finding) {
  const auto& record = finding.record;
  return {{"server_id", printable(record.server_id)},
          {"utility_name", text_or_null(record.utility_name)},
          {"group_name", text_or_null(record.group_name)},
          {"state", word_for(finding.state)},
          {"pid", record.pid},
          {"port", record.port},
          {"create_time", record.create_time},
          {"file", printable(finding.file_name)}};
}

template <typename Member>
values::Value list_of(const std::vector<Finding>& findings, Member member) {
  values::List list;
  for (const auto& finding : findings) list.emplace_back(member(finding));
  return list;
}

bool carries_id(const Finding& finding) {
  const auto& words = finding.process->command_line;
  return std::ranges::find(words, finding.record.server_id) != words.end();
}

std::string command_text(const Finding& finding) {
  std::string text;
  for (const auto& word : finding.process->command_line) {
    text += (text.empty() ? "" : " ") + printable(word);
  }
  return text.empty() ? "-" : text;
}

std::string misfit(const Finding& finding) {
  if (!finding.process || platform::is_client_or_ancestor(finding.record.pid)) {
    return "They don't fit: no utility can be this process.";
  }
  const auto delay = static_cast<long long>(finding.process->start_time - created(finding));
  return "They don't fit: the process started " + std::to_string(delay < 0 ? -delay : delay) +
         " s " + (delay < 0 ? "before" : "after") +
         " the file's time, and its command line doesn't carry the ID.";
}

std::string verdict(const Finding& finding) {
  switch (finding.state) {
    case State::starting:
      return "A start is in progress.";
    case State::orphan:
      return "It runs though its client has gone: its command line carries the ID.";
    case State::unproven:
      return "There is such a process, but nothing proves that it is this one.";
    case State::running:
      if (finding.is_start_record) return "Its client runs.";
      if (!finding.process) return "The process can't be looked at; nothing speaks against it.";
      if (carries_id(finding)) return "They fit: the process's command line carries the ID.";
      return "Nothing speaks against it: the command line doesn't carry the ID, the time may fit.";
    case State::gone:
      return "There is no such process: the utility has ended.";
    case State::another:
      return misfit(finding);
    case State::incomplete:
      return "The file lacks its ID, process or port.";
    case State::unreadable:
      return finding.is_read ? "The file can't be understood." : "The file can't be read.";
  }
  return "";
}

}  // namespace

std::string name_of(const Finding& finding) {
  const auto& name = finding.record.utility_name;
  const auto id = printable(finding.record.server_id.substr(0, 8));
  return name && !name->empty() ? printable(*name) + " " + id : id;
}

std::string table_of(const std::vector<Finding>& findings, const Terminal& terminal) {
  std::vector<Row> rows;
  rows.reserve(findings.size());
  for (const auto& finding : findings) {
    const auto& record = finding.record;
    rows.push_back({{printable(record.server_id)},
                    {text_or_dash(record.utility_name), Colour::bold},
                    {text_or_dash(record.group_name)},
                    {word_for(finding.state), colour_of(finding.state)},
                    {number_or_dash(record.pid)},
                    {number_or_dash(record.port)},
                    {time_text(created(finding))}});
  }
  return terminal.table({"ID", "UTILITY", "GROUP", "STATE", "PID", "PORT", "SINCE"}, rows);
}

values::Value json_of(const std::vector<Finding>& findings) {
  return list_of(findings, members_of);
}

std::string explanation(const Finding& finding, const Terminal& terminal) {
  const auto& record = finding.record;
  std::string text = terminal.in(Colour::bold, text_or_dash(record.utility_name)) + " " +
                     printable(record.server_id) + "\n";
  const auto add = [&text](const char* title, const std::string& value) {
    text += title + value + "\n";
  };
  add("file        ", printable(finding.file_name));
  add("  written   ", time_text(created(finding)));
  add("  process   ", number_or_dash(record.pid));
  add("  port      ", number_or_dash(record.port));
  if (record.group_name) add("  group     ", printable(*record.group_name));
  if (finding.process) {
    add("process     ", std::to_string(record.pid));
    add("  started   ", time_text(finding.process->start_time));
    add("  command   ", command_text(finding));
  }
  return text + terminal.in(colour_of(finding.state), verdict(finding)) + "\n";
}

values::Value explanation_json(const Finding& finding) {
  auto members = members_of(finding);
  values::Value process;
  if (finding.process) {
    values::List words;
    for (const auto& word : finding.process->command_line) words.emplace_back(printable(word));
    process = {{"start_time", finding.process->start_time}, {"command_line", std::move(words)}};
  }
  members.append("process", std::move(process));
  members.append("verdict", verdict(finding));
  return members;
}

std::string adoption_table(const std::vector<Finding>& findings, const Terminal& terminal) {
  std::vector<Row> rows;
  rows.reserve(findings.size());
  for (const auto& finding : findings) {
    rows.push_back({{adoption_of(finding), colour_of(finding.state)},
                    {printable(finding.record.server_id)},
                    {text_or_dash(finding.record.utility_name), Colour::bold},
                    {verdict(finding)}});
  }
  return terminal.table({"WOULD", "ID", "UTILITY", "WHY"}, rows);
}

values::Value adoption_json(const std::vector<Finding>& findings) {
  return list_of(findings, [](const Finding& finding) {
    auto members = members_of(finding);
    members.append("would", adoption_of(finding));
    return members;
  });
}

values::Value outcome_json(const Finding& finding, const std::string& outcome) {
  auto members = members_of(finding);
  members.append("outcome", outcome);
  return members;
}

std::string removal(std::size_t count, bool is_settled) {
  if (!is_settled) return "Nothing was removed; --yes removes them.\n";
  return "Removed: " + std::to_string(count) + "\n";
}

values::Value cleaning_json(const std::vector<Finding>& stale,
                            const std::vector<Finding>& removed) {
  return {{"stale", json_of(stale)}, {"removed", json_of(removed)}};
}

std::string json_text(const values::Value& value) {
  return values::write_json(value, values::Characters::plain) + "\n";
}

}  // namespace utility_manager::cli
