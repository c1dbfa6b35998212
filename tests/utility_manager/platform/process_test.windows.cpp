#include <gtest/gtest.h>

#include "tests/children/start_child.h"
#include "utility_manager/platform/failures.h"
#include "utility_manager/platform/process_reference.h"
#include "utility_manager/platform/system.h"

using namespace utility_manager;
using namespace utility_manager::platform;

TEST(WindowsProcesses, TheIdsBesideAProcessAreNone) {
  for (const auto pid : {own_process_id() + 1, own_process_id() + 3}) {
    EXPECT_FALSE(process_exists(pid) || system().can_signal(pid)) << pid;
    EXPECT_THROW(system().signal(pid, Signal::kill), NoSuchProcess) << pid;
  }
}

TEST(WindowsProcesses, OneThatHasEndedIsNoneThoughItCanBeOpened) {
  const auto child = start_child("exit 3");
  const ProcessReference reference(child->pid());
  EXPECT_EQ(child->wait(60), 3);
  EXPECT_FALSE(process_exists(child->pid()) || reference.exists());
  EXPECT_EQ(reference.collect().exit_code, 3);  // not ours alone, and kept
  EXPECT_THROW(reference.send(Signal::kill), NoSuchProcess);
  EXPECT_FALSE(row_of(child->pid()) && !row_of(child->pid())->has_ended);
}

TEST(WindowsProcesses, TheSystemsCommandEndsOne) {
  const auto child = start_child("out runs\nwait");
  EXPECT_EQ(next_line(*child->output_stream()), "runs");
  system().run_command({"taskkill", "/F", "/PID", std::to_string(child->pid())}, 60,
                       creation_flags::create_no_window);
  EXPECT_TRUE(child->wait(60));
}
