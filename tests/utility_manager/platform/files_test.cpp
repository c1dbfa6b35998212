#include "utility_manager/platform/files.h"

#include <filesystem>
#include <functional>
#include <map>

#include <gtest/gtest.h>

#include "tests/fakes/fake_client.h"
#include "utility_manager/platform/failures.h"

using namespace utility_manager;
using namespace utility_manager::platform;
using fakes::TemporaryDirectory;

TEST(Files, ReadsWhatWasWrittenInPlace) {
  const TemporaryDirectory directory;
  const std::string bytes("\0\xff\n\r", 4);
  write_file(directory / "file", std::string(100'000, 'x'));
  std::filesystem::create_hard_link(directory / "file", directory / "second name");
  write_file(directory / "file", bytes);
  EXPECT_EQ(read_file(directory / "second name"), bytes);
}

TEST(Files, TellsFilesFromTheRestAndLooksThroughLinks) {
  const TemporaryDirectory directory;
  write_file(directory / "file", "");
  create_directories(directory / "a/b//c/");
  std::vector<const char*> names = {"file", ".", "a/b/c"};
  if (make_link("file", directory / "link")) names.push_back("link");
  if (make_special_file(directory / "pipe")) names.push_back("pipe");
  for (const char* const name : names) {
    EXPECT_TRUE(path_exists(directory / name)) << name;
    EXPECT_EQ(is_regular_file(directory / name), *name == 'f' || *name == 'l') << name;
  }
  remove_file(directory / "file");
  for (const std::string& name :
       {std::string("file"), std::string("link"), std::string("pipe\0x", 6)}) {
    EXPECT_FALSE(path_exists(directory / name) || is_regular_file(directory / name)) << name;
  }
}

TEST(Files, RefusalsTellReasonAndPath) {
  const TemporaryDirectory directory;
  write_file(directory / "file", "");
  const std::string missing = directory / "no/file";
  const std::function<void()> calls[] = {
      [&] { read_file(missing); }, [&] { write_file(missing, ""); }, [&] { remove_file(missing); },
      [&] { Directory{missing}; }};
  const int before = open_handles();
  for (const auto& call : calls) {
    try {
      call();
      ADD_FAILURE() << "call " << &call - calls;
    } catch (const SystemError& failure) {
      EXPECT_TRUE(failure.code() == 2 || failure.code() == 3)
          << failure.what();  // no file, no path
      EXPECT_TRUE(std::string(failure.what()).ends_with("file'")) << failure.what();
    }
  }
  EXPECT_THROW(read_file(directory.path()), SystemError);
  EXPECT_THROW(write_file(directory.path(), ""), SystemError);
  EXPECT_THROW(create_directories(directory / "file"), SystemError);
  EXPECT_THROW(create_file(directory / "file", ""), SystemError);
  EXPECT_EQ(open_handles(), before);
}

TEST(Files, ModificationTimeIsInSecondsSinceTheEpoch) {
  const TemporaryDirectory directory;
  write_file(directory / "file", "");
  for (const double time : {1'700'000'000.25, 1.5, 4'000'000'000.0}) {
    set_modification_time(directory / "file", time);
    EXPECT_NEAR(modification_time(directory / "file").value_or(0), time, 0.01);
  }
  EXPECT_EQ(modification_time(directory / "missing"), std::nullopt);
}

TEST(Files, ReadsADirectoryWithoutWaitingForAnything) {
  const TemporaryDirectory directory;
  write_file(directory / "a.json", "{}");
  write_file(directory / "large.json", std::string(300'000, 'x'));
  write_file(directory / "larger.json", std::string(300'001, 'x'));
  create_directories(directory / "directory.json");
  make_special_file(directory / "fifo.json");
  const bool has_link = make_link("a.json", directory / "link.json");
  make_link("nothing", directory / "dangling.json");
  const int before = open_handles();
  std::map<std::string, std::string> found;
  std::map<std::string, std::int64_t> sizes;
  {
    Directory listing(directory.path());
    while (const char* const name = listing.next()) {
      const auto content = listing.read(name, 300'000);
      const auto stamp = listing.stamp_of(name);
      if (stamp) sizes[name] = stamp->size;
      if (!content) continue;
      EXPECT_EQ(stamp, content->stamp);
      found[name] = content->bytes;
    }
  }
  std::map<std::string, std::string> expected = {{"a.json", "{}"},
                                                 {"large.json", std::string(300'000, 'x')}};
  std::map<std::string, std::int64_t> expected_sizes = {
      {"a.json", 2}, {"large.json", 300'000}, {"larger.json", 300'001}};
  if (has_link) expected["link.json"] = "{}";
  if (has_link) expected_sizes["link.json"] = 2;
  EXPECT_EQ(found, expected);
  EXPECT_EQ(sizes, expected_sizes);
  EXPECT_EQ(open_handles(), before);
}
