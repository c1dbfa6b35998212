#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "tests/fakes/fake_client.h"
#include "utility_manager/platform/child_process.h"

/// Runs `script` in the Python interpreter and returns what it handed to `emit`: each argument,
/// text in UTF-8 or bytes, is one entry. `every` holds all code points but the surrogates.
inline std::vector<std::string> run_python(const std::string& script) {
  const std::string prelude = R"(
import base64, itertools, json, math, random, struct, sys, unicodedata
every = [chr(c) for c in range(0x110000) if not 0xd800 <= c < 0xe000]
random.seed(1)
def chunks(code_points):
    return [code_points[i:i + 256] for i in range(0, len(code_points), 256)]
def emit(*entries):
    for entry in entries:
        if isinstance(entry, str):
            entry = entry.encode()
        sys.stdout.buffer.write(b'%d\n%b' % (len(entry), entry))
)";
  const utility_manager::fakes::TemporaryDirectory directory;
  const auto python = utility_manager::platform::spawn_child(
      {utility_manager::interpreter(), directory.write("script.py", prelude + script)});
  const auto output = python->output_stream()->read_rest(1 << 30, 60);
  if (python->wait(60) != 0) throw std::runtime_error(python->error_stream()->read_rest(9999, 1));

  std::vector<std::string> entries;
  for (std::size_t at = 0; at < output.size();) {
    const std::size_t line_end = output.find('\n', at);
    entries.push_back(output.substr(line_end + 1, std::stoul(output.substr(at, line_end - at))));
    at = line_end + 1 + entries.back().size();
  }
  if (entries.empty()) throw std::runtime_error("the script emitted nothing");
  return entries;
}
