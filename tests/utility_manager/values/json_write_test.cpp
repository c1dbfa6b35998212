#include "utility_manager/values/json_write.h"

#include <stdexcept>

#include <gtest/gtest.h>

#include "tests/utility_manager/values/interpreter.h"
#include "tests/utility_manager/values/stone.h"
#include "utility_manager/values/json_read.h"

namespace utility_manager::values {
namespace {

TEST(JsonWrite, EqualsPythonsWriter) {
  const auto entries = run_python(R"(
texts = [''.join(chunk) for chunk in chunks(every)]
for value in texts + [{text: 1} for text in texts[:1]] + [
        None, True, False, 0, -1, 2**63 - 1, -2**63, 2**64 - 1, 1e16, 1e-5, -0.0, 1.0, 0.1, math.nan,
        math.inf, -math.inf, '', [], {}, [[], {}, [1, [2.5, None]]], {'b': {'a': []}, 'a': [{}]}]:
    emit(json.dumps(value), json.dumps(value, ensure_ascii=False))
)");
  for (std::size_t i = 0; i < entries.size(); i += 2) {
    const Value value = read_json(entries[i]);
    ASSERT_EQ(write_json(value, Characters::escaped), entries[i]);
    ASSERT_EQ(write_json(value, Characters::plain), entries[i + 1]);
  }
}

void expect_refused(const Value& value, const std::string& message) {
  for (const auto characters : {Characters::plain, Characters::escaped}) {
    try {
      write_json(value, characters);
      ADD_FAILURE() << "written, but expected: " << message;
    } catch (const std::invalid_argument& refusal) {
      EXPECT_EQ(refusal.what(), message);
    }
  }
}

TEST(JsonWrite, RefusesWhatHasNoJsonFormAndTellsWhereItStands) {
  const std::string ill_formed = "text that is not well-formed UTF-8 has no JSON form";
  const std::string no_json = "a value of type 'stone' has no JSON form";
  const Value stone(std::make_shared<Stone>(1));
  expect_refused("\xff", ill_formed);
  expect_refused(List{1, "\xed\xa0\x80"}, "[1]: " + ill_formed);
  expect_refused(Mapping{{"k", Mapping{{"\xe2\x82", 1}}}}, "k: " + ill_formed);
  expect_refused(stone, no_json);
  expect_refused(Mapping{{"config", Mapping{{"theme", List{1, Mapping{{"when", stone}}}}}}},
                 "config.theme[1].when: " + no_json);
  expect_refused(Mapping{{std::string(99, 'k') + "\u00e9", stone}},
                 std::string(99, 'k') + "...: " + no_json);
}

TEST(JsonWrite, RefusesNestingBeyond500Levels) {
  Value value = 1;
  for (int level = 0; level < 500; ++level) value = List{std::move(value)};
  EXPECT_NO_THROW(write_json(value, Characters::plain));
  value = Mapping{{"a", std::move(value)}};
  EXPECT_THROW(write_json(value, Characters::plain), std::invalid_argument);
}

}  // namespace
}  // namespace utility_manager::values
