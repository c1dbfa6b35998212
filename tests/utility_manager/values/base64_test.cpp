#include "utility_manager/values/base64.h"

#include <gtest/gtest.h>

#include "tests/utility_manager/values/interpreter.h"

namespace utility_manager::values {
namespace {

TEST(Base64, EqualsPythonsEncoder) {
  const auto entries = run_python(R"(
for case in [bytes(range(256))] + [random.randbytes(length) for length in range(100)]:
    emit(case, base64.b64encode(case))
)");
  for (std::size_t i = 0; i < entries.size(); i += 2) {
    std::string text = "data:";
    append_base64(text, entries[i]);
    EXPECT_EQ(text, "data:" + entries[i + 1]);
  }
}

}  // namespace
}  // namespace utility_manager::values
