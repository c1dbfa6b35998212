#include <filesystem>

#include <gtest/gtest.h>

#include "tests/fakes/fake_client.h"
#include "utility_manager/platform/child_process.h"
#include "utility_manager/platform/pipe.h"

using namespace utility_manager;

/// The host of the page for embedders, over a stand-in for the interpreter.
TEST(Embedding, AHostAdoptsListsAndEndsWhatAKilledOneHasLeft) {
  const fakes::TemporaryDirectory directory;
  const auto script = directory.write("clock", "tree 1\nserve");
  auto input = platform::make_pipe();
  const StandardStream console(0, input.read_end);  // nobody types
  const auto start_host = [&] {
    const auto program = native_path(std::filesystem::absolute(CLOCK_HOST).string());
    return platform::spawn_child({program, child_program(), script, directory / "state"});
  };

  const auto killed = start_host();
  const auto listed = next_line(*killed->output_stream());
  const std::string before_port = "clock runs at http://localhost:";
  ASSERT_EQ(listed.substr(0, before_port.size()), before_port);
  const std::string before_pid = "[UTILITY-STDOUT] ";
  const auto written = next_line(*killed->error_stream());
  const auto& table = platform::native_processes();
  const auto descendant = table.find(std::stoll(written.substr(before_pid.size())));
  killed->kill();
  killed->wait(60);
  const auto port = std::to_string(std::stoi(listed.substr(before_port.size())));
  EXPECT_TRUE(output_of(start_child("get " + port)).ends_with("\r\n\r\nclock\n"));

  const auto next = start_host();
  EXPECT_EQ(next_line(*next->output_stream()), listed);
  EXPECT_TRUE(descendant->exists());
  input.write_end.close();
  EXPECT_EQ(next_line(*next->output_stream()).substr(0, 7), "stopped");
  EXPECT_EQ(next->wait(60), 0);
  EXPECT_TRUE(table.wait({descendant}, 60).empty());
  EXPECT_TRUE(std::filesystem::is_empty(directory / "state/utility_states"));
}
