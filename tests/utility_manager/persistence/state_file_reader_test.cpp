#include "utility_manager/persistence/state_file_reader.h"

#include <filesystem>
#include <functional>
#include <map>

#include <gtest/gtest.h>

#include "tests/fakes/fake_client.h"
#include "tests/fakes/fake_system.h"
#include "utility_manager/limits.h"
#include "utility_manager/platform/files.h"

using namespace utility_manager;

namespace fs = std::filesystem;

/// A reader that has looked before, beside one that never has.
class Reader : public testing::Test {
 protected:
  std::string path(const std::string& name) const { return directory.path(name); }

  static std::string state(std::int64_t port) {
    return R"({"server_id": "id", "pid": 7, "port": )" + std::to_string(port) + "}";
  }

  void write(const std::string& name, const std::string& bytes) {
    platform::write_file(path(name), bytes);
  }

  /// The port that each file names.
  static std::map<std::string, std::int64_t> ports(StateFileReader& reader,
                                                   const std::string& directory) {
    std::map<std::string, std::int64_t> found;
    const auto entries = reader.read(directory);
    for (const auto& each : *entries) {
      if (each.file) found[each.name] = each.file->port;
    }
    return found;
  }

  void expect_a_full_read(const std::string& after) {
    StateFileReader fresh;
    EXPECT_EQ(ports(reader, directory.path()), ports(fresh, directory.path())) << after;
  }

  /// Time in which nothing changes; the next change has another time on every file system.
  void settle() {
    const auto before = fs::last_write_time(elsewhere.write("clock", ""));
    while (fs::last_write_time(elsewhere.write("clock", "")) == before) continue;
    system.sleep(3600);
  }

  fakes::FakeSystem system;
  fakes::TemporaryDirectory directory;
  fakes::TemporaryDirectory elsewhere;
  StateFileReader reader;
};

TEST_F(Reader, SeesEveryChange) {
  const auto other = path("other");
  const std::pair<std::string, std::function<void()>> changes[] = {
      {"new", [&] { write("a.json", state(1)); }},
      {"in place", [&] { write("a.json", state(2)); }},
      {"in place, time set back",
       [&] { change_unseen(path("a.json"), [&] { write("a.json", state(3)); }); }},
      {"replaced by one of the same times",
       [&] {
         platform::write_file(other, state(4));
         fs::last_write_time(other, fs::last_write_time(path("a.json")));
         fs::rename(other, path("a.json"));
       }},
      {"through a link",
       [&] {
         platform::write_file(other, state(5));
         make_link("other", path("link.json"));
       }},
      {"behind the link", [&] { platform::write_file(other, state(6)); }},
      {"through a link that leads away",
       [&] { make_link(elsewhere.path("a.json"), path("far.json")); }},
      {"at the far end", [&] { elsewhere.write("a.json", state(9)); }},
      {"no more at the far end", [&] { fs::remove(elsewhere.path("a.json")); }},
      {"new, the directory's time set back",
       [&] { change_unseen(directory.path(), [&] { write("new.json", state(10)); }); }},
      {"another directory of the same names",
       [&] {
         fs::rename(directory.path(), elsewhere.path("old"));
         fs::create_directory(directory.path());
         write("a.json", state(11));
         fs::remove_all(elsewhere.path("old"));
       }},
      {"broken", [&] { write("a.json", "{"); }},
      {"too large",
       [&] { write("a.json", state(7) + std::string(limits::state_file_bytes, ' ')); }},
      {"small enough", [&] { write("a.json", state(8)); }},
      {"other name", [&] { fs::rename(path("a.json"), path("b.json")); }},
      {"gone", [&] { fs::remove(path("b.json")); }},
      {"no directory", [&] { fs::remove_all(directory.path()); }},
  };
  for (const bool settled : {false, true}) {
    fs::create_directory(directory.path());
    for (const auto& [name, change] : changes) {
      change();
      expect_a_full_read(name);
      if (settled) settle();
      expect_a_full_read(name + ", again");
      if (settled) system.sleep(5);
      expect_a_full_read(name + ", once more");
    }
  }
}

TEST_F(Reader, ReadsWhatIsSettledOnce) {
  const auto read = [&] {
    const auto entries = reader.read(directory.path());
    for (const auto& each : *entries) {
      if (each.name == "a.json") return each.file;
    }
    return std::shared_ptr<const StateFile>();
  };
  write("a.json", state(1));
  auto before = read();
  EXPECT_NE(read(), before);  // it may have changed since and look the same
  before = read();
  settle();
  EXPECT_NE(read(), before);
  before = read();
  write("b.json", "{");
  EXPECT_EQ(read(), before);
  fs::remove(path("b.json"));
  EXPECT_EQ(read(), before);
  system.sleep(-7200);
  EXPECT_NE(read(), before);
}

TEST_F(Reader, ReadsTheNamesAgainOnlyWhereTheyMayHaveChanged) {
  const auto walks = [&] {
    const auto before = reader.read(directory.path());
    return reader.read(directory.path()) != before;
  };
  EXPECT_TRUE(walks());  // a file may come at the time of the last change
  write("a.json", state(1));
  settle();
  EXPECT_FALSE(walks());
  const auto before = reader.read(directory.path());
  system.sleep(9);
  EXPECT_EQ(reader.read(directory.path()), before);
  system.sleep(2);  // a file system may tell no times
  EXPECT_NE(reader.read(directory.path()), before);
  EXPECT_FALSE(walks());
  system.sleep(-7200);
  EXPECT_TRUE(walks());
}
