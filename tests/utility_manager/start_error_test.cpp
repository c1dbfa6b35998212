#include "utility_manager/start_error.h"

#include "tests/utility_manager/manager_fixture.h"

TEST(StartError, TheLastTellingLineElseTheTail) {
  const std::string long_line(500, 'x');
  std::string umlauts;
  for (int i = 0; i < 700; ++i) umlauts += "ä";
  const struct {
    std::vector<std::string> lines;
    std::string message;
  } cases[] = {
      {{}, " died"},
      {{"", " \t ", "\xC2\xA0"}, " died"},
      {{"one"}, "\none"},
      {{" one ", "", "two", "three", "four\t", "five"}, "\ntwo\nthree\nfour\nfive"},
      {{"ModuleNotFoundError: x", "exit"}, " ModuleNotFoundError: x"},
      {{"ImportError: a", "in between", "  ValueError: b ", "end"}, " ValueError: b"},
      {{"缺少依赖: numpy", "at last"}, " 缺少依赖: numpy"},
      {{"SomeErrors here"}, " SomeErrors here"},
      {{"error: lower case", "valueerror"}, "\nerror: lower case\nvalueerror"},
      {{long_line, "y" + std::string(99, 'z')},
       "\n" + std::string(499, 'x') + "\ny" + std::string(99, 'z')},
      {{std::string(601, 'a')}, "\n" + std::string(600, 'a')},
      {{std::string(600, 'a')}, "\n" + std::string(600, 'a')},
      {{"é", std::string(599, 'b')}, "\n\n" + std::string(599, 'b')},
      {{umlauts}, "\n" + umlauts.substr(0, 1200)},
  };
  for (const auto& [lines, message] : cases) {
    StartErrorDigest digest;
    for (const auto& line : lines) digest.add(line);
    EXPECT_EQ(digest.text("died"), "Utility 启动失败:" + message);
  }
}
