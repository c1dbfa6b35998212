#include "utility_manager/platform/files.h"

#include <functional>
#include <map>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "tests/fakes/fake_client.h"
#include "tests/utility_manager/values/interpreter.h"
#include "utility_manager/platform/failures.h"

using namespace utility_manager;
using namespace utility_manager::platform;
using fakes::TemporaryDirectory;

TEST(Files, EachRefusalHasItsNumber) {
  const TemporaryDirectory directory;
  write_file(directory / "file", "");
  make_special_file(directory / "pipe");
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
  const int before = open_handles();
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
  EXPECT_EQ(open_handles(), before);
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

TEST(Files, OfRecordsAreForTheirOwnerAlone) {
  const TemporaryDirectory directory;
  create_file(directory / "created", "");
  replace_file(directory / "replaced", directory / "beside", "");
  for (const char* const name : {"created", "replaced"}) {
    struct stat status {};
    ASSERT_EQ(::stat((directory / name).c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777u, 0600u) << name;
  }
}
