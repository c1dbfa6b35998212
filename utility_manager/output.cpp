#include "utility_manager/output.h"

#include <exception>
#include <mutex>
#include <utility>

#include "utility_manager/platform/line_writer.h"

namespace utility_manager {
namespace {

struct Output {
  std::mutex mutex;
  OutputSink sink;
};

Output& output() {
  static Output* const output = new Output;  // readers outlive static destruction
  return *output;
}

}  // namespace

void set_output(OutputSink sink) {
  const std::lock_guard held(output().mutex);
  output().sink.swap(sink);
}

void drop_output() {
  set_output([](std::string_view) {});
}

void write_output(std::string_view lines) {
  {
    const std::lock_guard held(output().mutex);
    if (const auto& sink = output().sink) {
      try {
        sink(lines);
      } catch (const std::exception&) {  // the next lines may get through
      }
      return;
    }
  }
  platform::write_lines(lines);
}

}  // namespace utility_manager
