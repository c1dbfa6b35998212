#include "utility_manager/values/text.h"

#include <gtest/gtest.h>

#include "tests/utility_manager/values/interpreter.h"

namespace utility_manager::values {
namespace {

/// Expects `map` to turn each first of two entries into the second.
template <typename Map>
void expect_mapped(const std::vector<std::string>& entries, Map map) {
  for (std::size_t i = 0; i + 1 < entries.size(); i += 2) {
    ASSERT_EQ(map(entries[i]), entries[i + 1]) << "entry " << i;
  }
}

TEST(Text, FoldsEveryCodePointAsPython) {
  expect_mapped(run_python("for chunk in chunks(every): emit(''.join(chunk), "
                           "''.join(chunk).casefold())"),
                fold_case);
}

TEST(Text, ChangesCaseAsPythonButForCapitalsOfSeveralCodePoints) {
  const std::string script = R"(
for chunk in chunks([c for c in every if len(change(c)) == 1 or change == str.lower]):
    emit(''.join(chunk), ''.join(map(change, chunk)))
)";
  expect_mapped(run_python("change = str.upper" + script), upper_case);
  expect_mapped(run_python("change = str.lower" + script), lower_case);
}

TEST(Text, CarriesIllFormedBytesThroughAChangeOfCase) {
  const std::string ill_formed =
      "\xff"
      "A\xe3\x80z\xc3";
  EXPECT_EQ(fold_case(ill_formed),
            "\xff"
            "a\xe3\x80z\xc3");
  EXPECT_EQ(lower_case(ill_formed),
            "\xff"
            "a\xe3\x80z\xc3");
  EXPECT_EQ(upper_case(ill_formed),
            "\xff"
            "A\xe3\x80Z\xc3");
}

TEST(Text, StripsExactlyPythonsWhiteSpace) {
  const auto entries = run_python(R"(
emit(''.join(c for c in every if c.isspace()))
emit(*(c for c in every if not c.isspace()))
)");
  const std::string& white = entries[0];
  EXPECT_EQ(strip(white), "");
  EXPECT_EQ(strip_end(white), "");
  EXPECT_EQ(strip(white + "a b" + white), "a b");
  EXPECT_EQ(strip_end(white + "a b" + white), white + "a b");
  for (std::size_t i = 1; i < entries.size(); ++i) {
    ASSERT_EQ(strip(entries[i]), entries[i]) << "entry " << i;
  }
  EXPECT_EQ(strip(""), "");
}

TEST(Text, TakesIllFormedBytesForNoWhiteSpace) {
  for (const std::string text : {"\x85", "\xa0", "\xe3\x80", "a\x80\x80", "\xc2 \x85",
                                 "a\xe1\x9a\x80\x80", "\xf0\x82\x80\x80", "\xc0\xa0"}) {
    EXPECT_EQ(strip(text), text);
    EXPECT_EQ(strip(" " + text + "\n"), text);
  }
}

TEST(Text, DropsWhatPythonsDecoderIgnores) {
  const auto entries = run_python(R"(
edges = (0x41, 0x80, 0x8f, 0x90, 0x9f, 0xa0, 0xbf, 0xc1, 0xc2, 0xdf, 0xe0, 0xe1, 0xed, 0xef, 0xf0,
         0xf3, 0xf4, 0xf5)
cases = [bytes(case) for case in itertools.product(edges, repeat=4)]
for case in cases + [b'a' * i + b'\xff' + b'b' * (40 - i) for i in range(40)] + [b'\0\x7f']:
    emit(case, case.decode('utf-8', 'ignore'))
)");
  expect_mapped(entries, [](const std::string& bytes) {
    std::string text = "before ";
    append_decodable(text, bytes);
    return text.substr(7);
  });
  for (std::size_t i = 0; i < entries.size(); i += 2) {
    ASSERT_EQ(is_well_formed(entries[i]), entries[i] == entries[i + 1]) << "entry " << i;
  }
}

TEST(Text, LooksAtNoByteBehindTheText) {
  EXPECT_FALSE(is_well_formed(std::string_view("€").substr(0, 2)));
  EXPECT_EQ(strip(std::string_view("\u3000").substr(0, 2)), "\xe3\x80");
}

TEST(Text, CutsLastCodePoints) {
  const std::string text = "aé€😀z";
  EXPECT_EQ(last_code_points(text, 0), "");
  EXPECT_EQ(last_code_points(text, 1), "z");
  EXPECT_EQ(last_code_points(text, 2), "😀z");
  EXPECT_EQ(last_code_points(text, 4), "é€😀z");
  EXPECT_EQ(last_code_points(text, 5), text);
  EXPECT_EQ(last_code_points(text, 600), text);
  EXPECT_EQ(last_code_points("", 3), "");
}

}  // namespace
}  // namespace utility_manager::values
