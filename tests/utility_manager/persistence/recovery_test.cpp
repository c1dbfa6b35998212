#include <algorithm>
#include <chrono>
#include <filesystem>
#include <sstream>

#include <gtest/gtest.h>

#include "tests/utility_manager/manager_fixture.h"
#include "utility_manager/persistence/start_record.h"
#include "utility_manager/platform/failures.h"
#include "utility_manager/platform/files.h"
#include "utility_manager/platform/process_search.h"

using namespace utility_manager;

namespace fs = std::filesystem;

namespace {

/// No other run of these tests has it.
const std::string server_id =
    "6f0c2a52-53f4-4c52-9d9c-" + std::to_string(100'000'000'000 + platform::own_stamp().pid);

/// Of the system, to write where there is no directory.
std::string refusal_of(const std::string& path) {
  try {
    platform::write_file(path, "");
  } catch (const platform::SystemError& failure) {
    return failure.what();
  }
  return "none";
}

/// Waited for until it runs: just after a spawn the system knows no command line yet.
std::shared_ptr<platform::ProcessHandle> sleeper(const std::string& id) {
  auto child = start_child("out runs\nwait", {"--server-id", id});
  EXPECT_EQ(next_line(*child->output_stream()), "runs");
  return child;
}

}  // namespace

/// Start records that a client meets in its constructor.
class Recovery : public ManagerTest {
 protected:
  std::string state_path(const std::string& name) {
    return client.config_path("utility_states/" + name);
  }
  std::string record_path() { return state_path("." + server_id + ".starting"); }

  struct Left {
    bool is_persistent = false;
    std::int64_t pid = 0;
    platform::ProcessStamp client = {.pid = 1 << 23, .start_ticks = 5};  ///< it has gone
    double age = 60;
  };

  /// Leaves a record, and lets a client meet it.
  void meet(const Left& left) {
    const auto clock = static_cast<std::int64_t>(system.wall_clock());
    const Value state = {{"server_id", server_id}, {"utility_name", "kept"},
                         {"port", 9000},           {"pid", 0},
                         {"config", Mapping()},    {"create_time", clock}};
    const Value record = {
        {"state", state},
        {"persistent", left.is_persistent},
        {"client", {{"pid", left.client.pid}, {"start_ticks", left.client.start_ticks}}}};
    auto text = json_of(record) + "\n";
    if (left.pid != 0) text += R"({"pid": )" + std::to_string(left.pid) + "}\n";
    meet_file(record_path(), text, left.age);
  }

  void meet_file(const std::string& path, const std::string& bytes, double age) {
    platform::write_file(path, bytes);
    set_modification_time(path, system.wall_clock() - age);
    manager = std::make_shared<UtilityServerManager>();
  }

