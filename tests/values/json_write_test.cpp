#include "values/json_write.h"

#include <stdexcept>

#include <gtest/gtest.h>

#include "tests/values/interpreter.h"
#include "values/json_read.h"

namespace values {
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

void expect_refused(const Value& value) {
  EXPECT_THROW(write_json(value, Characters::plain), std::invalid_argument);
  EXPECT_THROW(write_json(value, Characters::escaped), std::invalid_argument);
}

TEST(JsonWrite, RefusesWhatHasNoJsonForm) {
  expect_refused("\xff");
  expect_refused(Value::array({1, "\xed\xa0\x80"}));
  expect_refused(Value::object({{"\xe2\x82", 1}}));
  expect_refused(Value::binary({1, 2}));
  expect_refused(Value::array({Value(Value::value_t::discarded)}));
}

TEST(JsonWrite, RefusesNestingBeyond500Levels) {
  Value value = 1;
  for (int level = 0; level < 500; ++level) value = Value::array({std::move(value)});
  EXPECT_NO_THROW(write_json(value, Characters::plain));
  value = Value::object({{"a", std::move(value)}});
  EXPECT_THROW(write_json(value, Characters::plain), std::invalid_argument);
}

}  // namespace
}  // namespace values
