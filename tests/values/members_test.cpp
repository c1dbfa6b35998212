#include "values/members.h"

#include <gtest/gtest.h>

namespace values {
namespace {

TEST(Members, AreFoundInMappingsOnly) {
  const Value mapping{{"one", 1}, {"none", nullptr}};
  EXPECT_EQ(find_member(mapping, "none"), &mapping["none"]);
  EXPECT_EQ(find_member(mapping, "absent"), nullptr);
  EXPECT_EQ(&at_or_null(mapping, "one"), &mapping["one"]);
  EXPECT_TRUE(at_or_null(mapping, "none").is_null());
  EXPECT_TRUE(at_or_null(mapping, "absent").is_null());
  EXPECT_TRUE(at_or_null(Value(5), "absent").is_null());
}

}  // namespace
}  // namespace values
