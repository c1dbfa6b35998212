#include "utility_manager/supervision/process_control.h"

#include <gtest/gtest.h>

#include "tests/fakes/fake_client.h"
#include "tests/fakes/fake_system.h"
#include "utility_manager/platform/failures.h"

using namespace utility_manager;
using fakes::FakeHandle;
using fakes::FakeProcesses;
using platform::Signal;

namespace {

using Signals = std::vector<std::pair<std::int64_t, Signal>>;
using Lines = std::vector<std::string>;

/// A process whose parent is another child of ours, which collects it at once and then ends.
struct Stranger {
  std::shared_ptr<platform::ProcessHandle> parent;
  std::int64_t pid = 0;

  explicit Stranger(const std::string& script)
      : parent(start_child("collect\n" + script)), pid(next_number(*parent)) {}
};

}  // namespace

class AnyLayer : public testing::TestWithParam<const char*> {
 protected:
  bool is_absent() const { return std::string(GetParam()) == "none"; }

  const Reaper reaper;
  fakes::FakeSystem system;
  fakes::FakeClient client{is_absent() ? platform::bare_processes() : platform::native_processes()};
};

INSTANTIATE_TEST_SUITE_P(Layers, AnyLayer, testing::Values("native", "none"),
                         [](const auto& layer) { return layer.param; });

TEST_P(AnyLayer, Liveness) {
  const auto child = start_child("wait");
  EXPECT_TRUE(is_process_alive(child->pid()));
  EXPECT_TRUE(is_process_alive(own_id()));
  child->kill();
  wait_until_ended(*child);
  EXPECT_EQ(is_process_alive(child->pid()), is_collected_late());
  child->poll();
  for (const auto pid : {child->pid(), std::int64_t{0}, std::int64_t{-1}, -own_id(),
                         (std::int64_t{1} << 32) + 1, INT64_MIN, INT64_MAX}) {
    EXPECT_FALSE(is_process_alive(pid)) << pid;
    EXPECT_TRUE(kill_process_tree(pid)) << pid;
    EXPECT_TRUE(stop_utility_process(nullptr, pid)) << pid;
  }
  EXPECT_EQ(system.signals, Signals());
}

TEST_P(AnyLayer, AnOwnChildIsAskedToEndAndItsDescendantsAreLeftAlone) {
  const auto child = start_child("tree 1\nwait");
  const auto bystander = start_child("wait");
  const auto descendant = next_number(*child);
  EXPECT_TRUE(stop_utility_process(child, bystander->pid()));  // the handle goes before the id
  EXPECT_EQ(child->returncode(), code_of(Signal::terminate));
  EXPECT_EQ(bystander->poll(), std::nullopt);
  EXPECT_TRUE(is_process_alive(descendant));
  EXPECT_EQ(system.signals, Signals());
  end_orphans({descendant});
  bystander->kill();
  bystander->wait(60);
}

TEST_P(AnyLayer, AnEndedChildIsCollected) {
  const auto child = start_child("exit 5");
  wait_until_ended(*child);
  EXPECT_TRUE(stop_utility_process(child, 0));
  EXPECT_EQ(is_collected_late() ? child->returncode() : child->poll(), 5);
  EXPECT_TRUE(stop_utility_process(child, 0));
  EXPECT_TRUE(has_no_children());
}

TEST_P(AnyLayer, AStrangerIsEndedByItsId) {
  const Stranger stranger("pid\nwait");
  system.on_sleep = [&](double) { stranger.parent->wait(60); };  // it has gone by the next look
  EXPECT_TRUE(stop_utility_process(nullptr, stranger.pid));
  EXPECT_FALSE(is_process_alive(stranger.pid));
  EXPECT_EQ(system.signals, Signals());  // it was reached by more than its number
  EXPECT_EQ(stranger.parent->wait(60), 0);
}

TEST_P(AnyLayer, AStubbornStrangerIsKilled) {
  const bool can_refuse = code_of(Signal::terminate) != code_of(Signal::kill);
  const Stranger stranger("stubborn\npid\nwait");
  const double begin = system.wall_clock();
  const bool gone = kill_process_tree(stranger.pid);
  EXPECT_EQ(stranger.parent->wait(60), 0);
  EXPECT_FALSE(is_process_alive(stranger.pid));
  if (is_absent() && can_refuse) {
    EXPECT_GE(system.wall_clock(), begin + 4.99);
    EXPECT_LE(system.wall_clock(), begin + 5.11);
  } else if (!is_absent()) {
    EXPECT_TRUE(gone);
    EXPECT_EQ(system.wall_clock(), begin);
  }
  EXPECT_EQ(system.signals, Signals());
}

