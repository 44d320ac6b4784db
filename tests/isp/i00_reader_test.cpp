// Reading I00 files: the version rule of the file name, the header and the
// records.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "isp/i00_file.h"

namespace svodb::isp {
namespace {

TEST(I00FileName, GivesTheLogicVersion) {
  const std::pair<const char*, int32_t> cases[] = {
      {"ABC-DEF004-GH.i00", 4},
      {"C:\\drive\\files\\ABC-DEF004-GH.I00", 4},
      {"/srv/files/ABC-DEF123-GH.i00", 123},
      {"a/b\\ABC-DEF007-GH.i00", 7},  // the last backslash wins over a later slash
      {"anything.isc", 3},
      {"ABC-DEF004-GHI.i00", -1},  // 14 characters
      {"ABC-DEF04-GH.i00", -1},    // 12
      {"ABC_DEF004-GH.i00", -1},
      {"ABC-DEFx04-GH.i00", -1},
      {"ABC-DEF004_GH.i00", -1},
      {"ABC-DEF004-GH.i01", -1},
      {"dir.i00/ABC-DEF004-GH", -1},  // the extension is the name's, the stem its base name's
      {"", -1}};
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
