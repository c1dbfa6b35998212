#include "utility_manager/platform/process.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include "utility_manager/platform/child_process.h"
#include "utility_manager/platform/failures.h"
#include "utility_manager/platform/process_reference.h"
#include "utility_manager/platform/process_search.h"
#include "utility_manager/platform/system.h"

using namespace utility_manager::platform;

TEST(UnseenProcesses, AreKnownByTheirIdsAlone) {
  ASSERT_EQ(&native_processes(), &bare_processes());
  const auto child = spawn_child({"/bin/sh", "-c", "exec sleep 1000", "--mark", "value"});
  const auto process = native_processes().find(child->pid());
  EXPECT_FALSE(process->is_exact() || process->identity());
  EXPECT_THROW(process->descendants(), NotInspected);
  EXPECT_TRUE(processes_with_option("--mark").empty());
  EXPECT_TRUE(still_runs(own_stamp()) && still_runs({.pid = child->pid()}));
  EXPECT_TRUE(is_client_or_ancestor(::getpid()) && is_client_or_ancestor(::getppid()));
  EXPECT_FALSE(is_client_or_ancestor(child->pid()));
  EXPECT_FALSE(child->id_has_new_owner());
  child->kill();
  EXPECT_EQ(child->wait(60), -9);
  EXPECT_FALSE(still_runs({.pid = child->pid()}) || process->exists() || child->id_has_new_owner());
}

TEST(UnseenProcesses, WhatIsRefusedExistsAllTheSame) {
  const auto look = [] {
    if (::geteuid() == 0 && ::setuid(65534) != 0) ::_exit(8);
    ::_exit(process_exists(1) && !system().can_signal(1) ? 7 : 9);
  };
  EXPECT_EXIT(look(), testing::ExitedWithCode(7), "");
}