TEST_P(AnyLayer, ATreeIsEndedOnlyByALayer) {
  const auto root = start_child("tree 1 1\nwait");
  const std::vector<std::int64_t> descendants = {next_number(*root), next_number(*root)};
  system.on_sleep = [&](double) { root->wait(60); };
  EXPECT_TRUE(kill_process_tree(root->pid()));
  EXPECT_EQ(root->wait(60), code_of(is_absent() ? Signal::terminate : Signal::kill));
  for (const auto pid : descendants) EXPECT_EQ(is_process_alive(pid), is_absent());
  if (is_absent()) end_orphans(descendants);
  EXPECT_TRUE(has_no_children());  // a layer has collected all of it
}

/// Processes that exist only here, and a system that obeys the tests.
class ProcessControl : public testing::Test {
 protected:
  static constexpr auto pid = FakeProcesses::first_pid;

  void SetUp() override {
    processes.living = {{pid, 0}, {pid + 1, 0}, {pid + 2, 0}};
    processes.descendants[pid] = {pid + 1, pid + 2};
    system.on_signal = [this](std::int64_t id, Signal signal) {
      if (signal == Signal::kill) processes.living.erase(id);
    };
    system.on_command = [this] { processes.living.erase(pid); };
  }

  void fail_at(const std::string& call, std::function<void()> failure) {
    processes.before = [call, failure](const std::string& asked, std::int64_t) {
      if (asked == call) failure();
    };
  }

  FakeProcesses processes;
  fakes::FakeSystem system;
  fakes::FakeClient client{processes};
};

const Lines whole_tree = {"kill 8388609", "kill 8388610", "kill 8388608", "wait 5.0"};

TEST_F(ProcessControl, ATreeIsKilledFromItsLeavesOn) {
  EXPECT_TRUE(kill_process_tree(pid));
  EXPECT_EQ(processes.kills, whole_tree);
  EXPECT_EQ(system.signals, Signals());

  processes.kills.clear();
  SetUp();
  processes.stubborn = {pid + 1, pid};
  EXPECT_TRUE(kill_process_tree(pid));  // by the platform's own means
  auto twice = whole_tree;
  twice.insert(twice.end(), {"kill 8388609", "kill 8388608"});
  EXPECT_EQ(processes.kills, twice);
  EXPECT_EQ(system.signals, Signals({{pid, Signal::terminate}, {pid, Signal::kill}}));
}

TEST_F(ProcessControl, FailuresOfTheLayer) {
  const auto gone = [] { throw platform::NoSuchProcess(); };
  const auto denied = [] { throw platform::AccessDenied(); };
  const auto broken = [] { throw std::runtime_error("broken"); };
  const auto passes = std::optional<bool>();
  const struct {
    const char* call;
    std::function<void()> failure;
    std::optional<bool> result;
    std::size_t platform_calls;  ///< taskkill, or SIGTERM and SIGKILL
    Lines kills;
  } cases[] = {
      {"descendants", gone, true, 0, {}},      {"descendants", denied, true, 1, {}},
      {"descendants", broken, true, 1, {}},    {"kill", gone, true, 1, {}},
      {"kill", denied, true, 1, {}},           {"kill", broken, passes, 0, {"kill 8388609"}},
      {"wait", broken, passes, 0, whole_tree}, {"wait", gone, passes, 0, whole_tree},
  };
  for (const bool windows : {false, true}) {
    system.windows = windows;
    for (const auto& [call, failure, result, platform_calls, kills] : cases) {
      SetUp();
      processes.kills.clear();
      system.signals.clear();
      system.commands.clear();
      fail_at(call, failure);
      if (result) {
        EXPECT_EQ(kill_process_tree(pid), *result) << call;
      } else {
        EXPECT_THROW(kill_process_tree(pid), std::runtime_error) << call;
      }
      EXPECT_EQ(system.signals.size(), windows ? 0 : 2 * platform_calls) << call;
      EXPECT_EQ(system.commands.size(), windows ? platform_calls : 0) << call;
      if (!result) {
        EXPECT_EQ(processes.kills, kills) << call;
      }
    }
  }
  fail_at("pid_exists", broken);
  EXPECT_FALSE(is_process_alive(pid));
}

