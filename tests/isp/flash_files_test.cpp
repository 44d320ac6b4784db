// Reading configuration files: an ISC file's digit rule, line rules,
// refusals and two checksums, against the bit-by-bit references of the
// test files; an I00 file's version rule of the file name, header and
// records.
#include "isp/flash_files.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "isp/i00_file.h"
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

Result ReadAndCheck(const std::string& text, IscContent& content, int* steps = nullptr) {
  LineReader lines(text);
  const Result read = ReadIsc(lines, content, [&] { steps != nullptr && ++*steps; });
  return read != code::kOk ? read : CheckIsc(content);
}

TEST(IscReader, RowsComeFromTheEndOfEachLineIntoTheBuffer) {
  const std::vector<uint8_t> image = testing::RandomBytes(testing::kIscImageBytes, 7);
  const std::string text = testing::MakeIscFile(image);
  Lines lines;
  for (std::size_t start = 0, end; (end = text.find('\n', start)) != std::string::npos; start = end + 1)
    lines.push_back(text.substr(start, end - start));
  IscContent content;
  int steps = 0;
  ASSERT_EQ(ReadAndCheck(Join(lines), content, &steps), 1);
  EXPECT_EQ(content.rows, image);
  EXPECT_EQ(steps, 20);  // after rows 25, 50 ... 500
  // The same file with CR LF line ends, and with its rows in two sections.
  IscContent crlf, restarted;
  EXPECT_EQ(ReadAndCheck(Join(lines, "\r\n"), crlf), 1);
  EXPECT_EQ(crlf.rows, image);
  EXPECT_EQ(ReadAndCheck(testing::MakeIscFile(image, 300), restarted), 1);
  EXPECT_EQ(restarted.rows, image);

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
    IscContent fresh;
    EXPECT_EQ(ReadAndCheck(Join(changed), fresh), c.expected) << c.what;
  }
}

// The version is in a name of 13 characters, the last backslash or slash
// ending the folder: "ABC-DEFnnn-GH.i00".
TEST(I00FileName, GivesTheLogicVersion) {
  // clang-format off
  const std::pair<const char*, int32_t> cases[] = {
      {"ABC-DEF004-GH.i00", 4},   {"C:\\drive\\ABC-DEF004-GH.I00", 4}, {"/srv/files/ABC-DEF123-GH.i00", 123},
      {"a/b\\ABC-DEF007-GH.i00", 7},  // the last backslash wins over a later slash
      {"anything.isc", 3},        {"ABC-DEF004-GHI.i00", -1},  {"ABC-DEF04-GH.i00", -1},
      {"ABC_DEF004-GH.i00", -1},  {"ABC-DEFx04-GH.i00", -1},   {"ABC-DEF004_GH.i00", -1},
      {"ABC-DEF004-GH.i01", -1},  {"", -1},
      {"dir.i00/ABC-DEF004-GH", -1}};  // the extension is the name's, the stem its base name's
  // clang-format on
  for (const auto& [name, version] : cases) EXPECT_EQ(VersionFromFileName(name), version) << name;
}

struct Outcome {
  Result result;
  int32_t version;
  std::vector<uint8_t> image;
};

Outcome Read(const std::string& text) {
  Outcome out{0, -99, std::vector<uint8_t>(kI00ImageSize, 0xFF)};
  LineReader lines(text);
  out.result = ReadI00Header(lines, "ABC-DEF004-GH.i00", out.version);
  if (out.result == code::kOk) out.result = ReadI00Records(lines, out.image);
  return out;
}

TEST(I00Reader, RecordsFillTheImageFromTheBaseInFileOrder) {
  const Outcome out = Read(
      "#IT:x\n\n#LogicVer: 12abc\n:02000004000100\n:04001000A1B2C3D4XX\n"
      ":04000000E5F61GG1\n:00000001FF\n:0100000099\n");
  ASSERT_EQ(out.result, 1);
  EXPECT_EQ(out.version, 12);
  // Base 0x10000 + 0x0010; the second record's offset is not used. A byte
  // reads as far as its hex digits go: "1G" is 1, "G1" 0.
  const std::vector<uint8_t> stored(out.image.begin() + 0x10010, out.image.begin() + 0x10018);
  EXPECT_EQ(stored, (std::vector<uint8_t>{0xA1, 0xB2, 0xC3, 0xD4, 0xE5, 0xF6, 0x01, 0x00}));
  EXPECT_EQ(out.image[0x10018], 0xFF);
  EXPECT_EQ(out.image[0], 0xFF);  // nothing after the end record
}

TEST(I00Reader, RefusesWhatItCannotRead) {
  const std::string h = "#IT:x\n\n#LogicVer:4\n";
  struct Case {
    std::string text;
    Result expected;
    int32_t version = 4;
  };
  // clang-format off
  const Case cases[] = {
      {"", 32, -99}, {"#IT\n\n\n:00000001FF\n", 32, -99}, {"#IT:x\n\n", 32, -99},
      {"#IT:x\n\nLogicVer:3\n:00000001FF\n", 1},  // not the tag: the file name's
      {h, 32}, {h + "00000001FF\n", 32}, {h + ":02000004000000\n", 32},
      {h + ":02000004000000\n00000001FF\n", 32},
      {h + ":0400000001020304\n:0400000001020304" + std::string(83, '0') + "\n", 32},  // 100 characters
      {h + ":0400000001020304" + std::string(82, '0') + "\n", 1},                      // 99 characters
      {h + ":04000000010203\n", 32},                              // ends before its 4th byte
      {h + ":02000004000800\n:0100000001\n", 43},                 // base 0x80000
      {h + ":02000004000700\n:01FFFF0001\n:020000000102\n", 43},  // 0x7FFFF, then 0x80000
      {h + ":03000005000000\n:01000000AB\n", 1},                  // other types are skipped
  };
  // clang-format on
  for (const Case& c : cases) {
    const Outcome out = Read(c.text);
    EXPECT_EQ(out.result, c.expected) << c.text;
    EXPECT_EQ(out.version, c.version) << c.text;
  }
}

}  // namespace
}  // namespace svodb::isp
