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

#include "tests/utility_manager/platform/child.h"
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
    auto child = start_shell(script);
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

/// For its life, descendants that lose their parent become ours instead of a lazy init's.
struct Subreaper {
  Subreaper() { ::prctl(PR_SET_CHILD_SUBREAPER, 1); }
  ~Subreaper() { ::prctl(PR_SET_CHILD_SUBREAPER, 0); }
};

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
  const auto child = start_shell("exit 5");
  wait_for_zombie(*child);
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

TEST(NativeProcesses, IdentityIsStartAndCommandLine) {
  const double before = system().wall_clock();
  const std::vector<std::string> arguments = {"/bin/sh", "-c", "echo; kill -STOP $$", "", "a b"};
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
  const Subreaper subreaper;
  const auto root = start_shell(
      "for i in 1 2 3; do sh -c 'sleep 1000 & sleep 1000 & echo; wait' & done; exec sleep 1000");
  for (int i = 0; i < 3; ++i) next_line(*root->output_stream());
  auto targets = table.find(root->pid())->descendants();
  EXPECT_EQ(targets.size(), 9u);
  targets.push_back(table.find(root->pid()));
  EXPECT_EQ(table.wait(targets, 0.02).size(), 10u);
  for (const auto& target : targets) target->kill();
  EXPECT_TRUE(table.wait(targets, 60).empty());
  EXPECT_EQ(root->returncode(), -SIGKILL);
  EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);  // nothing is left of it
}

TEST(NativeProcesses, AnotherParentsZombieIsWaitedForUntilTheDeadline) {
  const Subreaper subreaper;
  const auto parent = start_python(
      "import posix, time\npid = posix.fork() or posix._exit(0)\n"
      "print(pid, flush=True)\ntime.sleep(1000)");
  const auto process = table.find(std::stoll(next_line(*parent->output_stream())));
  EXPECT_EQ(table.wait({process}, 0.05), std::vector{process});
  parent->kill();
  EXPECT_TRUE(table.wait({table.find(parent->pid()), process}, 60).empty());
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

TEST(NativeProcesses, ALaterOwnerOfTheIdIsAnotherProcess) {
  const auto child = start_shell("exec sleep 1000");
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
  const auto owner = start_with_id(child->pid(), "exec sleep 1000");
  if (!owner) GTEST_SKIP() << "the id of a process can't be chosen here";
  EXPECT_TRUE(child->id_has_new_owner());
  EXPECT_FALSE(owner->id_has_new_owner());
  EXPECT_FALSE(is_current(row));
  EXPECT_FALSE(process->exists());
  EXPECT_THROW(process->kill(), NoSuchProcess);
  child->terminate();
  EXPECT_EQ(owner->poll(), std::nullopt);
  owner->kill();
  wait_for_zombie(*owner);
  EXPECT_TRUE(table.wait({process}, 60).empty());
  EXPECT_EQ(own_child(child->pid()), owner);
  EXPECT_EQ(owner->wait(60), -SIGKILL);
}

TEST(NativeProcesses, WhatIsRefusedExistsAllTheSame) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs a user to change from";
  const auto child = start_shell("exec sleep 1000");
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
    const auto child = start_shell("exec sleep 1000");
    const auto process = table.find(child->pid());
    bool right = process->exists() && !child->wait(0.01) && table.wait({process}, 0.01).size() == 1;
    std::thread waiter([&] { right = right && child->wait(60) == -SIGKILL; });
    process->kill();
    waiter.join();
    right = right && table.wait({process}, 60).empty();
    const auto owner = start_with_id(child->pid(), "exec sleep 1000");
    if (owner) {
      right = right && child->id_has_new_owner() && !process->exists();
      owner->kill();
    }
    ::_exit(right ? 7 : 8);
  };
  EXPECT_EXIT(attempt(), testing::ExitedWithCode(7), "");
}
