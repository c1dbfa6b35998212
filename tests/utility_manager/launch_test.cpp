#include <thread>

#include "tests/utility_manager/manager_fixture.h"
#include "utility_manager/command_line.h"
#include "utility_manager/platform/child_process.h"
#include "utility_manager/platform/failures.h"
#include "utility_manager/stderr_buffer.h"

using namespace utility_manager;
using Args = std::vector<std::string>;

class Launch : public ManagerTest {
 protected:
  static StartPlan plan_of(const std::string& group, bool require_group, const Value& config) {
    StartPlan plan;
    plan.server_id = "id";
    plan.utility_name = "notes";
    plan.group_name = group;
    plan.effective_require_group = require_group;
    plan.script_path = "main.py";
    plan.config = config;
    return plan;
  }

  static Args args_of(const std::string& group, bool require_group, const Value& config) {
    return command_line(plan_of(group, require_group, config), 8890);
  }

  /// Runs a script as a utility; gives the message of the failure.
  std::string run(const std::string& name, const std::string& script) {
    return launch({child_program(), "-s", "-u", client.directory.write(name + ".py", script)});
  }

  std::string launch(const Args& args) {
    return message_of([&] { manager->_start_process(args, 8890); });
  }
};

TEST_F(Launch, CommandLines) {
  const struct {
    std::string group;
    bool require_group;
    Value config;
    Args group_option;
    std::string config_text;
  } cases[] = {
      {"", false, Mapping(), {}, "{}"},
      {"lab", false, {{"a", 1}}, {}, R"({"a": 1})"},
      {"lab", true, {{"a", 1}}, {"--group-name", "lab"}, R"({"a": 1, "group_name": "lab"})"},
      {"lab",
       true,
       {{"group_name", "old"}, {"名", List{1.0, nullptr}}},
       {"--group-name", "lab"},
       R"({"group_name": "lab", "\u540d": [1.0, null]})"},
      {"lab", false, {{"group_name", "old"}}, {}, R"({"group_name": "old"})"},
  };
  for (const auto& [group, require_group, config, group_option, config_text] : cases) {
    Args expected = {child_program(),  "-s",    "-u",     "main.py", "--server-id", "id",
                     "--utility-name", "notes", "--port", "8890"};
    expected.insert(expected.end(), group_option.begin(), group_option.end());
    expected.insert(expected.end(), {"--config", config_text});
    const Value before = config;
    EXPECT_EQ(args_of(group, require_group, config), expected);
    EXPECT_EQ(config, before);
  }
  auto plan = plan_of("lab", true, Mapping());
  plan.lang = "zh";
  plan.studio_url = "http://h:1";
  plan.is_persistent = true;
  const auto full = command_line(plan, 8890);
  const Args tail = {"--lang", "zh", "--studio-url", "http://h:1", "--persistent"};
  EXPECT_EQ(Args(full.end() - 5, full.end()), tail);
  plan = plan_of("", false, Mapping());
  plan.lang = plan.studio_url = "";
  EXPECT_EQ(command_line(plan, 8890), args_of("", false, Mapping()));
  EXPECT_THROW(args_of("", false, {{"a", "\xFF"}}), std::invalid_argument);
  EXPECT_THROW(args_of("", false, List()), TypeError);
}

TEST_F(Launch, TheInterpreterIsTheClientsOwn) {
  const auto base = client.directory.write("base", "");
  const auto only_windowless = client.directory.write("only/PythonW.exe", "");
  const auto windowless = client.directory.write("both/PYTHONW.EXE", "");
  const auto with_console = client.directory.write("both/python.exe", "");
  const struct {
    std::optional<std::string> base;
    bool windows;
    std::string chosen;
  } cases[] = {{base, false, base},
               {base, true, base},
               {std::nullopt, false, "/client"},
               {"", false, "/client"},
               {" \t", false, "/client"},
               {base + ".missing", false, "/client"},
               {client.directory.path(), false, "/client"},
               {windowless, false, windowless},
               {windowless, true, with_console},
               {only_windowless, true, only_windowless}};
  client.interpreter = "/client";
  for (const auto& [base_interpreter, windows, chosen] : cases) {
    client.base_interpreter = base_interpreter;
    system.windows = windows;
    EXPECT_EQ(client_interpreter(), chosen);
  }
  client.base_interpreter.reset();
  client.interpreter = windowless;
  EXPECT_EQ(client_interpreter(), with_console);
}

