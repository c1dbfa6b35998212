#include <filesystem>

#include "tests/utility_manager/manager_fixture.h"
#include "utility_manager/platform/failures.h"
#include "utility_manager/platform/files.h"
#include "utility_manager/platform/proc_table.h"
#include "utility_manager/stderr_buffer.h"

using namespace utility_manager;

namespace fs = std::filesystem;

namespace {

using Ports = std::set<std::int64_t>;

}  // namespace

class StateFiles : public FakeProcessTest {
 protected:
  static constexpr auto alive = first_pid;
  static constexpr auto dead = first_pid + 1;

  void SetUp() override {
    FakeProcessTest::SetUp();
    processes.living[alive] = 1000;
  }

  void write_bytes(const std::string& name, const std::string& bytes) {
    client.directory.write("config/utility_states/" + name, bytes);
  }

  bool has_file(const std::string& name) { return fs::exists(manager->state_dir() + "/" + name); }

  void load() { manager->_load_persisted_states(); }

  void forget_all() {
    fs::remove_all(manager->state_dir());
    manager = std::make_shared<UtilityServerManager>();
  }
};

TEST_F(StateFiles, AreWrittenExactly) {
  utility_manager::ServerInfo info;
  info.server_id = "id";
  info.utility_name = "笔记";
  info.port = 8890;
  info.pid = 42;
  info.config = {{"b", "ä\n"}, {"a", List{1, 2.0}}};
  info.create_time = 1700000000;
  info.process = std::make_shared<FakeHandle>(42);
  info.stderr_buffer = std::make_shared<utility_manager::StderrBuffer>();
  const auto expect_written = [&](bool require_group, const std::string& tail) {
    const LockHeld held(manager->lock);
    manager->_persist_server_state(info, require_group);
    EXPECT_EQ(platform::read_file(manager->_state_file_path("id")),
              R"({"server_id": "id", "utility_name": "笔记", "port": 8890, "pid": 42, )"
              R"("config": {"b": "ä\n", "a": [1, 2.0]}, "create_time": 1700000000, )" +
                  tail);
  };
  expect_written(true, R"("lang": null, "require_group_name": true})");
  info.lang = "zh";
  info.group_name = "lab";
  info.studio_url = "http://h:1";
  expect_written(true, R"("lang": "zh", "require_group_name": true, "group_name": "lab", )"
                       R"("studio_url": "http://h:1"})");
  expect_written(false,
                 R"("lang": "zh", "require_group_name": false, "studio_url": "http://h:1"})");

  const LockHeld held(manager->lock);
  info.config = {{"a", "\xFF"}};
  EXPECT_THROW(manager->_persist_server_state(info, true), std::invalid_argument);
  EXPECT_TRUE(has_file("id.json"));
  manager->_remove_state_file("id");
  EXPECT_FALSE(has_file("id.json"));
  manager->_remove_state_file("id");
  fs::remove_all(manager->state_dir());
  EXPECT_THROW(manager->_persist_server_state({}, true), platform::SystemError);
}

TEST_F(StateFiles, ComeBackAsRecords) {
  const auto now = static_cast<std::int64_t>(system.wall_clock());
  const struct {
    Value fields;
    std::function<bool(const utility_manager::ServerInfo&)> expected;
  } cases[] = {
      {{{"utility_name", "笔记"}, {"config", {{"ä", 1}}}, {"port", 12345}},
       [](auto& info) {
         return info.utility_name == "笔记" && info.config == Value({{"ä", 1}}) &&
                info.port == 12345;
       }},
      {{{"create_time", 5}}, [](auto& info) { return info.create_time == 5; }},
      {{{"create_time", nullptr}}, [](auto& info) { return info.create_time.is_null(); }},
      {Mapping(),
       [&](auto& info) {
         return info.create_time == now && info.config == Mapping() && !info.lang &&
                !info.studio_url && !info.group_name && !info.process && !info.stderr_buffer;
       }},
      {{{"lang", ""}, {"studio_url", nullptr}, {"config", nullptr}, {"utility_name", nullptr}},
       [](auto& info) {
         return !info.lang && !info.studio_url && info.config == Mapping() && !info.utility_name;
       }},
      {{{"lang", "zh"}, {"studio_url", "u"}, {"group_name", "lab"}, {"unknown", 1}},
       [](auto& info) { return info.lang == "zh" && info.studio_url == "u" && !info.group_name; }},
      {{{"require_group_name", true}, {"group_name", ""}},
       [](auto& info) { return !info.group_name; }},
      {{{"require_group_name", 1}, {"group_name", "lab"}},
       [](auto& info) { return info.group_name == "lab"; }},
  };
  for (const auto& [fields, expected] : cases) {
    forget_all();
    adopt("id", alive, 8890, fields);
    ASSERT_TRUE(record("id")) << fields;
    EXPECT_TRUE(expected(*record("id"))) << fields;
    EXPECT_EQ(manager->used_ports(), Ports({record("id")->port}));
    const auto before = record("id");
    load();
    EXPECT_EQ(record("id"), before);
  }
}

TEST_F(StateFiles, TheSurvivalFilter) {
  enum Fate { stays, removed, adopted };
  const struct {
    std::string bytes;  ///< ALIVE and DEAD stand for process ids
    Fate fate;
  } cases[] = {
      {"", stays},
      {R"({"server_id": "id", "pid": DEAD, "port")", stays},
      {"\xEF\xBB\xBF{}", stays},
      {"[1]", stays},
      {"null", stays},
      {R"({"server_id": "id", "pid": ALIVE, "port": 1})", adopted},
      {R"({"server_id": "id", "pid": DEAD, "port": 1})", removed},
      {R"({"server_id": "id", "pid": -1, "port": 1})", removed},
      {R"({"server_id": "id", "pid": 4294967297, "port": 1})", removed},
      {R"({"server_id": "id", "pid": ALIVE})", removed},
      {R"({"server_id": "id", "pid": ALIVE, "port": 0})", removed},
      {R"({"server_id": "id", "pid": null, "port": 1})", removed},
      {R"({"server_id": "id", "pid": false, "port": ""})", removed},
      {R"({"pid": ALIVE, "port": 1})", removed},
      {R"({"server_id": "", "pid": ALIVE, "port": 1})", removed},
      {R"({"server_id": 5, "pid": DEAD, "port": 1})", stays},
      {R"({"server_id": "../outside", "pid": DEAD, "port": 1})", stays},
      {R"({"server_id": "../outside", "pid": ALIVE, "port": 1})", stays},
      {R"({"server_id": "../outside", "pid": 0})", stays},
      {R"({"server_id": "id", "pid": "1", "port": 1})", stays},
      {R"({"server_id": "id", "pid": true, "port": 1})", stays},
      {R"({"server_id": "id", "pid": 1.5, "port": 1})", stays},
      {R"({"server_id": "id", "pid": ALIVE, "port": "80"})", stays},
      {R"({"server_id": "id", "pid": 99999999999999999999, "port": 1})", stays},
      {R"({"server_id": "id", "pid": ALIVE, "port": 1, "config": 5})", stays},
      {R"({"server_id": "id", "pid": ALIVE, "port": 1, "lang": 5})", stays},
      {R"({"server_id": "id", "pid": DEAD, "port": 1, "lang": 5})", removed},
      {R"({"server_id": "other", "pid": DEAD, "port": 1})", stays},
      {R"({"server_id": "other", "pid": ALIVE})", stays},
  };
  client.directory.write("config/outside.json", "somebody else's");
  for (auto [bytes, fate] : cases) {
    for (const auto& [name, pid] : {std::pair("ALIVE", alive), {"DEAD", dead}}) {
      if (const auto at = bytes.find(name); at != bytes.npos) {
        bytes.replace(at, std::string_view(name).size(), std::to_string(pid));
      }
    }
    forget_all();
    write_bytes("id.json", bytes);
    load();
    EXPECT_EQ(has_file("id.json"), fate != removed) << bytes;
    EXPECT_EQ(record("id") != nullptr, fate == adopted) << bytes;
    EXPECT_EQ(manager->used_ports(), fate == adopted ? Ports({1}) : Ports()) << bytes;
  }
  forget_all();
  fs::create_directory(manager->state_dir() + "/folder.json");
  write_bytes("id.txt", R"({"pid": 0})");
  load();
  EXPECT_TRUE(has_file("folder.json") && has_file("id.txt") && has_file("../outside.json"));
}

TEST_F(StateFiles, AStaleFileTakesItsRecordAlong) {
  for (const Value& stale : {Value({{"pid", dead}}), Value({{"pid", alive}, {"port", nullptr}}),
                             Value({{"pid", dead}, {"lang", 5}})}) {
    adopt("id", alive, 9000);
    ASSERT_EQ(manager->used_ports(), Ports({9000}));
    write_state("id", stale);
    load();
    EXPECT_FALSE(record("id") || has_file("id.json"));
    EXPECT_EQ(manager->used_ports(), Ports());
  }
}

TEST_F(StateFiles, AnOwnInstanceKeepsItsHandleUntilItDies) {
  fake_children();
  processes.living.erase(alive);
  offer("kept", {{"persistent", true}});
  const auto kept = start_id("kept");
  const auto volatile_id = (offer("notes"), start_id("notes"));
  const auto before = record(kept);
  load();
  EXPECT_EQ(record(kept), before);
  for (const auto& child : children) child->terminate();
  load();
  EXPECT_FALSE(record(kept));
  EXPECT_TRUE(record(volatile_id));  // it has no state file
}

TEST_F(StateFiles, TwoFilesOfOneInstance) {
  for (const bool stale_beside : {false, true}) {
    forget_all();
    write_state("one", {{"server_id", "id"}, {"pid", alive}, {"port", 1}});
    write_state("two", {{"server_id", "id"}, {"pid", stale_beside ? dead : alive}, {"port", 2}});
    write_state("id", {{"server_id", "id"}, {"pid", alive}, {"port", 3}});
    std::string first;
    for (const auto& entry : fs::directory_iterator(manager->state_dir())) {
      if (first.empty() && !(stale_beside && entry.path().stem() == "two")) {
        first = entry.path().stem().string();
      }
    }
    load();
    ASSERT_TRUE(record("id"));
    EXPECT_EQ(record("id")->port, first == "one" ? 1 : first == "two" ? 2 : 3);
    EXPECT_TRUE(has_file("one.json") && has_file("two.json"));
    EXPECT_EQ(has_file("id.json"), !stale_beside);
  }
}

TEST_F(StateFiles, TheTableMayChangeDuringALoad) {
  write_state("a", {{"pid", alive}, {"port", 1}});
  write_state("b", {{"pid", dead}, {"port", 2}});
  bool nested = false;
  processes.before = [&](const std::string& call, std::int64_t pid) {
    if (call != "pid_exists" || pid != alive || std::exchange(nested, true)) return;
    load();  // `lock` isn't held
    EXPECT_TRUE(manager->stop_utility_server("a"));
    processes.living[alive] = 1000;  // not the one that was stopped
  };
  load();
  EXPECT_FALSE(record("a"));
  EXPECT_EQ(manager->used_ports(), Ports());
  fs::remove_all(manager->state_dir());
  load();
}

TEST_F(StateFiles, AnUnrelatedProcessIsNeverAdopted) {
  const struct {
    Value create_time;
    std::vector<std::string> command_line;
    bool adopted;
  } cases[] = {
      {998, {"sleep"}, true},  // started 1000, within the tolerance
      {997, {"sleep"}, false},
      {997.9, {"python", "--server-id", "other"}, false},
      {997, {"python", "--server-id", "id"}, true},
      {1060, {"sleep"}, true},
      {1061, {"sleep"}, false},
      {1061, {"python", "--server-id", "id"}, true},
      {997, {}, true},
      {nullptr, {"sleep"}, true},
      {0, {"sleep"}, true},
      {-5, {"sleep"}, true},
      {"997", {"sleep"}, true},
  };
  for (const auto& [create_time, command_line, adopted] : cases) {
    forget_all();
    processes.command_lines[alive] = command_line;
    write_state("id", {{"pid", alive}, {"create_time", create_time}});
    load();
    EXPECT_EQ(record("id") != nullptr, adopted) << create_time;
    EXPECT_EQ(has_file("id.json"), adopted) << create_time;
  }
  forget_all();  // the moment of the load is no creation time
  processes.command_lines[alive] = {"sleep"};
  adopt("id", alive, 8890);
  EXPECT_TRUE(record("id"));
  const auto self = platform::row_of(own_id());
  for (const std::int64_t pid : {own_id(), self ? self->parent : 1, std::int64_t{1}}) {
    forget_all();
    adopt("id", pid, 8890);
    EXPECT_FALSE(record("id") || has_file("id.json")) << pid;
  }
  EXPECT_EQ(processes.kills, std::vector<std::string>());
  EXPECT_TRUE(processes.living.contains(alive));
}

TEST_F(StateFiles, ALaterOwnerOfTheIdIsADeadInstance) {
  adopt("id", alive, 8890);
  processes.living[alive] += 1;
  load();
  EXPECT_FALSE(record("id") || has_file("id.json"));

  processes.before = [](const std::string& call, std::int64_t) {
    if (call == "find") throw std::runtime_error("can't be known");
  };
  adopt("id", alive, 8890, {{"create_time", 5}});
  EXPECT_TRUE(record("id"));
  processes.living.erase(alive);
  load();
  EXPECT_FALSE(record("id"));
  processes.before = nullptr;
}

using RealStateFiles = ManagerTest;

TEST_F(RealStateFiles, OutliveTheirManager) {
  offer("kept", {{"persistent", true}, {"require_group_name", true}});
  const auto server_id = member(start("kept", "lab", {{"名", 1}}), "server_id").text();
  const auto original = record(server_id);
  auto later = std::make_shared<UtilityServerManager>();
  const auto adopted = later->servers().at(0);
  EXPECT_EQ(adopted->config, original->config);
  EXPECT_EQ(adopted->create_time, original->create_time);
  EXPECT_EQ(adopted->group_name, "lab");
  EXPECT_EQ(adopted->studio_url, original->studio_url);
  EXPECT_TRUE(adopted->adopted && !adopted->process && later->is_utility_server_running(server_id));
  EXPECT_TRUE(later->stop_utility_server(server_id));
  EXPECT_EQ(original->process->poll(), code_of(platform::Signal::kill));
  manager->_handle_server_died(server_id);
}
