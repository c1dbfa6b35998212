#include "utility_manager/platform/spawn.h"

#include <random>

#include <gtest/gtest.h>

#include "tests/children/start_child.h"
#include "utility_manager/platform/child_process.h"
#include "utility_manager/platform/failures.h"
#include "utility_manager/platform/joined_arguments.windows.h"
#include "utility_manager/platform/pipe.h"
#include "utility_manager/platform/win32.windows.h"

using namespace utility_manager;
using namespace utility_manager::platform;

namespace {

std::vector<std::string> read_back(const std::wstring& line) {
  std::vector<std::string> arguments;
  int count = 0;
  wchar_t** const words = ::CommandLineToArgvW(line.c_str(), &count);
  for (int i = 0; i < count; ++i) arguments.push_back(narrow(words[i]));
  ::LocalFree(words);
  return arguments;
}

}  // namespace

TEST(WindowsSpawn, TheCommandLineIsReadBackAsTheArguments) {
  std::mt19937 random(1);
  const std::vector<std::string> letters = {"\"", "\\", "\\",     " ",
                                            "\t", "a",  "\u4e2d", "\U0001f600"};
  for (int round = 0; round < 2000; ++round) {
    std::vector<std::string> arguments = {"C:\\a b\\p.exe"};
    for (int i = 0; i < 3; ++i) {
      std::string& argument = arguments.emplace_back();
      for (auto left = random() % 6; left > 0; --left)
        argument += letters[random() % letters.size()];
    }
    ASSERT_EQ(read_back(joined_arguments(arguments)), arguments) << round;
  }
  EXPECT_THROW(joined_arguments({"a\" b"}), SystemError);  // another program and its arguments
}

TEST(WindowsSpawn, NothingButTheStreamsIsInherited) {
  Pipe pipe = make_pipe();
  ::SetHandleInformation(native(pipe.write_end), HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT);
  const auto child = start_child("out runs\nwait");
  EXPECT_EQ(next_line(*child->output_stream()), "runs");
  pipe.write_end.close();
  Stream stream(std::move(pipe.read_end));
  char byte;
  EXPECT_EQ(stream.read_some({&byte, 1}, 60), 0u);  // nobody else holds the other end
  EXPECT_EQ(child->poll(), std::nullopt);
  child->kill();
  EXPECT_EQ(child->wait(60), 1);
}

TEST(WindowsSpawn, AnExitCodeHasNoSign) {
  EXPECT_EQ(start_child("exit -1073741819")->wait(60), 3221225477);
  EXPECT_EQ(start_child("exit -1")->wait(60), 4294967295);
}

TEST(WindowsSpawn, ARefusalHasPythonsText) {
  try {
    spawn_child({"no such program"});
    ADD_FAILURE() << "it runs";
  } catch (const SystemError& failure) {
    const std::string text = failure.what();
    EXPECT_TRUE(text.starts_with("[WinError 2] ")) << text;
    EXPECT_TRUE(std::isalpha(text.back())) << text;  // neither a full stop nor a line end
  }
}
