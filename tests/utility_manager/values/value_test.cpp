#include "utility_manager/values/value.h"

#include <cstdint>

#include <gtest/gtest.h>

#include "tests/utility_manager/values/stone.h"

namespace utility_manager::values {
namespace {

TEST(Value, ComparesNumbersAcrossTheirKindsAndMappingsInTheirOrder) {
  EXPECT_EQ(Value(1), Value(1.0));
  EXPECT_EQ(Value(UINT64_MAX), Value(18446744073709551616.0));
  EXPECT_EQ(Value(std::uint64_t{5}), Value(5));
  EXPECT_NE(Value(UINT64_MAX), Value(-1));
  EXPECT_NE(Value(1), Value(true));
  EXPECT_NE(Value("1"), Value(1));
  EXPECT_EQ(Value(List{1, Mapping{{"a", 1}}}), Value(List{1.0, Mapping{{"a", 1}}}));
  EXPECT_NE(Value(Mapping{{"a", 1}, {"b", 2}}), Value(Mapping{{"b", 2}, {"a", 1}}));
  EXPECT_EQ(Value(std::make_shared<Stone>(2)), Value(std::make_shared<Stone>(2)));
  EXPECT_NE(Value(std::make_shared<Stone>(2)), Value(std::make_shared<Stone>(3)));
  EXPECT_NE(Value(std::make_shared<Stone>(0)), Value());
}

TEST(Value, HoldsEveryWholeNumberInOneKind) {
  EXPECT_EQ(Value(std::uint64_t{INT64_MAX}).kind(), Kind::integer);
  EXPECT_EQ(Value(std::uint64_t{INT64_MAX} + 1).kind(), Kind::unsigned_integer);
  EXPECT_EQ(Value(INT64_MIN).integer(), INT64_MIN);
  EXPECT_EQ(Value(UINT64_MAX).number(), 18446744073709551616.0);
}

TEST(Value, FailsWhenAskedForWhatItIsNot) {
  EXPECT_THROW(Value("1").integer(), WrongKind);
  EXPECT_THROW(Value(1).real(), WrongKind);
  EXPECT_THROW(Value(true).number(), WrongKind);
  EXPECT_THROW(Value().mapping(), WrongKind);
  EXPECT_THROW(Value(List()).text(), WrongKind);
}

TEST(Mapping, KeepsTheOrderInWhichMembersCame) {
  Mapping mapping{{"a", 1}, {"b", 2}};
  mapping.append("c", 3) = 4;
  mapping.set("a", "new");
  mapping.set("d", nullptr);
  mapping["e"] = 5;
  EXPECT_TRUE(mapping.erase("b"));
  EXPECT_FALSE(mapping.erase("b"));
  EXPECT_EQ(mapping, (Mapping{{"a", "new"}, {"c", 4}, {"d", nullptr}, {"e", 5}}));
  EXPECT_EQ(mapping.at_or("d", 1), nullptr);
  EXPECT_EQ(mapping.at_or("b", 1), 1);
  EXPECT_EQ(Value(mapping).mapping().size(), 4U);
}

}  // namespace
}  // namespace utility_manager::values
