#include "utility_manager/platform/paths.h"

#include <gtest/gtest.h>

#include "tests/utility_manager/values/interpreter.h"

using namespace utility_manager::platform;

TEST(Paths, EqualThoseOfPython) {
  const std::vector<std::string> results = run_python(R"(
import os.path as p
parts = ['', '.', '..', 'a', 'b.c', '.svg', '..d', 'e.', 'f.tar.gz']
paths = ['', '/', '//', '///', '////', ' ', 'ä/ö.é', '/..', '//..', '///..', '/../..', '../..', '...']
paths += [lead + '/'.join(names) + end for count in (1, 2, 3)
          for names in itertools.product(parts[:5] if count > 2 else parts, repeat=count)
          for lead in ('', '/', '//', '///') for end in ('', '/', '//')]
for path in paths:
    other = random.choice(paths)
    emit(path, other, p.normpath(path), p.abspath(path), p.join(path, other), *p.split(path),
         p.splitext(path)[1], str(p.isabs(path)), str(p.sep not in path))
)");
  constexpr std::size_t fields = 10;
  ASSERT_GT(results.size(), 2000 * fields);
  for (auto row = results.begin(); row != results.end(); row += fields) {
    const std::string& path = row[0];
    SCOPED_TRACE(path);
    EXPECT_EQ(normalised_path(path), row[2]);
    EXPECT_EQ(absolute_path(path), row[3]);
    EXPECT_EQ(join_paths(path, row[1]), row[4]);
    EXPECT_EQ(directory_part(path), row[5]);
    EXPECT_EQ(last_component(path), row[6]);
    EXPECT_EQ(extension(path), row[7]);
    EXPECT_EQ(is_absolute_path(path) ? "True" : "False", row[8]);
    EXPECT_EQ(is_bare_file_name(path) ? "True" : "False", row[9]);
    if (HasFailure()) break;
  }
}
