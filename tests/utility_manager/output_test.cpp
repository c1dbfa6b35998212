#include "utility_manager/output.h"

#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "tests/fakes/pipe_stream.h"
#include "utility_manager/output_relay.h"
#include "utility_manager/stderr_buffer.h"

using namespace utility_manager;

namespace {

/// Relays a line, and waits until that is done.
void relay(const std::string& line) {
  constexpr double patience = 60;
  fakes::PipeStream source;
  const auto buffer = std::make_shared<StderrBuffer>();
  start_relay(source.stream(), "UTILITY-STDERR", buffer);
  source.write(line + "\n");
  source.end();
  buffer->wait_for_lines(patience, patience);
}

}  // namespace

TEST(Output, GoesToTheSinkUntilItIsTakenAway) {
  std::string seen;
  set_output([&](std::string_view lines) {
    seen += lines;
    if (lines.find("lost") != lines.npos) throw std::runtime_error("full");
  });
  testing::internal::CaptureStdout();
  for (const char* line : {"one", "lost", "two"}) relay(line);
  drop_output();
  relay("dropped");
  set_output(nullptr);
  relay("standard");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "[UTILITY-STDERR] standard\n");
  EXPECT_EQ(seen, "[UTILITY-STDERR] one\n[UTILITY-STDERR] lost\n[UTILITY-STDERR] two\n");
}
