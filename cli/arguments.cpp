#include "cli/arguments.h"

#include <algorithm>
#include <map>
#include <string_view>

#include "cli/console.h"

namespace utility_manager::cli {
namespace {

using Flag = bool Arguments::*;

const std::map<std::string_view, Flag> flags = {
    {"--json", &Arguments::json},       {"-y", &Arguments::yes},
    {"--yes", &Arguments::yes},         {"--force", &Arguments::force},
    {"--dry-run", &Arguments::dry_run}, {"-h", &Arguments::help},
    {"--help", &Arguments::help},       {"--version", &Arguments::version}};

struct Command {
  bool takes_id;
  std::vector<Flag> flags;  ///< beside `json`
};

const std::map<std::string_view, Command> commands = {
    {"list", {false, {}}},
    {"why", {true, {}}},
    {"stop", {true, {&Arguments::force}}},
    {"adopt", {false, {&Arguments::dry_run}}},
    {"clean", {false, {&Arguments::yes, &Arguments::force, &Arguments::dry_run}}}};

std::string directory_from(const std::string& word) {
  if (word.empty()) throw UsageError("--config needs a directory");
  return word;
}

void check_command(const Arguments& arguments, std::size_t words) {
  if (arguments.command.empty()) throw UsageError("a command is missing");
  const auto command = commands.find(arguments.command);
  if (command == commands.end()) throw UsageError("no command '" + arguments.command + "'");
  const auto& [takes_id, allowed] = command->second;
  if (takes_id && arguments.id.empty()) throw UsageError("'" + arguments.command + "' needs an ID");
  if (words > (takes_id ? 2U : 1U)) throw UsageError("too many words");
  for (const Flag flag : {&Arguments::yes, &Arguments::force, &Arguments::dry_run}) {
    if (arguments.*flag && std::ranges::find(allowed, flag) == allowed.end()) {
      throw UsageError("'" + arguments.command + "' has no such option");
    }
  }
  if (arguments.command == "adopt" && !arguments.dry_run) {
    throw UsageError("a client adopts when it starts; 'adopt --dry-run' tells what it would do");
  }
}

}  // namespace

Arguments parse(const std::vector<std::string>& words) {
  Arguments arguments;
  std::vector<std::string> plain;
  for (auto word = words.begin(); word != words.end(); ++word) {
    if (*word == "-C" || *word == "--config") {
      arguments.directory = directory_from(++word == words.end() ? "" : *word);
    } else if (word->starts_with("--config=")) {
      arguments.directory = directory_from(word->substr(9));
    } else if (const auto flag = flags.find(*word); flag != flags.end()) {
      arguments.*flag->second = true;
    } else if (word->starts_with("-")) {
      throw UsageError("no option '" + *word + "'");
    } else {
      plain.push_back(*word);
    }
  }
  if (arguments.help || arguments.version) return arguments;
  if (arguments.directory.empty()) {
    arguments.directory = environment_variable("UTILITY_MANAGER_CONFIG").value_or(".");
  }
  if (!plain.empty()) arguments.command = plain[0];
  if (plain.size() > 1) arguments.id = plain[1];
  check_command(arguments, plain.size());
  return arguments;
}

const char* help() {
  return R"(usage: utility-manager [-C DIR] [--json] COMMAND

Shows and tidies what a client's configuration directory tells of utilities that outlive the
client. No client has to run; while one does, nothing is changed unless --force says so.

commands:
  list             each instance on record, and whether it runs
  why ID           what its file says, what the process says, and whether they fit
  stop ID          end an instance with all its processes, and remove its file
  adopt --dry-run  what a client that starts now would adopt, end, drop and leave alone
  clean            show the files of what has gone, and remove them

An ID may be shortened to its first characters.

options:
  -C, --config DIR the client's configuration directory; without it the environment variable
                   UTILITY_MANAGER_CONFIG names it, else it is the working directory
  --json           print JSON
  -y, --yes        clean without asking
  --dry-run        change nothing
  --force          stop or clean although a client uses the directory
  -h, --help       print this
  --version        print the version

The exit status is 0 when it is done, 1 when it isn't, 2 when the command line is wrong.
)";
}

}  // namespace utility_manager::cli
