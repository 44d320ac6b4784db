// The ISC file's digit rule and its two checksums, against the bit-by-bit
// references of the test files.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "isp/flash_files.h"
#include "isp/isc_file.h"

namespace svodb::isp {
namespace {

using testing::RandomBytes;

TEST(IscDigits, LettersCountFromTenAndAnythingElseFromZero) {
  struct Case {
    unsigned char c;
    int32_t digit;
  };
  const Case cases[] = {{'0', 0},  {'9', 9},   {'a', 10}, {'F', 15},  {'g', 16},
                        {'Z', 35}, {' ', -16}, {')', -7}, {0xFF, 207}};
  for (const Case& c : cases) EXPECT_EQ(HexDigit(c.c), c.digit) << c.c;
  EXPECT_EQ(HexValue(""), 0u);
  EXPECT_EQ(HexValue("1A2b"), 0x1A2Bu);
  EXPECT_EQ(HexValue("123456789"), 0x23456789u);  // held to 32 bits
  EXPECT_EQ(HexValue("1G"), 0x20u);               // not validated: 1 * 16 + 16
}

// Fed pair by pair from each row's end, low digit first, bit 0 first; the
// reference in the test files computes it bit by bit.
TEST(IscRowChecksum, MatchesTheBitwiseReferenceOverRandomRows) {
  std::vector<std::string> rows;
  RowChecksum checksum;
  for (uint32_t seed = 1; seed <= 8; ++seed) {
    rows.push_back(testing::RowHex(RandomBytes(512, seed)));
    const std::string& hex = rows.back();
    for (std::size_t end = hex.size(); end >= 2; end -= 2) {
      checksum.FeedPair(HexDigit(static_cast<unsigned char>(hex[end - 2])),
                        HexDigit(static_cast<unsigned char>(hex[end - 1])));
    }
    EXPECT_EQ(checksum.Value(), testing::ReferenceRowChecksum(rows)) << "after row " << seed;
  }
}

TEST(IscFileChecksum, IsTheX25Crc) {
  TextCrc16 crc;
  crc.Feed("123456789");
  EXPECT_EQ(static_cast<uint16_t>(~crc.Register()), 0x906E);  // the CRC's published check value
  TextCrc16 withLineEnds;
  withLineEnds.Feed("1234\r\n");
  withLineEnds.Feed("5\r6789");
  EXPECT_EQ(withLineEnds.Register(), crc.Register());  // CR and LF are not fed
  const std::vector<uint8_t> bytes = RandomBytes(4096, 99);
  const std::string text(bytes.begin(), bytes.end());
  TextCrc16 random;
  random.Feed(text);
  EXPECT_EQ(random.Register(), testing::ReferenceCrc16(text));
}

}  // namespace
}  // namespace svodb::isp
