#include "utility_manager/values/json_read.h"

#include <cmath>
#include <cstdint>

#include <gtest/gtest.h>

#include "tests/utility_manager/values/interpreter.h"
#include "utility_manager/values/json_write.h"

namespace utility_manager::values {
namespace {

std::string repeated(std::size_t count, const std::string& text) {
  std::string result;
  while (count-- > 0) result += text;
  return result;
}

/// What stands in `text`, written again, or "refused".
std::string read_and_written(const std::string& text) {
  try {
    return write_json(read_json(text), Characters::plain);
  } catch (const JsonError&) {
    return "refused";
  }
}

TEST(JsonRead, ReadsAndRefusesWhatPythonDoes) {
  const auto entries = run_python(R"(
texts = [r'{"a": [1, -2.5e+3, "x\u00e9\ud83d\ude00\n\/"], "b": {"c": null}, "d": true}',
         ' [ false,\t0.5E-1 ,\r\nNaN, -Infinity, Infinity, {}, [] ] ', '-0', '0', '-0.0', '12',
         '"é😀\x7f"', '', ' ', '18446744073709551615', '-9223372036854775808', '9223372036854775807',
         '1e999', '-1e999', '1e-999', '-1e-999', '0.' + '0' * 400 + '1e50', '4.9e-324',
         '1' + '0' * 400 + '.0e-50', '1' * 400 + '.5', '9007199254740993.0', '[' * 500 + ']' * 500,
         '{' + ', '.join(f'"{i % 40}": {i}' for i in range(60)) + '}',
         '{' + ', '.join(f'"{i % 10}": {i}' for i in range(16)) + '}']
broken = [text[:i] + middle + text[i + 1:] for text in texts if len(text) < 100
          for i in range(len(text)) for middle in ('', '0', '"', '\\', '\x00', '\x1f', 'é', 'u', ',')]
for text in texts + broken + ['\ufeff1']:
    try:
        entry = json.dumps(json.loads(text), ensure_ascii=False).encode()
    except ValueError:
        entry = b'refused'
    emit(text, entry)
)");
  for (std::size_t i = 0; i < entries.size(); i += 2) {
    ASSERT_EQ(read_and_written(entries[i]), entries[i + 1]) << entries[i];
  }
}

TEST(JsonRead, KeepsIntegersOf64BitsAndTakesLargerOnesForReals) {
  EXPECT_EQ(read_json("9223372036854775807").kind(), Kind::integer);
  EXPECT_EQ(read_json("18446744073709551615").unsigned_integer(), UINT64_MAX);
  EXPECT_EQ(read_json("18446744073709551616").real(), 18446744073709551616.0);
  EXPECT_EQ(read_json("-9223372036854775809").real(), -9223372036854775809.0);
  EXPECT_TRUE(std::isinf(read_json("1" + repeated(400, "0")).real()));
}

TEST(JsonRead, RefusesWhatHasNoTextInUtf8) {
  for (const std::string text : {"\"\xff\"", "[1]\x80", "{\"\xed\xa0\x80\": 1}", R"("\ud800")",
                                 R"("\udc00")", R"("\ud800A")", R"("\ud800\u0041")"}) {
    EXPECT_THROW(read_json(text), JsonError) << text;
  }
}

TEST(JsonRead, RefusesNestingBeyond500Levels) {
  EXPECT_NO_THROW(read_json(repeated(250, "[{\"a\":") + "1" + repeated(250, "}]")));
  EXPECT_THROW(read_json(repeated(501, "[") + repeated(501, "]")), JsonError);
  EXPECT_THROW(read_json(repeated(501, "{\"a\":") + "1" + repeated(501, "}")), JsonError);
  EXPECT_THROW(read_json(repeated(1000000, "[")), JsonError);
}

}  // namespace
}  // namespace utility_manager::values
