// Every child of the C++ tests, and what stands in for an interpreter there. Does what its script
// says, a command a line:
//
//   out TEXT, err TEXT    writes a line
//   pid, arguments        writes what this process has
//   exit CODE             ends; the end of the script is `exit 0`
//   terminate, kill       ends as if somebody else did it
//   stubborn              can't be asked to end any more
//   wait                  for ever
//   collect               has a child do the rest of the script, and ends when that has ended
//   tree N [N ...]        has N children with its arguments, each with N of its own and so on; each
//                         writes its id, and waits
//   bequeath TEXT         leaves a child behind that writes TEXT to standard error after our end
//   hold, share           holds any port, in a way that others may share; writes it, and waits
//   serve                 answers HTTP requests on the port of the command line with its name
//   get PORT              writes what the server there says
//
// Usage: child -c SCRIPT [ARGUMENT ...]
//        child -s -u SCRIPT_FILE --server-id ID --utility-name NAME --port PORT ...
#include "tests/children/child.h"

#include <cstdlib>
#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>
#include <thread>

namespace {

using Words = std::vector<std::string>;

Words arguments;  // with the program's name
Words::iterator behind_script;

[[noreturn]] void fail(const std::string& message) {
  std::cerr << "child: " << message << std::endl;
  std::exit(99);
}

std::string script() {
  for (std::size_t i = 1; i < arguments.size(); ++i) {
    const auto& word = arguments[i];
    if (word == "-s" || word == "-u") continue;
    const bool is_text = word == "-c" && i + 1 < arguments.size();
    behind_script = arguments.begin() + static_cast<std::ptrdiff_t>(i) + (is_text ? 2 : 1);
    if (is_text) return arguments[i + 1];
    std::ifstream file(word, std::ios::binary);
    if (!file) fail("can't open file '" + word + "'");
    return {std::istreambuf_iterator<char>(file), {}};
  }
  fail("no script");
}

std::string option(const std::string& name) {
  for (std::size_t i = 1; i + 1 < arguments.size(); ++i) {
    if (arguments[i] == name) return arguments[i + 1];
  }
  fail("no " + name);
}

/// Longer than any test takes, so that none is left for good.
[[noreturn]] void wait_for_ever() {
  std::this_thread::sleep_for(std::chrono::minutes(20));
  fail("nobody has ended it");
}

void start_tree(const std::string& widths) {
  std::istringstream words(widths);
  int width = 0;
  words >> width;
  std::string rest;
  std::getline(words, rest);
  const auto commands = (rest.empty() ? "" : "tree" + rest + "\n") + std::string("pid\nwait\n");
  Words with_commands = {arguments[0], "-c", commands};
  with_commands.insert(with_commands.end(), behind_script, arguments.end());
  for (int i = 0; i < width; ++i) child::start(with_commands);
}

void hold_port(bool is_shared) {
  const auto socket = child::bound_socket(0, is_shared);
  std::cout << child::port_of(socket) << std::endl;
  wait_for_ever();
}

[[noreturn]] void serve() {
  const auto server = child::bound_socket(std::stoi(option("--port")), true);
  for (;;) {
    const auto client = child::next_client(server);
    child::receive_some(client);
    child::send_and_close(client, "HTTP/1.0 200 OK\r\n\r\n" + option("--utility-name"));
  }
}

void get(int port) {
  const auto server = child::connection_to(port);
  child::send_and_close(server, "GET / HTTP/1.0\r\n\r\n");
  std::string answer;
  for (std::string bytes; !(bytes = child::receive_some(server)).empty();) answer += bytes;
  std::cout << answer << std::endl;
}

/// `rest` holds the lines behind the command.
void carry_out(const std::string& command, const std::string& text, std::istream& rest) {
  if (command == "out") {
    std::cout << text + "\n" << std::flush;
  } else if (command == "err") {
    std::cerr << text + "\n";
  } else if (command == "pid") {
    std::cout << std::to_string(child::own_id()) + "\n" << std::flush;
  } else if (command == "arguments") {
    for (auto word = behind_script; word != arguments.end(); ++word) {
      std::cout << "[" << *word << "]";
    }
    std::cout << std::endl;
  } else if (command == "exit") {
    std::exit(std::stoi(text));
  } else if (command == "terminate" || command == "kill") {
    child::end(command == "kill");
    wait_for_ever();
  } else if (command == "stubborn") {
    child::ignore_requests_to_end();
  } else if (command == "wait") {
    wait_for_ever();
  } else if (command == "collect") {
    std::string commands(std::istreambuf_iterator<char>(rest), {});
    child::collect(child::start({arguments[0], "-c", commands}));
  } else if (command == "tree") {
    start_tree(text);
  } else if (command == "bequeath") {
    child::start(
        {arguments[0], "-c", "inherit " + std::to_string(child::own_id()) + "\nerr " + text});
  } else if (command == "inherit") {
    child::wait_for_end_of(std::stoll(text));
  } else if (command == "hold" || command == "share") {
    hold_port(command == "share");
  } else if (command == "serve") {
    serve();
  } else if (command == "get") {
    get(std::stoi(text));
  } else if (!command.empty()) {
    fail("no command '" + command + "'");
  }
}

}  // namespace

int main(int count, char** words) {
  arguments = child::prepare(count, words);
  std::istringstream lines(script());
  for (std::string line; std::getline(lines, line);) {
    const auto blank = line.find(' ');
    carry_out(line.substr(0, blank), blank == line.npos ? "" : line.substr(blank + 1), lines);
  }
}
