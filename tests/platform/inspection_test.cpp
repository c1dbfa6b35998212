#include <fstream>
#include <thread>

#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "platform/clock.h"
#include "platform/failures.h"
#include "platform/native_inspection.h"
#include "platform/proc_table.h"
#include "platform/signals.h"
#include "tests/platform/child.h"

using namespace platform;

namespace {

host::ProcessInspection& inspection = *native_inspection();

/// A child with the id that `pid` had; null where the system doesn't let us choose.
std::shared_ptr<ChildProcess> start_with_id(std::int64_t pid, const std::string& script) {
  for (int attempt = 0; attempt < 100; ++attempt) {
    std::ofstream("/proc/sys/kernel/ns_last_pid") << pid - 1;
    auto child = start_shell(script);
    if (child->pid() == pid) return child;
    child->terminate();
    child->wait(60);
  }
  return nullptr;
}

ProcessRow row_of(const ChildProcess& child) {
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

TEST(Inspection, TellsProcessesFromThreadsAndNonsense) {
  std::atomic<pid_t> thread_id = 0;
  std::atomic<bool> done = false;
  std::thread thread([&] {
    thread_id = ::gettid();
    done.wait(false);
  });
  while (thread_id == 0) std::this_thread::yield();
  const std::int64_t self = ::getpid();
  const std::int64_t beyond = std::int64_t{1} << 32;
  EXPECT_TRUE(inspection.pid_exists(self));
  EXPECT_TRUE(can_signal(self));
  for (const std::int64_t pid : {std::int64_t{thread_id}, std::int64_t{0}, std::int64_t{-1}, -self,
                                 beyond + 1, beyond + self, INT64_MIN, INT64_MAX}) {
    EXPECT_FALSE(inspection.pid_exists(pid)) << pid;
    EXPECT_FALSE(can_signal(pid)) << pid;
    EXPECT_THROW(inspection.process(pid), host::NoSuchProcess) << pid;
    if (HasFailure()) break;  // a signal to one of these would reach the wrong process
    EXPECT_THROW(send_signal(pid, Signal::terminate), ProcessLookupError) << pid;
    EXPECT_EQ(inspection.pin(pid), nullptr) << pid;
    EXPECT_EQ(inspection.identity(pid), std::nullopt) << pid;
  }
  done = true;
  done.notify_all();
  thread.join();
}

TEST(Inspection, AZombieIsAProcessUntilItIsCollected) {
  const auto child = start_shell("exit 5");
  wait_for_zombie(*child);
  const auto process = inspection.process(child->pid());
  const auto pinned = inspection.pin(child->pid());
  EXPECT_TRUE(inspection.pid_exists(child->pid()));
  EXPECT_TRUE(process->is_running());
  EXPECT_TRUE(pinned->exists());
  EXPECT_EQ(inspection.identity(child->pid())->command_line, std::vector<std::string>());
  EXPECT_NO_THROW(process->kill());
  EXPECT_TRUE(inspection.wait_procs({process}, 60).empty());
  EXPECT_EQ(child->returncode(), 5);  // collected by its handle
  EXPECT_FALSE(inspection.pid_exists(child->pid()));
  EXPECT_FALSE(process->is_running());
  EXPECT_FALSE(pinned->exists());
  EXPECT_THROW(process->kill(), host::NoSuchProcess);
  EXPECT_THROW(process->descendants(), host::NoSuchProcess);
  EXPECT_EQ(inspection.identity(child->pid()), std::nullopt);
}

TEST(Inspection, IdentityIsStartAndCommandLine) {
  const double before = wall_clock();
  const std::vector<std::string> arguments = {"/bin/sh", "-c", "echo; kill -STOP $$", "", "a b"};
  const auto child = spawn_child(arguments);
  next_line(*child->output_stream());  // the program runs
  const auto identity = inspection.identity(child->pid());
  ASSERT_TRUE(identity);
  EXPECT_EQ(identity->command_line, arguments);
  EXPECT_GE(identity->start_time, before - 0.02);  // a tick is 10 ms
  EXPECT_LE(identity->start_time, wall_clock());
  child->kill();
  child->wait(60);
}

TEST(Inspection, ATreeIsFoundKilledAndWaitedFor) {
  const Subreaper subreaper;
  const auto root = start_shell(
      "for i in 1 2 3; do sh -c 'sleep 1000 & sleep 1000 & echo; wait' & done; exec sleep 1000");
  for (int i = 0; i < 3; ++i) next_line(*root->output_stream());
  auto targets = inspection.process(root->pid())->descendants();
  EXPECT_EQ(targets.size(), 9u);
  targets.push_back(inspection.process(root->pid()));
  EXPECT_EQ(inspection.wait_procs(targets, 0.02).size(), 10u);
  for (const auto& target : targets) target->kill();
  EXPECT_TRUE(inspection.wait_procs(targets, 60).empty());
  EXPECT_EQ(root->returncode(), -SIGKILL);
  EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);  // nothing is left of it
}

TEST(Inspection, AnotherParentsZombieIsWaitedForUntilTheDeadline) {
  const Subreaper subreaper;
  const auto parent = start_python(
      "import posix, time\npid = posix.fork() or posix._exit(0)\n"
      "print(pid, flush=True)\ntime.sleep(1000)");
  const auto process = inspection.process(std::stoll(next_line(*parent->output_stream())));
  EXPECT_EQ(inspection.wait_procs({process}, 0.05), std::vector{process});
  parent->kill();
  EXPECT_TRUE(inspection.wait_procs({inspection.process(parent->pid()), process}, 60).empty());
}

TEST(Inspection, ARowOlderThanItsParentIsNoChild) {
  const std::vector<ProcessRow> rows = {{1, 0, 0},  {5, 9, 70}, {9, 1, 50}, {6, 5, 70},
                                        {7, 9, 49}, {8, 7, 90}, {3, 5, 60}, {4, 1, 90}};
  const std::vector<ProcessRow> found = descendants_in(rows, 9);
  ASSERT_EQ(found.size(), 2u);
  EXPECT_TRUE(found[0].pid == 5 && found[1].pid == 6);
  EXPECT_TRUE(descendants_in(rows, 2).empty());
  EXPECT_EQ(descendants_in({{1, 2, 5}, {2, 1, 5}}, 1).size(), 2u);  // a torn table ends too
}

TEST(Inspection, ALaterOwnerOfTheIdIsAnotherProcess) {
  const auto child = start_shell("exec sleep 1000");
  const auto process = inspection.process(child->pid());
  const auto pinned = inspection.pin(child->pid());
  const ProcessRow row = row_of(*child);
  ProcessRow renumbered = row;  // the system has dropped its directory and made it anew
  ++renumbered.entry_number;
  EXPECT_TRUE(is_current(row) && is_current(renumbered));
  std::this_thread::sleep_for(std::chrono::milliseconds(20));  // two ticks: start times differ
  child->terminate();
  EXPECT_EQ(child->wait(60), -SIGTERM);
  EXPECT_FALSE(is_current(row));
  const auto owner = start_with_id(child->pid(), "exec sleep 1000");
  if (!owner) GTEST_SKIP() << "the id of a process can't be chosen here";
  EXPECT_TRUE(child->id_has_new_owner());
  EXPECT_FALSE(owner->id_has_new_owner());
  EXPECT_FALSE(is_current(row));
  EXPECT_FALSE(process->is_running());
  EXPECT_FALSE(pinned->exists());
  EXPECT_THROW(process->kill(), host::NoSuchProcess);
  child->terminate();
  EXPECT_EQ(owner->poll(), std::nullopt);
  owner->kill();
  wait_for_zombie(*owner);
  EXPECT_TRUE(inspection.wait_procs({process}, 60).empty());
  EXPECT_EQ(own_child(static_cast<pid_t>(child->pid())), owner);
  EXPECT_EQ(owner->wait(60), -SIGKILL);
}

TEST(Inspection, WhatIsRefusedExistsAllTheSame) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs a user to change from";
  const auto child = start_shell("exec sleep 1000");
  const auto attempt = [&] {
    if (::setuid(65534) != 0) ::_exit(8);
    const auto process = inspection.process(child->pid());
    bool refused = inspection.pid_exists(child->pid()) && inspection.pin(child->pid())->exists() &&
                   process->is_running() && !can_signal(child->pid());
    try {
      process->kill();
      refused = false;
    } catch (const host::AccessDenied&) {
    }
    ::_exit(refused ? 7 : 9);
  };
  EXPECT_EXIT(attempt(), testing::ExitedWithCode(7), "");
  EXPECT_EQ(child->poll(), std::nullopt);
  child->kill();
  child->wait(60);
}

TEST(Inspection, WorksWhereProcessesHaveNoDescriptors) {
  const auto attempt = [] {
    refuse_process_descriptors();
    const auto child = start_shell("exec sleep 1000");
    const auto process = inspection.process(child->pid());
    const auto pinned = inspection.pin(child->pid());
    bool right = process->is_running() && pinned->exists() && !child->wait(0.01) &&
                 inspection.wait_procs({process}, 0.01).size() == 1;
    std::thread waiter([&] { right = right && child->wait(60) == -SIGKILL; });
    process->kill();
    waiter.join();
    right = right && !pinned->exists() && inspection.wait_procs({process}, 60).empty();
    const auto owner = start_with_id(child->pid(), "exec sleep 1000");
    if (owner) {
      right = right && child->id_has_new_owner() && !pinned->exists();
      owner->kill();
    }
    ::_exit(right ? 7 : 8);
  };
  EXPECT_EXIT(attempt(), testing::ExitedWithCode(7), "");
}
