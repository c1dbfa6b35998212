#include "utility_manager/platform/process.h"

#include <fstream>
#include <thread>

#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "tests/children/start_child.h"
#include "utility_manager/platform/child_process.h"
#include "utility_manager/platform/failures.h"
#include "utility_manager/platform/proc_table.h"
#include "utility_manager/platform/process_reference.h"
#include "utility_manager/platform/system.h"

using namespace utility_manager;
using namespace utility_manager::platform;

namespace {

const ProcessTable& table = native_processes();

/// A child with the id that `pid` had; null where the system doesn't let us choose.
std::shared_ptr<ProcessHandle> start_with_id(std::int64_t pid, const std::string& script) {
  for (int attempt = 0; attempt < 100; ++attempt) {
    std::ofstream("/proc/sys/kernel/ns_last_pid") << pid - 1;
    auto child = start_child(script);
    if (child->pid() == pid) return child;
    child->terminate();
    child->wait(60);
  }
  return nullptr;
}

ProcessRow row_of(const ProcessHandle& child) {
  for (const ProcessRow& row : process_rows()) {
    if (row.pid == child.pid()) return row;
  }
  return {};
}

/// As on a system that is older than they are.
void refuse_process_descriptors() {
  sock_filter filter[] = {BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
                          BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_pidfd_open, 0, 1),
                          BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | ENOSYS),
                          BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW)};
  const sock_fprog program{.len = std::size(filter), .filter = filter};
  ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
  ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program);
}

}  // namespace

TEST(NativeProcesses, TellsProcessesFromThreadsAndNonsense) {
  std::atomic<pid_t> thread_id = 0;
  std::atomic<bool> done = false;
  std::thread thread([&] {
    thread_id = ::gettid();
    done.wait(false);
  });
  while (thread_id == 0) std::this_thread::yield();
  const std::int64_t self = ::getpid();
  const std::int64_t beyond = std::int64_t{1} << 32;
  EXPECT_TRUE(table.exists(self));
  EXPECT_TRUE(system().can_signal(self));
  for (const std::int64_t pid : {std::int64_t{thread_id}, std::int64_t{0}, std::int64_t{-1}, -self,
                                 beyond + 1, beyond + self, INT64_MIN, INT64_MAX}) {
    EXPECT_FALSE(table.exists(pid)) << pid;
    EXPECT_FALSE(system().can_signal(pid)) << pid;
    EXPECT_THROW(table.find(pid), NoSuchProcess) << pid;
    if (HasFailure()) break;  // a signal to one of these would reach the wrong process
    EXPECT_THROW(system().signal(pid, Signal::terminate), NoSuchProcess) << pid;
  }
  done = true;
  done.notify_all();
  thread.join();
}

TEST(NativeProcesses, AZombieIsAProcessUntilItIsCollected) {
  const auto child = start_child("exit 5");
  wait_until_ended(*child);
  const auto process = table.find(child->pid());
  EXPECT_TRUE(table.exists(child->pid()));
  EXPECT_TRUE(process->exists());
  EXPECT_EQ(process->identity()->command_line, std::vector<std::string>());
  EXPECT_NO_THROW(process->kill());
  EXPECT_TRUE(table.wait({process}, 60).empty());
  EXPECT_EQ(child->returncode(), 5);  // collected by its handle
  EXPECT_FALSE(table.exists(child->pid()));
  EXPECT_FALSE(process->exists());
  EXPECT_THROW(process->kill(), NoSuchProcess);
  EXPECT_THROW(process->descendants(), NoSuchProcess);
  EXPECT_FALSE(process->identity());
}

TEST(NativeProcesses, AnotherParentsZombieIsWaitedForUntilTheDeadline) {
  const Reaper reaper;
  const auto parent = spawn_child({"/usr/bin/python3", "-IS", "-c",
                                   "import posix, time\npid = posix.fork() or posix._exit(0)\n"
                                   "print(pid, flush=True)\ntime.sleep(1000)"});
  const auto process = table.find(next_number(*parent));
  EXPECT_EQ(table.wait({process}, 0.05), std::vector{process});
  parent->kill();
  EXPECT_TRUE(table.wait({table.find(parent->pid()), process}, 60).empty());
}

TEST(NativeProcesses, ALaterOwnerOfTheIdIsAnotherProcess) {
  const auto child = start_child("wait");
  const auto process = table.find(child->pid());
  const ProcessRow row = row_of(*child);
  ProcessRow renumbered = row;  // the system has dropped its directory and made it anew
  ++renumbered.entry_number;
  EXPECT_TRUE(is_current(row) && is_current(renumbered));
  EXPECT_TRUE(refer_to(row));
  --renumbered.start_ticks;  // of a process that had the id before
  EXPECT_FALSE(refer_to(renumbered));
  std::this_thread::sleep_for(std::chrono::milliseconds(20));  // two ticks: start times differ
  child->terminate();
  EXPECT_EQ(child->wait(60), -SIGTERM);
  EXPECT_FALSE(is_current(row));
  const auto owner = start_with_id(child->pid(), "wait");
  if (!owner) GTEST_SKIP() << "the id of a process can't be chosen here";
  EXPECT_TRUE(child->id_has_new_owner());
  EXPECT_FALSE(owner->id_has_new_owner());
  EXPECT_FALSE(is_current(row));
  EXPECT_FALSE(process->exists());
  EXPECT_THROW(process->kill(), NoSuchProcess);
  child->terminate();
  EXPECT_EQ(owner->poll(), std::nullopt);
  owner->kill();
  wait_until_ended(*owner);
  EXPECT_TRUE(table.wait({process}, 60).empty());
  EXPECT_EQ(own_child(child->pid()), owner);
  EXPECT_EQ(owner->wait(60), -SIGKILL);
}

TEST(NativeProcesses, WhatIsRefusedExistsAllTheSame) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs a user to change from";
  const auto child = start_child("wait");
  const auto attempt = [&] {
    if (::setuid(65534) != 0) ::_exit(8);
    const auto process = table.find(child->pid());
    bool refused =
        table.exists(child->pid()) && process->exists() && !system().can_signal(child->pid());
    try {
      process->kill();
      refused = false;
    } catch (const AccessDenied&) {
    }
    ::_exit(refused ? 7 : 9);
  };
  EXPECT_EXIT(attempt(), testing::ExitedWithCode(7), "");
  EXPECT_EQ(child->poll(), std::nullopt);
  child->kill();
  child->wait(60);
}

TEST(NativeProcesses, WorksWhereProcessesHaveNoDescriptors) {
  const auto attempt = [] {
    refuse_process_descriptors();
    const auto child = start_child("wait");
    const auto process = table.find(child->pid());
    bool right = process->exists() && !child->wait(0.01) && table.wait({process}, 0.01).size() == 1;
    std::thread waiter([&] { right = right && child->wait(60) == -SIGKILL; });
    process->kill();
    waiter.join();
    right = right && table.wait({process}, 60).empty();
    const auto owner = start_with_id(child->pid(), "wait");
    if (owner) {
      right = right && child->id_has_new_owner() && !process->exists();
      owner->kill();
    }
    ::_exit(right ? 7 : 8);
  };
  EXPECT_EXIT(attempt(), testing::ExitedWithCode(7), "");
}
