#include "utility_manager/platform/files.h"

#include <cmath>
#include <fstream>
#include <functional>
#include <map>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/utility_manager/platform/child.h"
#include "tests/utility_manager/values/interpreter.h"
#include "utility_manager/platform/failures.h"

using namespace utility_manager::platform;

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
  ::mkfifo((directory / "pipe").c_str(), 0600);
  std::filesystem::create_symlink("file", directory / "link");
  create_directories(directory / "a/b//c/");
  for (const char* const name : {"file", "link", "pipe", ".", "a/b/c"}) {
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
  ::mkfifo((directory / "pipe").c_str(), 0600);
  const std::string missing = directory / "no/file";
  const std::map<int, std::vector<std::function<void()>>> cases = {
      {ENOENT,
       {[&] { read_file(missing); }, [&] { write_file(missing, ""); },
        [&] { remove_file(missing); }, [&] { Directory{missing}; }, [&] { create_directories(""); },
        [&] { read_file(directory / std::string("file\0", 5)); }}},
      {EISDIR, {[&] { read_file(directory.path()); }, [&] { write_file(directory.path(), ""); }}},
      {EEXIST, {[&] { create_directories(directory / "file"); }}},
      {ENOTDIR, {[&] { create_directories(directory / "file/below"); }}},
      {EINVAL, {[&] { read_file(directory / "pipe"); }}},
      {ENXIO, {[&] { write_file(directory / "pipe", ""); }}},
      {ENOSPC, {[&] { write_file("/dev/full", "x"); }}}};
  const int before = open_descriptors();
  for (const auto& [code, calls] : cases) {
    for (std::size_t i = 0; i < calls.size(); ++i) {
      try {
        calls[i]();
        ADD_FAILURE() << code << " call " << i;
      } catch (const SystemError& failure) {
        EXPECT_EQ(failure.code(), code) << i << ": " << failure.what();
      }
    }
  }
  EXPECT_EQ(open_descriptors(), before);
}

TEST(Files, ModificationTimeIsPythonsFloat) {
  const TemporaryDirectory directory;
  write_file(directory / "file", "");
  for (const timespec time : {timespec{0, 1}, {1'700'000'000, 123'456'789}, {-5, 999'999'999}}) {
    const timespec times[] = {time, time};
    ASSERT_EQ(::utimensat(AT_FDCWD, (directory / "file").c_str(), times, 0), 0);
    const std::string python =
        run_python("import os\nemit(os.path.getmtime('" + directory / "file" + "').hex())")[0];
    EXPECT_EQ(modification_time(directory / "file"), std::strtod(python.c_str(), nullptr));
  }
  EXPECT_EQ(modification_time(directory / "missing"), std::nullopt);
}

TEST(Files, ReadsADirectoryWithoutWaitingForAnything) {
  const TemporaryDirectory directory;
  write_file(directory / "a.json", "{}");
  write_file(directory / "large.json", std::string(300'000, 'x'));
  write_file(directory / "larger.json", std::string(300'001, 'x'));
  create_directories(directory / "directory.json");
  ::mkfifo((directory / "fifo.json").c_str(), 0600);
  std::filesystem::create_symlink("a.json", directory / "link.json");
  std::filesystem::create_symlink("nothing", directory / "dangling.json");
  const int before = open_descriptors();
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
  const std::map<std::string, std::string> expected = {
      {"a.json", "{}"}, {"large.json", std::string(300'000, 'x')}, {"link.json", "{}"}};
  EXPECT_EQ(found, expected);
  const std::map<std::string, std::int64_t> expected_sizes = {
      {"a.json", 2}, {"large.json", 300'000}, {"larger.json", 300'001}, {"link.json", 2}};
  EXPECT_EQ(sizes, expected_sizes);
  EXPECT_EQ(open_descriptors(), before);
}
