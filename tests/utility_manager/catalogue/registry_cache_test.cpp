#include "utility_manager/catalogue/registry_cache.h"

#include <gtest/gtest.h>

#include "utility_manager/failures.h"

namespace utility_manager {
namespace {

using values::Value;

UtilityInfoPtr record(const Value& name, int mark) {
  return std::make_shared<const UtilityInfo>(Value{{"utility_name", name}, {"mark", mark}});
}

UtilityMap map_of(const std::vector<UtilityInfoPtr>& records) {
  UtilityMap map;
  for (const auto& info : records) map.set(info);
  return map;
}

std::vector<int> marks(const UtilityMap& map) {
  std::vector<int> result;
  for (const auto& info : map.records()) result.push_back(info->fields.at("mark").get<int>());
  return result;
}

TEST(UtilityMap, KeepsTheFirstPlaceAndTheLastRecordOfAName) {
  const auto map = map_of({record(5, 1), record("5", 2), record(nullptr, 3), record("", 4),
                           record(5, 5), record("", 6)});
  EXPECT_EQ(marks(map), (std::vector{5, 2, 3, 6}));
  EXPECT_EQ(map.find("5")->fields.at("mark"), 2);
  EXPECT_EQ(map.find("None"), nullptr);
  EXPECT_THROW(map_of({record(Value::array({1}), 1)}), TypeError);
}

TEST(RegistryCache, TakesRecordsAndCollectionsOfItsOwnGeneration) {
  RegistryCache cache;
  const auto old = cache.generation();
  cache.add("b", record("b", 1), old);
  cache.add("b", record("b", 2), old);
  EXPECT_EQ(marks(*cache.snapshot()), std::vector{1});
  EXPECT_EQ(cache.whole(), nullptr);

  const auto merged = cache.merge(map_of({record("a", 3), record("b", 4)}), old);
  EXPECT_EQ(cache.whole(), merged);
  EXPECT_EQ(cache.merge(map_of({record("c", 5)}), old), merged);
  cache.add("c", record("c", 6), old);
  EXPECT_EQ(marks(*cache.whole()), (std::vector{4, 3, 6}));
  EXPECT_EQ(marks(*merged), (std::vector{4, 3}));

  cache.clear();
  EXPECT_EQ(cache.whole(), nullptr);
  EXPECT_EQ(cache.merge(map_of({record("c", 7)}), old), nullptr);
  cache.add("c", record("c", 8), old);
  EXPECT_TRUE(cache.snapshot()->records().empty());
  cache.merge({}, cache.generation());
  EXPECT_EQ(cache.merge(map_of({record("c", 9)}), old), cache.whole());
}

}  // namespace
}  // namespace utility_manager