TEST_F(ProcessControl, AProcessThatVanishesMeanwhile) {
  fail_at("find", [&] { processes.living.clear(); });  // after the liveness test
  EXPECT_TRUE(kill_process_tree(pid));
  EXPECT_EQ(processes.kills, Lines());
  EXPECT_EQ(system.signals, Signals());

  processes.before = nullptr;
  for (const auto lost : {Signal::terminate, Signal::kill}) {
    SetUp();
    processes.stubborn = {pid};
    system.on_signal = [lost](std::int64_t, Signal signal) {
      if (signal == lost) throw platform::NoSuchProcess();
    };
    EXPECT_TRUE(kill_process_tree(pid));
    EXPECT_EQ(system.signals.back(), std::pair(pid, lost));
    EXPECT_TRUE(is_process_alive(pid));
  }
}

TEST_F(ProcessControl, ALaterOwnerOfTheIdIsLeftAlone) {
  const auto recycle = [this] { ++processes.living[pid]; };
  processes.stubborn = {pid};
  fail_at("wait", recycle);
  EXPECT_TRUE(kill_process_tree(pid));
  EXPECT_EQ(processes.kills, whole_tree);
  EXPECT_EQ(system.signals, Signals());
  processes.before = nullptr;
  system.on_signal = [&](std::int64_t, Signal) { recycle(); };
  EXPECT_TRUE(kill_process_tree(pid));
  EXPECT_EQ(system.signals, Signals({{pid, Signal::terminate}}));
}

TEST_F(ProcessControl, WhatCantBeEndedIsToldSo) {
  processes.stubborn = {pid};
  system.on_signal = [](std::int64_t, Signal) { throw platform::SystemError(1); };
  EXPECT_FALSE(kill_process_tree(pid));
  EXPECT_EQ(system.signals.size(), 1u);
  system.windows = true;
  system.on_command = [] { throw std::runtime_error("too long"); };
  EXPECT_FALSE(kill_process_tree(pid));
  EXPECT_EQ(system.commands, Lines({"taskkill /F /T /PID 8388608 15.0 134217728"}));
}

TEST_F(ProcessControl, WindowsEndsTheTreeWithoutALayerToo) {
  fakes::FakeClient without_layer;
  system.windows = true;
  const auto root = start_child("wait");
  system.on_command = [&] {
    root->kill();
    root->wait(60);
  };
  EXPECT_TRUE(kill_process_tree(root->pid()));
  EXPECT_EQ(system.commands.size(), 1u);
  EXPECT_EQ(system.signals, Signals());
}

TEST_F(ProcessControl, PoliteStops) {
  std::optional<int> code;
  const auto child = std::make_shared<FakeHandle>(pid);
  child->on_poll = [&] { return code; };
  EXPECT_TRUE(stop_utility_process(child, 7));  // it hangs for the whole wait
  EXPECT_EQ(child->waits, (std::vector<std::optional<double>>{5.0}));
  EXPECT_EQ(processes.kills, whole_tree);

  SetUp();
  child->on_terminate = [] { throw platform::SystemError(1); };
  EXPECT_TRUE(stop_utility_process(child, 0));
  EXPECT_EQ(child->waits.size(), 1u);
  EXPECT_FALSE(is_process_alive(pid));

  SetUp();
  processes.kills.clear();
  child->on_terminate = [&] { code = 0; };
  EXPECT_TRUE(stop_utility_process(child, 0));
  EXPECT_EQ(processes.kills, Lines());

  SetUp();
  child->on_terminate = [] { FAIL(); };
  EXPECT_TRUE(stop_utility_process(child, 0));  // it has ended, and still its id counts as alive
  EXPECT_EQ(processes.kills, whole_tree);

  SetUp();
  processes.kills.clear();
  child->gave_id_away = true;
  EXPECT_TRUE(stop_utility_process(child, 0));
  EXPECT_EQ(processes.kills, Lines());

  SetUp();
  child->on_poll = []() -> std::optional<int> { throw std::runtime_error("can't be asked"); };
  const auto no_id = std::make_shared<FakeHandle>(0);
  EXPECT_TRUE(stop_utility_process(no_id, 0));
  EXPECT_THROW(stop_utility_process(child, pid), std::runtime_error);
}
