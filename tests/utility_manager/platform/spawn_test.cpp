#include <gtest/gtest.h>

#include "tests/children/start_child.h"
#include "utility_manager/platform/child_process.h"
#include "utility_manager/platform/failures.h"

using namespace utility_manager;
using namespace utility_manager::platform;

TEST(Spawn, ArgumentsReachTheProgramAsTheyAre) {
  const std::vector<std::string> words = {"",      "a b",      "$HOME\n", "%PATH%", "\u4e2d", "\t",
                                          "\"q\"", "a\\\"b\\", "\\\\x\\", "c d\\",  "^&|<>'", "*"};
  std::string expected;
  for (const auto& word : words) expected += "[" + word + "]";
  EXPECT_EQ(output_of(start_child("arguments", words)), expected + "\n");
}

TEST(Spawn, WhatIsNoProgramIsRefused) {
  const int before = open_handles();
  try {
    spawn_child({"/missing/program"});
    ADD_FAILURE() << "it runs";
  } catch (const SystemError& failure) {
    EXPECT_EQ(failure.code(), 2) << failure.what();
  }
  EXPECT_THROW(spawn_child({child_program(), std::string("a\0b", 3)}), std::invalid_argument);
  EXPECT_ANY_THROW(spawn_child({}));
  EXPECT_EQ(open_handles(), before);
}
