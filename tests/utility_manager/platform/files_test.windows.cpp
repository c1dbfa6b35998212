#include "utility_manager/platform/files.h"

#include <thread>

#include <gtest/gtest.h>

#include "tests/fakes/fake_client.h"
#include "utility_manager/platform/directory_use.h"
#include "utility_manager/platform/failures.h"
#include "utility_manager/platform/paths.h"
#include "utility_manager/platform/win32.windows.h"
#include "utility_manager/values/text.h"

using namespace utility_manager;
using namespace utility_manager::platform;

TEST(WindowsFiles, PathsMayBeLong) {
  const fakes::TemporaryDirectory directory;
  std::string deep = directory.path();
  for (int i = 0; i < 4; ++i) deep = join_paths(deep, std::string(100, static_cast<char>('a' + i)));
  create_directories(deep);
  const std::string file = join_paths(deep, "file");
  EXPECT_TRUE(platform::native_path(file).starts_with(LR"(\\?\C:\)"));
  EXPECT_EQ(platform::native_path("//host/share/" + std::string(300, 'a')),
            LR"(\\?\UNC\host\share\)" + std::wstring(300, L'a'));
  create_file(file, "one");
  EXPECT_THROW(create_file(file, ""), FileExists);
  append_to_file(file, " two");
  EXPECT_EQ(read_file(deep + "/./../" + std::string(100, 'd') + "/file"), "one two");
  replace_file(file, file + ".unfinished", "three");
  Directory listing(deep);
  std::vector<std::string> names;
  while (const char* const name = listing.next()) names.emplace_back(name);
  EXPECT_EQ(names, (std::vector<std::string>{".", "..", "file"}));
  EXPECT_EQ(listing.read("file", 100)->bytes, "three");
  EXPECT_TRUE(SearchedDirectory(deep).modification_time("file"));
  use_directory(deep).reset();
  remove_file(file);
  EXPECT_FALSE(path_exists(file));
  // What a test's directory is removed by doesn't reach so far.
  for (; deep != directory.path(); deep = directory_part(deep)) {
    EXPECT_TRUE(::RemoveDirectoryW(platform::native_path(deep).c_str()));
  }
}

TEST(WindowsFiles, EveryNameThatTheSystemAllowsIsCarried) {
  const std::wstring lone = L"\u4e2d\xd83d\xde00\xd800 x";  // the last surrogate has no other half
  EXPECT_EQ(wide(narrow(lone)), lone);
  EXPECT_EQ(wide("a\xff\xed\xa0"), L"a\xdcff\xdced\xdca0");
  const fakes::TemporaryDirectory directory;
  write_file(join_paths(directory.path(), "\u4e2d\U0001f600"), "text");
  EXPECT_EQ(Directory(directory.path()).read("\u4e2d\U0001f600", 10)->bytes, "text");
}

TEST(WindowsFiles, WhatSomebodyReadsForAMomentIsReplacedAndRemoved) {
  const fakes::TemporaryDirectory directory;
  const std::string path = directory / "file";
  write_file(path, "old");
  for (const bool removes : {false, true}) {
    Handle reader = owned(::CreateFileW(wide(path).c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                        OPEN_EXISTING, 0, nullptr));
    std::thread closing([&] {
      ::Sleep(20);
      reader.close();
    });
    removes ? remove_file(path) : replace_file(path, path + ".new", "new");
    closing.join();
    EXPECT_EQ(path_exists(path) ? read_file(path) : "none", removes ? "none" : "new");
  }
}

TEST(WindowsFiles, ADirectoryIsLockedAndUsedHoweverItIsSpelt) {
  const fakes::TemporaryDirectory directory;
  const std::string path = directory.path();
  EXPECT_FALSE(is_directory_used(path));
  auto use = use_directory(path);
  EXPECT_TRUE(use && is_directory_used(values::upper_case(path) + "/."));
  use.reset();
  EXPECT_FALSE(is_directory_used(path));
  for (int i = 0; i < 2; ++i) EXPECT_TRUE(DirectoryLock(path, 0).is_held());
  const DirectoryLock lock(path, 0);
  EXPECT_FALSE(DirectoryLock(path + "\\..\\" + last_component(path), 0.02).is_held());
}