  bool has_record() { return fs::exists(record_path()); }
};

TEST_F(Recovery, AProvenProcessIsAdoptedOrEnded) {
  for (const bool has_pid : {false, true}) {
    const auto child = sleeper(server_id);
    meet({.is_persistent = true, .pid = has_pid ? child->pid() : 0});
    ASSERT_TRUE(record(server_id));
    EXPECT_EQ(record(server_id)->pid, child->pid());
    EXPECT_TRUE(record(server_id)->adopted);
    EXPECT_EQ(manager->used_ports(), std::set<std::int64_t>({9000}));
    EXPECT_FALSE(has_record());
    const auto later = std::make_shared<UtilityServerManager>();
    EXPECT_EQ(later->servers().size(), 1u);
    meet({.is_persistent = true, .pid = child->pid()});  // it stands in the table already
    EXPECT_EQ(manager->servers().size(), 1u);
    EXPECT_FALSE(has_record());
    EXPECT_EQ(child->poll(), std::nullopt);
    EXPECT_TRUE(manager->stop_utility_server(server_id));

    const auto own = sleeper(server_id);
    meet({.pid = has_pid ? own->pid() : 0});
    EXPECT_EQ(own->wait(60), code_of(platform::Signal::kill));
    expect_empty_books();
  }
}

TEST_F(Recovery, ATreeIsEndedWhole) {
  const auto root = start_child("tree 1\nwait", {"--server-id", server_id});
  const platform::ProcessStamp members[] = {{.pid = root->pid()}, {.pid = next_number(*root)}};
  meet({});
  EXPECT_EQ(root->wait(60), code_of(platform::Signal::kill));
  for (const auto& member : members) EXPECT_FALSE(platform::still_runs(member));
  EXPECT_FALSE(has_record());
}

TEST_F(Recovery, NoStrangerIsSignalled) {
  const auto stranger = sleeper("another");
  const auto own = platform::own_stamp();
  const struct {
    Left left;
    bool stays;
  } cases[] = {
      {{.pid = stranger->pid()}, true},  // it may have hidden its command line
      {{.is_persistent = true, .pid = stranger->pid()}, true},
      {{.pid = 1 << 23}, false},
      {{.pid = 0, .age = 1}, true},  // it may be on its way
      {{.pid = 0}, false},
      {{.pid = 1 << 23, .client = {.pid = own.pid, .start_ticks = own.start_ticks + 1}}, false},
      {{.pid = 1 << 23, .client = own}, false},  // before an exec
      {{.pid = 1 << 23, .client = {.pid = stranger->pid()}}, true},
  };
  for (const auto& [left, stays] : cases) {
    meet(left);
    EXPECT_EQ(has_record(), stays) << &left - &cases[0].left;
    EXPECT_TRUE(manager->servers().empty());
    fs::remove(record_path());
  }
  EXPECT_EQ(stranger->poll(), std::nullopt);

  const auto child = sleeper(server_id);
  meet({.pid = child->pid(), .client = {.pid = stranger->pid()}});  // its client lives
  EXPECT_TRUE(has_record());
  for (const bool is_persistent : {false, true}) {  // another process is known to be the child
    meet({.is_persistent = is_persistent, .pid = 1 << 23});
    EXPECT_TRUE(manager->servers().empty());
  }
  EXPECT_EQ(child->poll(), std::nullopt);
  child->kill();
  stranger->kill();
}

TEST_F(Recovery, WhatIsNotARecordIsLeftAloneUnlessItIsAPartOfOne) {
  const struct {
    std::string name;
    std::string bytes;
    double age;
    bool stays;
  } cases[] = {
      {"." + server_id + ".starting", "", 60, false},
      {"." + server_id + ".starting", "", 1, true},
      {"." + server_id + ".starting", R"({"state": {"server_id": ")" + server_id + R"(", "ut)", 60,
       false},
      {"." + server_id + ".starting", "notes of mine", 60, true},
      {"." + server_id + ".starting", std::string(limits::state_file_bytes + 1, ' '), 60, true},
      {".mine.starting", "", 60, true},
      {server_id + ".starting", "", 60, true},
      {"." + server_id + ".unfinished", R"({"server_id": ")", 60, false},
      {"." + server_id + ".unfinished", R"({"server_id": ")", 1, true},
      {"." + server_id + ".unfinished", "mine", 60, true},
  };
  for (const auto& [name, bytes, age, stays] : cases) {
    meet_file(state_path(name), bytes, age);
    EXPECT_EQ(fs::exists(state_path(name)), stays) << name << " " << bytes.substr(0, 40);
    fs::remove(state_path(name));
  }
}

class Records : public FakeProcessTest {
 protected:
  Records() { fake_children(); }

  std::string path_of(const std::string& id) {
    return native_path(manager->state_dir() + "/." + id + ".starting");
  }
};

