#include <cmath>
#include <thread>

#include "tests/fakes/pipe_stream.h"
#include "tests/utility_manager/manager_fixture.h"
#include "utility_manager/stderr_buffer.h"

using namespace utility_manager;

/// One instance, whose standard error comes through a pipe of ours.
class StderrSnippets : public FakeProcessTest {
 protected:
  void SetUp() override {
    FakeProcessTest::SetUp();
    offer("notes");
    fake_children();
  }

  /// With a reader of its stream or, as if that were slow, without.
  void start_child(bool relayed) {
    const auto fake_child = system.on_spawn;
    system.on_spawn = [this, fake_child, relayed] {
      const auto child = fake_child();
      children.back()->on_error_stream = [this, relayed, asked = 0]() mutable {
        return relayed || asked++ > 0 ? source.stream() : nullptr;
      };
      return child;
    };
    server_id = start_id("notes");
  }

  /// Waits until the last line of it has come.
  void write_line(const std::string& text) {
    source.write(text + "\n");
    const auto last = text.substr(text.rfind('\n') + 1);
    const auto buffer = record(server_id)->stderr_buffer;
    while (!buffer->tail(last.size()).ends_with(last)) std::this_thread::yield();
  }

  std::string snippet(std::int64_t max_chars = 800) {
    return manager->get_utility_stderr_snippet(server_id, max_chars);
  }

  fakes::PipeStream source;
  std::string server_id;
};

TEST_F(StderrSnippets, TheTailOfTheLines) {
  start_child(true);
  EXPECT_EQ(snippet(), "");
  std::string chinese;
  for (int i = 0; i < 800; ++i) chinese += "错";
  write_line("  one\n\ntwo\n" + chinese);
  EXPECT_EQ(manager->get_utility_stderr_snippet(server_id), chinese);
  const struct {
    std::int64_t max_chars;
    std::string text;
  } cases[] = {{808, "one\ntwo\n" + chinese},
               {807, "ne\ntwo\n" + chinese},
               {1, "错"},
               {INT64_MAX, "one\ntwo\n" + chinese},
               {0, ""},
               {-1, ""},
               {INT64_MIN, ""}};
  for (const auto& [max_chars, text] : cases) EXPECT_EQ(snippet(max_chars), text) << max_chars;
}

TEST_F(StderrSnippets, TheRestOfADeadChildsStream) {
  start_child(false);
  source.write(
      " left \xFF"
      "over\n ");
  EXPECT_EQ(snippet(), "");
  children[0]->terminate();
  source.end();
  EXPECT_EQ(snippet(), "left over");  // what a running child wrote was not touched
  EXPECT_EQ(snippet(), "");
  source.stream()->close();
  EXPECT_EQ(snippet(), "");
  children[0]->on_error_stream = []() -> std::shared_ptr<platform::Stream> { return nullptr; };
  EXPECT_EQ(snippet(), "");
  children[0]->on_poll = []() -> std::optional<int> { throw std::runtime_error("broken"); };
  EXPECT_THROW(snippet(), std::runtime_error);
}

TEST_F(StderrSnippets, TheStreamIsLeftAloneWhereThereAreLines) {
  start_child(true);
  write_line("line");
  fakes::PipeStream other;
  other.write("rest");
  children[0]->terminate();
  children[0]->on_error_stream = [&] { return other.stream(); };
  EXPECT_EQ(snippet(), "line");
  other.end();
  EXPECT_EQ(other.stream()->read_rest(100, 60), "rest");
}

TEST_F(StderrSnippets, CollectingWaitsForText) {
  start_child(true);
  const double begin = system.wall_clock();
  int sleeps = 0;
  system.on_sleep = [&](double seconds) {
    EXPECT_EQ(seconds, 0.1);
    if (++sleeps == 3) write_line("at last");
  };
  EXPECT_EQ(manager->collect_utility_stderr_snippet("unknown", 0.15), "");
  EXPECT_EQ(sleeps, 2);
  EXPECT_EQ(manager->collect_utility_stderr_snippet(server_id), "at last");
  EXPECT_EQ(sleeps, 3);
  for (const double no_time : {0.0, -1.0, std::nan("")}) {
    EXPECT_EQ(manager->collect_utility_stderr_snippet(server_id, no_time), "");
  }
  EXPECT_EQ(manager->collect_utility_stderr_snippet(server_id, 1, 4), "last");
  EXPECT_EQ(sleeps, 3);
  EXPECT_EQ(manager->collect_utility_stderr_snippet("unknown"), "");
  EXPECT_NEAR(system.wall_clock() - begin, 2.35, 0.1);
}

TEST_F(StderrSnippets, WhoRuns) {
  start_child(false);
  adopt("adopted", first_pid + 7, 9000);
  adopt("replaced", first_pid + 8, 9001);
  processes.before = [](const std::string& call, std::int64_t) {
    if (call == "find") throw std::runtime_error("can't be held");
  };
  adopt("unpinned", first_pid + 9, 9002);
  const std::string ids[] = {server_id, "adopted", "replaced", "unpinned"};
  for (const auto& id : ids) EXPECT_TRUE(manager->is_utility_server_running(id)) << id;
  EXPECT_FALSE(manager->is_utility_server_running("unknown"));
  EXPECT_EQ(manager->get_utility_stderr_snippet("adopted"), "");
  children[0]->on_poll = [] { return 0; };  // whoever has its id now
  processes.living.erase(first_pid + 7);
  processes.living.erase(first_pid + 9);
  ++processes.living[first_pid + 8];
  for (const auto& id : ids) EXPECT_FALSE(manager->is_utility_server_running(id)) << id;
  EXPECT_EQ(manager->servers().size(), 4u);
}
