#include "utility_manager/catalogue/utility_map.h"

#include <vector>

#include <gtest/gtest.h>

#include "tests/json.h"
#include "utility_manager/failures.h"

namespace utility_manager {
namespace {

using values::List;
using values::Value;

UtilityMap map_of(const std::vector<Value>& names) {
  UtilityMap map;
  int mark = 0;
  for (const auto& name : names) {
    map.set(std::make_shared<const UtilityInfo>(Value{{"utility_name", name}, {"mark", ++mark}}));
  }
  return map;
}

TEST(UtilityMap, KeepsTheFirstPlaceAndTheLastEntryOfAName) {
  const auto map = map_of({5, "5", nullptr, "", 5, ""});
  std::vector<Value> marks;
  for (const auto& info : map.entries()) marks.push_back(member(info->fields, "mark"));
  EXPECT_EQ(marks, (std::vector<Value>{5, 2, 3, 6}));
  EXPECT_EQ(member(map.find("5")->fields, "mark"), 2);
  EXPECT_EQ(map.find("None"), nullptr);
  EXPECT_THROW(map_of({Value(List{1})}), TypeError);
}

}  // namespace
}  // namespace utility_manager