TEST_F(Launch, AnEarlyDeathIsToldInOneMessage) {
  const struct {
    std::string script;
    std::string message;
  } cases[] = {
      {"exit 3", "\nProcess exited with code 3"},
      {"out only on standard output", "\nProcess exited with code 0"},
      {"kill", "\nProcess exited with code " + std::to_string(code_of(platform::Signal::kill))},
      {"err 1\nerr 2\nerr\nerr  3\nerr 4\nerr \xff\nerr 5\nerr 6", "\n3\n4\n5\n6"},
      {"err ImportError: a\xff\nerr end of it", " ImportError: a"},
      {"err ModuleNotFoundError: No module named 'x'", " ModuleNotFoundError: No module named 'x'"},
      {"bequeath ValueError: late\nexit 1", " ValueError: late"},
  };
  for (const auto& [script, message] : cases) {
    EXPECT_EQ(run("dying", script), "Failed to start utility server: Utility 启动失败:" + message);
  }
  EXPECT_TRUE(has_no_children());
}

TEST_F(Launch, AFailedSpawnKeepsTheSystemsText) {
  const auto no_program = client.directory.write("program", "exit 1\n");
  std::filesystem::permissions(no_program, std::filesystem::perms::owner_all);
  const Args refused[] = {
      {"/missing/python"}, {no_program}, {child_program(), std::string("\0", 1)}};
  for (const auto& args : refused) {
    try {
      platform::spawn_child(args);
      ADD_FAILURE() << args[0];
    } catch (const std::exception& failure) {
      EXPECT_EQ(launch(args), std::string("Failed to start utility server: ") + failure.what());
    }
  }
  system.on_spawn = []() -> std::shared_ptr<FakeHandle> {
    throw platform::SubprocessError("out of order");
  };
  EXPECT_EQ(launch({"program"}), "Failed to start utility server process: out of order");
}

TEST_F(Launch, AChildWhoseOutputCantBeRelayedIsEnded) {
  const auto child = std::make_shared<FakeHandle>(fakes::FakeProcesses::first_pid);
  child->on_error_stream = []() -> std::shared_ptr<platform::Stream> {
    throw std::runtime_error("no thread");
  };
  system.on_spawn = [&] { return child; };
  system.on_signal = [](std::int64_t, platform::Signal) {};
  EXPECT_EQ(launch({"program"}), "Failed to start utility server: no thread");
  ASSERT_EQ(system.signals.size(), 1u);
  EXPECT_EQ(system.signals[0], std::pair(child->pid(), platform::Signal::kill));
  EXPECT_EQ(child->waits, std::vector<std::optional<double>>({std::nullopt}));
}

TEST_F(Launch, ASurvivorIsGivenWithItsLines) {
  const auto script = client.directory.write("staying.py", "err 1\nerr 2\nwait");
  for (const bool windows : {false, true}) {
    system.windows = windows;
    const auto [process, buffer] = manager->_start_process({child_program(), script}, 8890);
    while (buffer->size() < 2) std::this_thread::yield();
    EXPECT_EQ(buffer->lines(), Args({"1", "2"}));
    EXPECT_EQ(process->poll(), std::nullopt);
    process->terminate();
    EXPECT_EQ(process->wait(60), code_of(platform::Signal::terminate));
    buffer->wait_for_lines(60, 60);
    EXPECT_TRUE(process->error_stream()->closed());
  }
  EXPECT_EQ(system.spawn_flags, std::vector<std::uint32_t>({0, 0x08000200}));
}

using LaunchPort = FakeProcessTest;

TEST_F(LaunchPort, IsGivenBackByAFailure) {
  adopt("kept", first_pid, 8890);
  EXPECT_EQ(manager->used_ports(), std::set<std::int64_t>({8890}));
  EXPECT_THROW(manager->_start_process({"/missing"}, 8890), RuntimeError);
  EXPECT_EQ(manager->used_ports(), std::set<std::int64_t>());
}
