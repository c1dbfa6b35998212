#include "utility_manager/platform/spawn.h"

#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/fakes/fake_client.h"
#include "tests/utility_manager/values/interpreter.h"
#include "utility_manager/platform/files.h"

using namespace utility_manager;
using namespace utility_manager::platform;
using fakes::TemporaryDirectory;

namespace {

std::string failure_of(const std::vector<std::string>& arguments) {
  try {
    spawn_child(arguments);
  } catch (const std::exception& failure) {
    return failure.what();
  }
  return "it runs";
}

}  // namespace

TEST(Spawn, RefusalsHaveThePythonText) {
  const TemporaryDirectory directory;
  const std::pair<const char*, const char*> scripts[] = {{"no interpreter", "#!/no/such/program\n"},
                                                         {"no header", "echo run by a shell\n"}};
  std::vector<std::string> programs = {"no-such-program", directory.path(), ""};
  for (const auto& [name, text] : scripts) {
    write_file(directory / name, text);
    programs.push_back(directory / name);
    programs.push_back(directory / name + std::string("/file below"));
  }
  for (const auto& [name, text] : scripts) ::chmod((directory / name).c_str(), 0700);
  write_file(directory / "not executable", "#!/bin/sh\n");
  for (const char* const name : {"not executable", "it's", "it's \"both\"\\", "\t\r\n\x7f",
                                 "a\u00a0\u4e2d\U000e0001", "bad\xff"}) {
    programs.push_back(directory / name);
  }
  std::string list;
  for (const std::string& program : programs) {
    for (const unsigned char byte : program) list += std::to_string(byte) + ",";
    list += "],[";
  }
  const auto texts = run_python("import os, subprocess\nfor program in [[" + list + R"(]][:-1]:
    try: subprocess.run([os.fsdecode(bytes(program))])
    except OSError as failure: emit(str(failure)))");
  ASSERT_EQ(texts.size(), programs.size());
  const int before = open_handles();
  for (std::size_t i = 0; i < programs.size(); ++i) {
    EXPECT_EQ(failure_of({programs[i], "argument"}), texts[i]);
  }
  EXPECT_EQ(failure_of({"/bin/true", std::string("a\0b", 3)}), "embedded null byte");
  EXPECT_EQ(failure_of({}), "no program to start");
  EXPECT_EQ(open_handles(), before);
}

TEST(Spawn, ArgumentsNeedBeNoText) {
  const auto child = spawn_child({"printf", "[%s]", "\xff", "\u4e2d"});
  EXPECT_EQ(output_of(child), "[\xff][\u4e2d]");
}

TEST(Spawn, OnlyTheStandardStreamsAndDefaultSignalsPassToTheChild) {
  const Handle inheritable(::open("/dev/null", O_RDONLY));
  std::string output;
  std::thread([&] {  // a thread with signals blocked, as the readers are
    sigset_t all;
    sigfillset(&all);
    ::pthread_sigmask(SIG_BLOCK, &all, nullptr);
    const auto previous = ::signal(SIGPIPE, SIG_IGN);
    output = output_of(
        spawn_child({"/usr/bin/python3", "-IS", "-c",
                     "import posix\n"
                     "descriptors = sorted(map(int, posix.listdir('/proc/self/fd')))\n"
                     "status = posix.read(posix.open('/proc/self/status', 0), 9999).split(b'\\n')\n"
                     "print(descriptors, [line for line in status if b'SigBlk' in line])"}));
    ::signal(SIGPIPE, previous);
  })
      .join();
  EXPECT_EQ(output, "[0, 1, 2, 3] [b'SigBlk:\\t0000000000000000']\n");  // 3 lists the directory
  ::signal(SIGPIPE, SIG_IGN);
  const auto child = spawn_child({"/bin/sh", "-c", "kill -PIPE $$"});
  ::signal(SIGPIPE, SIG_DFL);
  EXPECT_EQ(child->wait(60), -SIGPIPE);
}

TEST(Spawn, WorksInAClientWithClosedStandardStreams) {
  const auto exchange = [] {
    for (const int descriptor : {0, 1, 2}) ::close(descriptor);
    const auto child = start_child("out out\nerr err\nexit 3");
    const bool right = next_line(*child->output_stream()) == "out" &&
                       next_line(*child->error_stream()) == "err" && child->wait(60) == 3;
    const bool still_closed = ::fcntl(0, F_GETFD) < 0 && ::fcntl(1, F_GETFD) < 0;
    ::_exit(right && still_closed ? 7 : 8);
  };
  EXPECT_EXIT(exchange(), testing::ExitedWithCode(7), "");
}
