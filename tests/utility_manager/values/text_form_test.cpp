#include "utility_manager/values/text_form.h"

#include <cstring>

#include <gtest/gtest.h>

#include "tests/utility_manager/values/interpreter.h"
#include "tests/utility_manager/values/stone.h"
#include "utility_manager/values/json_read.h"

namespace utility_manager::values {
namespace {

TEST(TextForm, EqualsPythonsStr) {
  const auto entries = run_python(R"(
quotes = ["it's", 'say "a"', '\'"', '\\', "\\'", '', 'é\n\r\t\x00\x7f\x85\xa0\u2028\U000e0001']
for value in [None, True, False, 0, -5, 2**63, -2**63, 1.5, -0.0, 'a', '', 'é\n', quotes, [], {},
              [[], {}, [None, True, 1, 2.0, 'x']], {'k': None, "it's": {'a': [1, 'é']}, '': ''},
              math.inf, [math.nan, -math.inf]]:
    emit(json.dumps(value), str(value))
# Later versions of Unicode may assign what this interpreter does not know.
for chunk in chunks([c for c in every if unicodedata.category(c) != 'Cn']):
    emit(json.dumps([''.join(chunk)]), str([''.join(chunk)]))
)");
  for (std::size_t i = 0; i < entries.size(); i += 2) {
    ASSERT_EQ(text_form(read_json(entries[i])), entries[i + 1]);
  }
}

TEST(TextForm, WritesIllFormedBytesInsideAListAsEscapes) {
  const std::string path = "/a\xff/\xe2\x82.py";
  EXPECT_EQ(text_form(path), path);
  EXPECT_EQ(text_form(List{path}), R"(['/a\udcff/\udce2\udc82.py'])");
}

TEST(TextForm, AsksTheHostForItsValues) {
  const Value stone(std::make_shared<Stone>(3));
  EXPECT_EQ(text_form(stone), "3 stones");
  EXPECT_EQ(repr_form(Mapping{{"k", List{stone}}}), "{'k': [<3 stones>]}");
}

TEST(TextForm, WritesRealsAsPythonsRepr) {
  const auto entries = run_python(R"(
reals = [float(f'{sign}{digits}e{power}') for sign in ('', '-') for power in range(-330, 310)
         for digits in ('1', '9.999999999999999', '1.2345678901234567', '5')]
reals += [math.nextafter(x, to) for x in (1e-4, 1e16, 1e22, 2.0**53) for to in (-math.inf, math.inf)]
reals += [0.0, -0.0, 0.1, 123456.0, math.inf, -math.inf, math.nan, sys.float_info.max]
reals += struct.unpack('<20000d', random.randbytes(160000))
reals += [random.uniform(-1e17, 1e17) for _ in range(5000)]
for real in reals:
    emit(struct.pack('<d', real), repr(real))
)");
  for (std::size_t i = 0; i < entries.size(); i += 2) {
    double real = 0;
    std::memcpy(&real, entries[i].data(), sizeof real);
    ASSERT_EQ(real_form(real), entries[i + 1]);
  }
}

}  // namespace
}  // namespace utility_manager::values
