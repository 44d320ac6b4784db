// Reading ISC files: the digit rule, the line rules, the refusals and the
// two checksums, against the bit-by-bit references of the test files.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "isp/flash_files.h"
#include "isp/isc_file.h"

namespace svodb::isp {
namespace {

using Lines = std::vector<std::string>;

TEST(IscDigits, LettersCountFromTenAndAnythingElseFromZero) {
  const std::pair<unsigned char, int32_t> cases[] = {{'0', 0},  {'9', 9},   {'a', 10}, {'F', 15},  {'g', 16},
                                                     {'Z', 35}, {' ', -16}, {')', -7}, {0xFF, 207}};
  for (const auto& [c, digit] : cases) EXPECT_EQ(HexDigit(c), digit) << c;
  EXPECT_EQ(HexValue("1A2b"), 0x1A2Bu);
  EXPECT_EQ(HexValue("123456789"), 0x23456789u);  // held to 32 bits
  EXPECT_EQ(HexValue("1G"), 0x20u);               // not validated: 1 * 16 + 16
}

TEST(IscChecksums, MatchTheBitwiseReferences) {
  const std::string row = "0123456789abcdefABCDEF" + std::string(1002, '7');
  RowChecksum checksum;
  for (std::size_t end = row.size(); end >= 2; end -= 2)
    checksum.FeedPair(HexDigit(static_cast<unsigned char>(row[end - 2])),
                      HexDigit(static_cast<unsigned char>(row[end - 1])));
  EXPECT_EQ(checksum.Value(), testing::ReferenceRowChecksum({row}));

  TextCrc16 crc;
  crc.Feed("123\n4\r\n");
  crc.Feed("5\r6789");                                        // CR and LF are not fed
  EXPECT_EQ(static_cast<uint16_t>(~crc.Register()), 0x906E);  // the CRC's published check value
}

// Line numbers of a generated file: 0-1 preamble, 2-513 rows, then these;
// the row checksum is the data_CRC line's last item less its closing
// character, "! data_CRC (XXXXXXXX)".
constexpr std::size_t kFirstRow = 2, kDataCrc = 514, kChecksumLine = 517, kIgnored = 518;

std::string Join(const Lines& lines, const char* end = "\n") {
  std::string text;
  for (const std::string& line : lines) text += line + end;
  return text;
}

// A change after which the file checksum is made right again.
std::function<void(Lines&)> Rechecked(void (*change)(Lines&)) {
  return [=](Lines& lines) {
    change(lines);
    const std::string text = Join(Lines(lines.begin(), lines.begin() + kChecksumLine));
    lines[kChecksumLine] = testing::Hex(static_cast<uint16_t>(~testing::ReferenceCrc16(text)), 4);
  };
}

Result Read(const std::string& text, IscContent& content, int* steps = nullptr) {
  LineReader lines(text);
  const Result read = ReadIsc(lines, content, [&] { steps != nullptr && ++*steps; });
  return read != code::kOk ? read : CheckIsc(content);
}

class IscReader : public ::testing::Test {
 protected:
  void SetUp() override {
    const std::string text = testing::MakeIscFile(image);
    for (std::size_t start = 0, end; (end = text.find('\n', start)) != std::string::npos; start = end + 1)
      lines.push_back(text.substr(start, end - start));
  }
  const std::vector<uint8_t> image = testing::RandomBytes(testing::kIscImageBytes, 7);
  Lines lines;
};

TEST_F(IscReader, RowsComeFromTheEndOfEachLineIntoTheBuffer) {
  IscContent content;
  int steps = 0;
  ASSERT_EQ(Read(Join(lines), content, &steps), 1);
  EXPECT_EQ(content.rows, image);
  EXPECT_EQ(steps, 20);  // after rows 25, 50 ... 500
  // The same file with CR LF line ends, and with its rows in two sections.
  IscContent crlf, restarted;
  EXPECT_EQ(Read(Join(lines, "\r\n"), crlf), 1);
  EXPECT_EQ(crlf.rows, image);
  EXPECT_EQ(Read(testing::MakeIscFile(image, 300), restarted), 1);
  EXPECT_EQ(restarted.rows, image);
}

TEST_F(IscReader, RefusesMalformedFilesAndChecksumMismatches) {
  struct Case {
    const char* what;
    std::function<void(Lines&)> change;
    Result expected;
  };
  const Case cases[] = {
      {"an ignored line of 2047 characters", [](Lines& l) { l[kIgnored] = std::string(2047, 'x'); }, 1},
      {"an ignored line of 2048 characters", [](Lines& l) { l[kIgnored] = std::string(2048, 'x'); }, 32},
      {"511 rows", [](Lines& l) { l.erase(l.begin() + kFirstRow + 5); }, 32},
      {"513 rows", [](Lines& l) { l.insert(l.begin() + kFirstRow + 5, l[kFirstRow + 5]); }, 32},
      {"a row of 1023 characters", [](Lines& l) { l[kFirstRow + 9].resize(14 + 1023); }, 32},
      {"no data_CRC line", [](Lines& l) { l.resize(kDataCrc); }, 32},
      {"no file checksum line", [](Lines& l) { l.resize(kChecksumLine); }, 32},
      {"no Initialize (case counts)", [](Lines& l) { l[kFirstRow].replace(2, 10, "initialize"); }, 32},
      {"a digit changed", [](Lines& l) { l[kFirstRow + 3][20] ^= 1; }, 42},
      {"data_CRC without its '('", Rechecked([](Lines& l) { l[kDataCrc].erase(11, 1); }), 1},
      {"data_CRC with a ')' more", Rechecked([](Lines& l) { l[kDataCrc] += ')'; }), 42},
      {"the preamble changed", [](Lines& l) { l[0] += ' '; }, 41},
      {"a trailer line changed", [](Lines& l) { l[kChecksumLine - 1] += ' '; }, 41},
      {"the ignored line changed", [](Lines& l) { l[kIgnored] += ' '; }, 1},
  };
  for (const Case& c : cases) {
    Lines changed = lines;
    c.change(changed);
    IscContent content;
    EXPECT_EQ(Read(Join(changed), content), c.expected) << c.what;
  }
}

}  // namespace
}  // namespace svodb::isp
