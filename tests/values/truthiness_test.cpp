#include "values/truthiness.h"

#include <cmath>
#include <cstdint>

#include <gtest/gtest.h>

namespace values {
namespace {

TEST(Truthiness, IsPythons) {
  for (const Value& value : {Value(), Value(false), Value(0), Value(0U), Value(0.0), Value(-0.0),
                             Value(""), Value::array(), Value::object()}) {
    EXPECT_FALSE(truthy(value)) << value.dump();
  }
  for (const Value& value :
       {Value(true), Value(-1), Value(UINT64_MAX), Value(0.1), Value(std::nan("")), Value(" "),
        Value("0"), Value::array({nullptr}), Value::object({{"", nullptr}})}) {
    EXPECT_TRUE(truthy(value)) << value.dump();
  }
}

TEST(Truthiness, TakesAnAbsentKeyForNull) {
  const Value mapping{{"one", 1}, {"zero", 0}, {"none", nullptr}};
  EXPECT_TRUE(truthy_at(mapping, "one"));
  EXPECT_FALSE(truthy_at(mapping, "zero"));
  EXPECT_FALSE(truthy_at(mapping, "absent"));
}

}  // namespace
}  // namespace values