TEST_F(Records, StandFromBeforeTheSpawnUntilTheInstanceIsGone) {
  offer("own");
  const auto child = system.on_spawn;
  std::string before_birth;
  system.on_spawn = [&] {
    for (const auto& entry : fs::directory_iterator(manager->state_dir())) {
      before_birth = entry.path().string();
    }
    return child();
  };
  const auto id = start_id("own");
  EXPECT_EQ(fs::path(before_birth), path_of(id));
  std::istringstream lines(platform::read_file(before_birth));
  std::string first;
  std::string second;
  std::getline(lines, first);
  std::getline(lines, second);
  const auto object = read_json(first);
  EXPECT_EQ(member(member(object, "state"), "port"), 8890);
  EXPECT_EQ(member(member(object, "client"), "pid"), own_id());
  EXPECT_EQ(second, R"({"pid": )" + std::to_string(children[0]->pid()) + "}");
  EXPECT_TRUE(manager->stop_utility_server(id));
  expect_empty_books();
}

TEST_F(Records, AFailedWriteIsToldOnceAndMadeAgain) {
  client.add_plugin("plugin", {utility("kept", {{"persistent", true}}), utility("own")});
  manager->catalogue().refresh();
  fs::remove_all(manager->state_dir());
  const auto kept = start_id("kept");
  const auto own = start_id("own");
  ASSERT_EQ(system.reports.size(), 2u);
  EXPECT_EQ(system.reports[0], "utility_manager: an instance can't be written down: " +
                                   refusal_of(manager->_state_file_path(kept)));
  EXPECT_NE(system.reports[1].find("." + own + ".starting'"), std::string::npos);
  system.let_monitor_pass();
  EXPECT_EQ(system.reports.size(), 2u);
  fs::create_directory(manager->state_dir());
  system.let_monitor_pass();
  EXPECT_TRUE(fs::exists(manager->_state_file_path(kept)) && fs::exists(path_of(own)));

  fs::remove_all(manager->state_dir());
  EXPECT_TRUE(manager->stop_utility_server(own) && manager->stop_utility_server(kept));
  const auto again = start_id("kept");
  EXPECT_EQ(system.reports.size(), 3u);
  fs::create_directory(manager->state_dir());
  system.keep_monitor_awake();
  manager->cleanup_all_servers();
  EXPECT_TRUE(fs::exists(manager->_state_file_path(again)));
}

TEST_F(Records, BecomeStateFilesWholeOrNotAtAll) {
  ServerInfo info;
  info.server_id = server_id;
  info.port = 8890;
  const auto path = manager->_state_file_path(server_id);
  const auto earlier = manager->state_dir() + "/earlier";
  platform::write_file(path, "earlier");
  fs::create_hard_link(path, earlier);
  write_start_record(manager->state_dir(), info, {.is_persistent = true});
  turn_into_state_file(manager->state_dir(), info, false);
  EXPECT_EQ(platform::read_file(path), write_state_file(info, false));
  EXPECT_EQ(platform::read_file(earlier), "earlier");  // nothing was written in place
  fs::remove(path);
  fs::create_directory(path);
  write_start_record(manager->state_dir(), info, {.is_persistent = true});
  EXPECT_THROW(turn_into_state_file(manager->state_dir(), info, false), platform::SystemError);
  EXPECT_TRUE(fs::exists(path_of(server_id)));
  EXPECT_FALSE(fs::exists(manager->state_dir() + "/." + server_id + ".unfinished"));
}

TEST_F(Records, AHeldDirectoryDelaysAStartAndNoMore) {
  offer("kept", {{"persistent", true}});
  const platform::DirectoryLock held(manager->state_dir(), 0);
  EXPECT_TRUE(held.is_held());
  EXPECT_FALSE(platform::DirectoryLock(manager->state_dir(), 0).is_held());
  const auto begin = std::chrono::steady_clock::now();
  const auto id = start_id("kept");
  const std::chrono::duration<double> waited = std::chrono::steady_clock::now() - begin;
  EXPECT_GE(waited.count(), 2 * limits::directory_lock_wait);  // to reserve, and to record
  EXPECT_TRUE(fs::exists(manager->_state_file_path(id)));
}
