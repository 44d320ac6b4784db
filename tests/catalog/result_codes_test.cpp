#include "catalog/result_codes.h"

#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <span>
#include <string>
#include <string_view>

#include "catalog/catalogue.h"

namespace svodb {
namespace {

TEST(ErrorMessage, NeverNeedsMoreThan120Bytes) {
  const Catalogue catalogue;
  std::size_t longest = 0;
  for (Result context = -2; context <= 12; ++context) {
    for (Result detail = 0; detail < 100; ++detail) {
      for (Result base = -99; base < 100; ++base) {
        const Result code =
            context * 10000 + (context < 0 ? -1 : 1) * (detail * 100 + (base < 0 ? -base : base));
        longest = std::max(longest, ErrorMessage(catalogue, code).size());
      }
    }
  }
  for (Result code : {INT32_MIN, INT32_MAX, INT32_MIN + 1, 2147480000, -2147480000}) {
    longest = std::max(longest, ErrorMessage(catalogue, code).size());
  }
  EXPECT_LT(longest, kMessageCapacity);
}

// The message goes straight into the caller's buffer: cut to its room,
// always terminated, the length returned; bytes past the room untouched.
TEST(ErrorMessage, ComposesIntoTheCallersBufferAndCutsAtItsEnd) {
  const Catalogue catalogue;
  struct Case {
    Result code;
    std::size_t room;
    const char* message;
  };
  const Case cases[] = {
      {SVODB_CONTEXT_LOAD_FROM_FPGA + 4 * 100 + SVODB_INVALID_PARAMETER, 120,
       "Invalid parameter when loading from FPGA at variable--AFBMitEn"},
      {SVODB_CONTEXT_LOAD_FROM_FPGA + 4 * 100 + SVODB_INVALID_PARAMETER, 21, "Invalid parameter wh"},
      {SVODB_CONTEXT_READ_FILE + 7 * 100 + SVODB_CANT_OPEN_FILE, 40,
       "Can't open file when reading file at No"},
      {SVODB_OUT_OF_RANGE, 1, ""},
  };
  for (const Case& c : cases) {
    std::array<char, 130> buffer;
    buffer.fill('#');
    const std::size_t length = ComposeErrorMessage(catalogue, c.code, std::span<char>(buffer.data(), c.room));
    EXPECT_EQ(std::string(buffer.data()), c.message) << c.code;
    EXPECT_EQ(length, std::string_view(c.message).size()) << c.code;
    EXPECT_EQ(buffer[c.room], '#') << c.code;
  }
}

TEST(ResultComposition, SplitsAndJoins) {
  constexpr CodeParts parts = Decompose(43910);
  static_assert(parts.context == 4 && parts.detail == 39 && parts.base == 10);
  static_assert(Decompose(-1).base == -1 && Decompose(-1).context == 0);
  static_assert(WithContext(Context::kSendToNv, WithDetail(10, 39)) == 43910);
  static_assert(ComposeSetResult(Context::kLoadFromFpga, 10000) == 1);
  static_assert(ComposeSetResult(Context::kLoadFromFpga, 408) == 10408);
  SUCCEED();
}

}  // namespace
}  // namespace svodb
