#include "utility_manager/platform/process.h"

#include <set>

#include <gtest/gtest.h>

#include "tests/children/start_child.h"
#include "utility_manager/platform/child_process.h"
#include "utility_manager/platform/failures.h"
#include "utility_manager/platform/proc_table.h"
#include "utility_manager/platform/system.h"

using namespace utility_manager;
using namespace utility_manager::platform;

namespace {

const ProcessTable& table = native_processes();

}  // namespace

TEST(NativeProcesses, ExistUntilTheyAreCollected) {
  const auto child = start_child("exit 5");
  const auto process = table.find(own_id());
  EXPECT_TRUE(process->exists() && table.exists(own_id()) && system().can_signal(own_id()));
  child->wait(60);
  const std::int64_t beyond = std::int64_t{1} << 32;
  for (const std::int64_t pid : {child->pid(), std::int64_t{0}, std::int64_t{-1}, -own_id(),
                                 beyond + 1, beyond + own_id(), INT64_MIN, INT64_MAX}) {
    EXPECT_FALSE(table.exists(pid)) << pid;
    EXPECT_FALSE(system().can_signal(pid)) << pid;
    EXPECT_THROW(table.find(pid), NoSuchProcess) << pid;
  }
}

TEST(NativeProcesses, AHeldOneIsNeverTakenForAnother) {
  const auto child = start_child("wait");
  const auto process = table.find(child->pid());
  EXPECT_TRUE(process->is_exact() && process->exists());
  EXPECT_EQ(table.wait({process}, 0.02).size(), 1u);
  process->kill();
  EXPECT_TRUE(table.wait({process}, 60).empty());
  EXPECT_EQ(child->wait(60), code_of(Signal::kill));
  EXPECT_FALSE(process->exists());
  EXPECT_THROW(process->kill(), NoSuchProcess);
  EXPECT_THROW(process->descendants(), NoSuchProcess);
  EXPECT_FALSE(process->identity());
}

TEST(NativeProcesses, IdentityIsStartAndCommandLine) {
  const double before = system().wall_clock();
  const std::vector<std::string> arguments = {child_program(), "-c", "out\nwait", "", "a b"};
  const auto child = spawn_child(arguments);
  next_line(*child->output_stream());  // the program runs
  const auto identity = table.find(child->pid())->identity();
  ASSERT_TRUE(identity);
  EXPECT_EQ(identity->command_line, arguments);
  EXPECT_GE(identity->start_time, before - 0.02);  // a tick is 10 ms
  EXPECT_LE(identity->start_time, system().wall_clock());
  child->kill();
  child->wait(60);
}

TEST(NativeProcesses, ATreeIsFoundKilledAndWaitedFor) {
  const Reaper reaper;
  const auto root = start_child("tree 3 2\nwait");
  std::set<std::int64_t> expected;
  while (expected.size() < 9) expected.insert(next_number(*root));
  auto targets = table.find(root->pid())->descendants();
  std::set<std::int64_t> found;
  for (const auto& target : targets) found.insert(target->pid());
  EXPECT_EQ(found, expected);
  targets.push_back(table.find(root->pid()));
  EXPECT_EQ(table.wait(targets, 0.02).size(), 10u);
  for (const auto& target : targets) target->kill();
  EXPECT_TRUE(table.wait(targets, 60).empty());
  EXPECT_EQ(root->returncode(), code_of(Signal::kill));
  EXPECT_TRUE(has_no_children());  // nothing is left of it
}

TEST(NativeProcesses, ARowOlderThanItsParentIsNoChild) {
  const std::vector<ProcessRow> rows = {{1, 0, 0},  {5, 9, 70}, {9, 1, 50}, {6, 5, 70},
                                        {7, 9, 49}, {8, 7, 90}, {3, 5, 60}, {4, 1, 90}};
  const std::vector<ProcessRow> found = descendants_in(rows, 9);
  ASSERT_EQ(found.size(), 2u);
  EXPECT_TRUE(found[0].pid == 5 && found[1].pid == 6);
  EXPECT_TRUE(descendants_in(rows, 2).empty());
  EXPECT_EQ(descendants_in({{1, 2, 5}, {2, 1, 5}}, 1).size(), 2u);  // a torn table ends too
}
