#include "utility_manager/platform/paths.h"

#include <gtest/gtest.h>

using namespace utility_manager::platform;

namespace {

/// What Python's `ntpath` gives: `normpath`, `join` with the other path, `split`, `splitext`,
/// `isabs`.
struct Row {
  const char* path;
  const char* normalised;
  const char* other;
  const char* joined;
  const char* directory;
  const char* name;
  const char* extension;
  bool is_absolute;
};

// clang-format off
const Row rows[] = {
    {R"()", R"(.)", R"(x)", R"(x)", R"()", R"()", R"()", false},
    {R"(.)", R"(.)", R"(/x)", R"(/x)", R"()", R"(.)", R"()", false},
    {R"(..)", R"(..)", R"(C:x)", R"(C:x)", R"()", R"(..)", R"()", false},
    {R"(a)", R"(a)", R"(c:\x)", R"(c:\x)", R"()", R"(a)", R"()", false},
    {R"(a/)", R"(a)", R"(D:x)", R"(D:x)", R"(a)", R"()", R"()", false},
    {R"(a\b)", R"(a\b)", R"(//host/share)", R"(//host/share)", R"(a)", R"(b)", R"()", false},
    {R"(a//b\\c/)", R"(a\b\c)", R"(..)", R"(a//b\\c/..)", R"(a//b\\c)", R"()", R"()", false},
    {R"(a/../..)", R"(..)", R"()", R"(a/../..\)", R"(a/..)", R"(..)", R"()", false},
    {R"(../a/./b)", R"(..\a\b)", R"(x)", R"(../a/./b\x)", R"(../a/.)", R"(b)", R"()", false},
    {R"(.svg)", R"(.svg)", R"(/x)", R"(/x)", R"()", R"(.svg)", R"()", false},
    {R"(b.tar.gz)", R"(b.tar.gz)", R"(C:x)", R"(C:x)", R"()", R"(b.tar.gz)", R"(.gz)", false},
    {R"(e.)", R"(e.)", R"(c:\x)", R"(c:\x)", R"()", R"(e.)", R"(.)", false},
    {R"(..d)", R"(..d)", R"(D:x)", R"(D:x)", R"()", R"(..d)", R"()", false},
    {R"(d.x/f)", R"(d.x\f)", R"(//host/share)", R"(//host/share)", R"(d.x)", R"(f)", R"()", false},
    {R"(/)", R"(\)", R"(..)", R"(/..)", R"(/)", R"()", R"()", true},
    {R"(\)", R"(\)", R"()", R"(\)", R"(\)", R"()", R"()", true},
    {R"(//)", R"(\\)", R"(x)", R"(//\x)", R"(//)", R"()", R"()", true},
    {R"(\\\)", R"(\\\)", R"(/x)", R"(\\\/x)", R"(\\\)", R"()", R"()", true},
    {R"(/a/../..)", R"(\)", R"(C:x)", R"(C:x)", R"(/a/..)", R"(..)", R"()", true},
    {R"(\a\..\b.c)", R"(\b.c)", R"(c:\x)", R"(c:\x)", R"(\a\..)", R"(b.c)", R"(.c)", true},
    {R"(C:)", R"(C:)", R"(D:x)", R"(D:x)", R"(C:)", R"()", R"()", false},
    {R"(c:)", R"(c:)", R"(//host/share)", R"(//host/share)", R"(c:)", R"()", R"()", false},
    {R"(C:a)", R"(C:a)", R"(..)", R"(C:a\..)", R"(C:)", R"(a)", R"()", false},
    {R"(C:..\x)", R"(C:..\x)", R"()", R"(C:..\x\)", R"(C:..)", R"(x)", R"()", false},
    {R"(C:/)", R"(C:\)", R"(x)", R"(C:/x)", R"(C:/)", R"()", R"()", true},
    {R"(C:\..\..)", R"(C:\)", R"(/x)", R"(C:/x)", R"(C:\..)", R"(..)", R"()", true},
    {R"(c:/a/./b.py)", R"(c:\a\b.py)", R"(C:x)", R"(C:/a/./b.py\x)", R"(c:/a/.)", R"(b.py)", R"(.py)", true},
    {R"(D:\ä\é.é)", R"(D:\ä\é.é)", R"(c:\x)", R"(c:\x)", R"(D:\ä)", R"(é.é)", R"(.é)", true},
    {R"(C:.svg)", R"(C:.svg)", R"(D:x)", R"(D:x)", R"(C:)", R"(.svg)", R"(.svg)", false},
    {R"(//host)", R"(\\host)", R"(//host/share)", R"(//host/share)", R"(//host)", R"()", R"()", true},
    {R"(//host/)", R"(\\host\)", R"(..)", R"(//host/\..)", R"(//host/)", R"()", R"()", true},
    {R"(//host/share)", R"(\\host\share)", R"()", R"(//host/share)", R"(//host/share)", R"()", R"()", true},
    {R"(\\host\share\)", R"(\\host\share\)", R"(x)", R"(\\host\share\x)", R"(\\host\share\)", R"()", R"()", true},
    {R"(\\HOST\share\..\a)", R"(\\HOST\share\a)", R"(/x)", R"(\\HOST\share/x)", R"(\\HOST\share\..)", R"(a)", R"()", true},
    {R"(//host/share/a/../../b)", R"(\\host\share\b)", R"(C:x)", R"(C:x)", R"(//host/share/a/../..)", R"(b)", R"()", true},
    {R"(\\host\share.x)", R"(\\host\share.x)", R"(c:\x)", R"(c:\x)", R"(\\host\share.x)", R"()", R"(.x)", true},
    {R"(\\?\C:\a)", R"(\\?\C:\a)", R"(D:x)", R"(D:x)", R"(\\?\C:\)", R"(a)", R"()", true},
    {R"(\\?\C:/a/../b)", R"(\\?\C:\b)", R"(//host/share)", R"(//host/share)", R"(\\?\C:/a/..)", R"(b)", R"()", true},
    {R"(//?/UNC/host/share/a)", R"(\\?\UNC\host\share\a)", R"(..)", R"(//?/UNC/host/share/a\..)", R"(//?/UNC/host/share/)", R"(a)", R"()", true},
    {R"(\\?\unc\host\share)", R"(\\?\unc\host\share)", R"()", R"(\\?\unc\host\share)", R"(\\?\unc\host\share)", R"()", R"()", true},
    {R"(\\.\pipe\x)", R"(\\.\pipe\x)", R"(x)", R"(\\.\pipe\x\x)", R"(\\.\pipe\)", R"(x)", R"()", true},
    {R"(a:b)", R"(a:b)", R"(/x)", R"(a:/x)", R"(a:)", R"(b)", R"()", false},
    {R"(ab:c)", R"(ab:c)", R"(C:x)", R"(C:x)", R"()", R"(ab:c)", R"()", false},
    {R"( a )", R"( a )", R"(c:\x)", R"(c:\x)", R"()", R"( a )", R"()", false},
    {R"(CON)", R"(CON)", R"(D:x)", R"(D:x)", R"()", R"(CON)", R"()", false},
    {R"(a\b/)", R"(a\b)", R"(//host/share)", R"(//host/share)", R"(a\b)", R"()", R"()", false},
    {R"(\\host\share)", R"(\\host\share)", R"(C:x)", R"(C:x)", R"(\\host\share)", R"()", R"()", true},
    {R"(\\host\share)", R"(\\host\share)", R"(x)", R"(\\host\share\x)", R"(\\host\share)", R"()", R"()", true},
    {R"(\\host\share)", R"(\\host\share)", R"(c:/x)", R"(c:/x)", R"(\\host\share)", R"()", R"()", true},
    {R"(\\host\share)", R"(\\host\share)", R"(\x)", R"(\\host\share\x)", R"(\\host\share)", R"()", R"()", true},
    {R"(\\host\share)", R"(\\host\share)", R"(\\HOST\share\y)", R"(\\HOST\share\y)", R"(\\host\share)", R"()", R"()", true},
    {R"(//host/share/a)", R"(\\host\share\a)", R"(C:x)", R"(C:x)", R"(//host/share/)", R"(a)", R"()", true},
    {R"(//host/share/a)", R"(\\host\share\a)", R"(x)", R"(//host/share/a\x)", R"(//host/share/)", R"(a)", R"()", true},
    {R"(//host/share/a)", R"(\\host\share\a)", R"(c:/x)", R"(c:/x)", R"(//host/share/)", R"(a)", R"()", true},
    {R"(//host/share/a)", R"(\\host\share\a)", R"(\x)", R"(//host/share\x)", R"(//host/share/)", R"(a)", R"()", true},
    {R"(//host/share/a)", R"(\\host\share\a)", R"(\\HOST\share\y)", R"(\\HOST\share\y)", R"(//host/share/)", R"(a)", R"()", true},
    {R"(C:)", R"(C:)", R"(C:x)", R"(C:x)", R"(C:)", R"()", R"()", false},
    {R"(C:)", R"(C:)", R"(x)", R"(C:x)", R"(C:)", R"()", R"()", false},
    {R"(C:)", R"(C:)", R"(c:/x)", R"(c:/x)", R"(C:)", R"()", R"()", false},
    {R"(C:)", R"(C:)", R"(\x)", R"(C:\x)", R"(C:)", R"()", R"()", false},
    {R"(C:)", R"(C:)", R"(\\HOST\share\y)", R"(\\HOST\share\y)", R"(C:)", R"()", R"()", false},
    {R"(C:\a)", R"(C:\a)", R"(C:x)", R"(C:\a\x)", R"(C:\)", R"(a)", R"()", true},
    {R"(C:\a)", R"(C:\a)", R"(x)", R"(C:\a\x)", R"(C:\)", R"(a)", R"()", true},
    {R"(C:\a)", R"(C:\a)", R"(c:/x)", R"(c:/x)", R"(C:\)", R"(a)", R"()", true},
    {R"(C:\a)", R"(C:\a)", R"(\x)", R"(C:\x)", R"(C:\)", R"(a)", R"()", true},
    {R"(C:\a)", R"(C:\a)", R"(\\HOST\share\y)", R"(\\HOST\share\y)", R"(C:\)", R"(a)", R"()", true},
    {R"(c:a)", R"(c:a)", R"(C:x)", R"(C:a\x)", R"(c:)", R"(a)", R"()", false},
    {R"(c:a)", R"(c:a)", R"(x)", R"(c:a\x)", R"(c:)", R"(a)", R"()", false},
    {R"(c:a)", R"(c:a)", R"(c:/x)", R"(c:/x)", R"(c:)", R"(a)", R"()", false},
    {R"(c:a)", R"(c:a)", R"(\x)", R"(c:\x)", R"(c:)", R"(a)", R"()", false},
    {R"(c:a)", R"(c:a)", R"(\\HOST\share\y)", R"(\\HOST\share\y)", R"(c:)", R"(a)", R"()", false},
};
// clang-format on

}  // namespace

TEST(WindowsPaths, EqualThoseOfPython) {
  for (const Row& row : rows) {
    const std::string path = row.path;
    SCOPED_TRACE(path);
    EXPECT_EQ(normalised_path(path), row.normalised);
    EXPECT_EQ(join_paths(path, row.other), row.joined) << row.other;
    EXPECT_EQ(directory_part(path), row.directory);
    EXPECT_EQ(last_component(path), row.name);
    EXPECT_EQ(extension(path), row.extension);
    EXPECT_EQ(is_absolute_path(path), row.is_absolute);
    EXPECT_EQ(is_bare_file_name(path), path.find_first_of("/\\") == path.npos);
  }
}

TEST(WindowsPaths, AnAbsolutePathHasItsDrive) {
  EXPECT_EQ(absolute_path("C:/a/../b"), R"(C:\b)");
  EXPECT_EQ(absolute_path("//host/share/../b"), R"(\\host\share\b)");
  EXPECT_EQ(absolute_path("a/\u00e9"), join_paths(absolute_path(""), R"(a\)"
                                                                     "\u00e9"));
  EXPECT_EQ(absolute_path("").substr(1, 2), R"(:\)");
}
