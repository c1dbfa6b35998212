#include "utility_manager/values/truthiness.h"

#include <cmath>
#include <cstdint>

#include <gtest/gtest.h>

#include "tests/utility_manager/values/stone.h"
#include "utility_manager/values/text_form.h"

namespace utility_manager::values {
namespace {

TEST(Truthiness, IsPythons) {
  for (const Value& value :
       {Value(), Value(false), Value(0), Value(0U), Value(0.0), Value(-0.0), Value(""),
        Value(List()), Value(Mapping()), Value(std::make_shared<Stone>(0))}) {
    EXPECT_FALSE(truthy(value)) << repr_form(value);
  }
  for (const Value& value : {Value(true), Value(-1), Value(UINT64_MAX), Value(0.1),
                             Value(std::nan("")), Value(" "), Value("0"), Value(List{nullptr}),
                             Value(Mapping{{"", nullptr}}), Value(std::make_shared<Stone>(1))}) {
    EXPECT_TRUE(truthy(value)) << repr_form(value);
  }
}

TEST(Truthiness, TakesAnAbsentKeyForNull) {
  const Value mapping = Mapping{{"one", 1}, {"zero", 0}, {"none", nullptr}};
  EXPECT_TRUE(truthy_at(mapping, "one"));
  EXPECT_FALSE(truthy_at(mapping, "zero"));
  EXPECT_FALSE(truthy_at(mapping, "absent"));
}

}  // namespace
}  // namespace utility_manager::values
