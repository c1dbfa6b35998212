#include "utility_manager/values/members.h"

#include <gtest/gtest.h>

namespace utility_manager::values {
namespace {

TEST(Members, AreFoundInMappingsOnly) {
  const Value mapping = Mapping{{"one", 1}, {"none", nullptr}};
  EXPECT_EQ(find_member(mapping, "none"), mapping.mapping().find("none"));
  EXPECT_EQ(find_member(mapping, "absent"), nullptr);
  EXPECT_EQ(&at_or_null(mapping, "one"), mapping.mapping().find("one"));
  EXPECT_TRUE(at_or_null(mapping, "none").is_null());
  EXPECT_TRUE(at_or_null(mapping, "absent").is_null());
  EXPECT_TRUE(at_or_null(Value(5), "absent").is_null());
}

}  // namespace
}  // namespace utility_manager::values
