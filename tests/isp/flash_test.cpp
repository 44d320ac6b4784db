// Reading ISC and I00 files, against the bit-by-bit references of the
// test files, and the flash exports end to end with their exact traffic.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "api/export_fixture.h"
#include "isp/flash_files.h"
#include "isp/i00_file.h"
#include "isp/isc_file.h"
#include "isp/isp_protocol.h"
#include "sim/forwarding_transport.h"
#include "svodb/svodb.h"
#include "virtual_platform.h"

namespace svodb::testing {
namespace {

using namespace isp;
using Lines = std::vector<std::string>;
using sim::IspBehaviour;
using enum sim::Operation;

TEST(IscDigits, LettersCountFromTenAndAnythingElseFromZero) {
  const std::pair<unsigned char, int32_t> cases[] = {{'0', 0},  {'9', 9},   {'a', 10}, {'F', 15},  {'g', 16},
                                                     {'Z', 35}, {' ', -16}, {')', -7}, {0xFF, 207}};
  for (const auto& [c, digit] : cases) EXPECT_EQ(HexDigit(c), digit) << c;
  // Held to 32 bits, and not validated: "1G" is 1 * 16 + 16.
  EXPECT_EQ((std::array{HexValue("1A2b"), HexValue("123456789"), HexValue("1G")}),
            (std::array{0x1A2Bu, 0x23456789u, 0x20u}));
  const std::string row = "0123456789abcdefABCDEF" + std::string(1002, '7');
  RowChecksum checksum;
  for (std::size_t end = row.size(); end >= 2; end -= 2)
    checksum.FeedPair(HexDigit(static_cast<unsigned char>(row[end - 2])),
                      HexDigit(static_cast<unsigned char>(row[end - 1])));
  EXPECT_EQ(checksum.Value(), ReferenceRowChecksum({row}));
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
    lines[kChecksumLine] = Hex(static_cast<uint16_t>(~ReferenceCrc16(text)), 4);
  };
}

Result ReadAndCheck(const std::string& text, IscContent& content, int* steps = nullptr) {
  LineReader lines(text);
  const Result read = ReadIsc(lines, content, [&] { steps != nullptr && ++*steps; });
  return read != code::kOk ? read : CheckIsc(content);
}

TEST(IscReader, RowsComeFromTheEndOfEachLineIntoTheBuffer) {
  const std::vector<uint8_t> image = RandomBytes(kIscImageBytes, 7);
  const std::string text = MakeIscFile(image);
  Lines lines;
  for (std::size_t start = 0, end; (end = text.find('\n', start)) != std::string::npos; start = end + 1)
    lines.push_back(text.substr(start, end - start));
  IscContent content;
  int steps = 0;
  ASSERT_EQ(ReadAndCheck(Join(lines), content, &steps), 1);
  EXPECT_EQ(std::tuple(content.rows, steps), std::tuple(image, 20));  // a step after rows 25, 50 ... 500
  // The same file with CR LF line ends, and with its rows in two sections.
  for (const std::string& same : {Join(lines, "\r\n"), MakeIscFile(image, 300)}) {
    IscContent again;
    EXPECT_EQ((std::tuple{ReadAndCheck(same, again), again.rows}),
              std::tuple(1, image));  // braces: read first
  }

  struct Case {
    const char* what;
    std::function<void(Lines&)> change;
    Result expected;
  };
  const Case cases[] = {
      // After the file checksum: not in it, but its length still counts.
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

TEST(I00Reader, RecordsFillTheImageFromTheBaseInFileOrderAndWhatCannotBeReadIsRefused) {
  const Outcome out = Read(
      "#IT:x\n\n#LogicVer: 12abc\n:02000004000100\n:04001000A1B2C3D4XX\n"
      ":04000000E5F61GG1\n:00000001FF\n:0100000099\n");
  ASSERT_EQ(out.result, 1);
  EXPECT_EQ(out.version, 12);
  // Base 0x10000 + 0x0010; the second record's offset is not used. A byte
  // reads as far as its hex digits go: "1G" is 1, "G1" 0.
  const std::vector<uint8_t> stored(out.image.begin() + 0x10010, out.image.begin() + 0x10018);
  EXPECT_EQ(stored, (std::vector<uint8_t>{0xA1, 0xB2, 0xC3, 0xD4, 0xE5, 0xF6, 0x01, 0x00}));
  EXPECT_EQ(std::tuple(out.image[0x10018], out.image[0]), std::tuple(0xFF, 0xFF));  // nothing after the end

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
    const Outcome refused = Read(c.text);
    EXPECT_EQ(std::tuple(refused.result, refused.version), std::tuple(c.expected, c.version)) << c.text;
  }
}

constexpr uintptr_t kWindow = 0x1234;
const Lines kClosing = {"SendISPByte(0) -> 1 [1]", "ChangeBaudRate(19200) -> 1"};

// An ISP run as one list of the drive's calls, pauses ("sleep MS") and
// posts ("post STEP/TOTAL"). Bytes taken in a row with one status collapse
// into "SendISPByte xN -> 1 [status]" (the flash shows what they were), and
// the drive's own log is emptied after each call, so a run stays small.
class Timeline final : public ForwardingTransport, public Platform {
 public:
  explicit Timeline(sim::VirtualDrive& drive) : ForwardingTransport(drive) {}
  uint32_t NowMs() override { return clock.NowMs(); }
  void SleepMs(uint32_t ms) override {
    Add("sleep " + std::to_string(ms));
    clock.SleepMs(ms);
  }
  bool PumpOneMessage() override { return clock.PumpOneMessage(); }
  bool PostWindowMessage(uintptr_t window, uint32_t message, uintptr_t wParam, intptr_t lParam) override {
    Add("post " + std::to_string(wParam) + "/" + std::to_string(lParam));
    return clock.PostWindowMessage(window, message, wParam, lParam);
  }
  void Reset() {
    clock = sim::VirtualPlatform{};
    entries.clear();
    runStatus_ = -1;
  }

  sim::VirtualPlatform clock;
  Lines entries;

 private:
  int32_t After(int32_t result) override {
    for (const sim::CallRecord& call : drive_.Log().Records()) {
      const bool took = call.operation == kSendISPByte && call.result == 1;
      Add(call.ToString(), took ? call.outputs[0] : -1);
    }
    drive_.Log().Clear();
    return result;
  }
  void Add(std::string entry, int32_t takenStatus = -1) {
    if (takenStatus >= 0 && takenStatus == runStatus_) {
      entries.back() =
          "SendISPByte x" + std::to_string(++run_) + " -> 1 [" + std::to_string(takenStatus) + "]";
      return;
    }
    run_ = 1;
    runStatus_ = takenStatus;
    entries.push_back(std::move(entry));
  }

  int run_ = 0;
  int32_t runStatus_ = -1;
};

Lines Concat(std::initializer_list<Lines> parts) {
  Lines all;
  for (const Lines& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

Lines Posts(int first, int last, int total) {
  Lines posts;
  for (int step = first; step <= last; ++step)
    posts.push_back("post " + std::to_string(step) + "/" + std::to_string(total));
  return posts;
}

// The start of erase and configure: the link type, the logic version read
// twice, SPI_EN on logic 4, and the unlock with the function.
Lines Start(bool serial, int logicVersion, int function) {
  const std::string version = "GetVarFromFPGA(30) -> 1 [" + std::to_string(logicVersion) + "]";
  Lines start = {serial ? "GetCommType() -> 1" : "GetCommType() -> 2", version, version};
  if (logicVersion == 4) start.push_back("PutVarToFPGA(111, 128) -> 1");
  return Concat({start,
                 {"PutVarToFPGA(77, 85) -> 1", "PutVarToFPGA(77, 170) -> 1",
                  "PutVarToFPGA(77, " + std::to_string(function) + ") -> 1"}});
}

using Fault = std::function<void(sim::VirtualDrive&)>;

Fault Fail(sim::Operation operation, int n, int32_t code, std::optional<int32_t> address = std::nullopt) {
  return [=](sim::VirtualDrive& d) { d.Faults().FailCall(operation, n, code, address); };
}

Fault Behave(IspBehaviour behaviour) {
  return [=](sim::VirtualDrive& d) { d.Flash().SetBehaviour(behaviour); };
}

class Flash : public ExportTest {
 protected:
  void SetUp() override {
    ExportTest::SetUp();
    Use(timeline_);
    api::UsePlatformForTesting(&timeline_);
    std::filesystem::create_directories(folder_);
  }
  void TearDown() override {
    api::UsePlatformForTesting(nullptr);
    ExportTest::TearDown();
    std::filesystem::remove_all(folder_);
  }
  void Open(bool serial, int logicVersion) {
    drive_ = sim::VirtualDrive(sim::DriveConfig{.logicVersion = logicVersion, .versionText = "3.0A"});
    ASSERT_EQ(serial ? drive_.InitComPort(1, 19200) : drive_.InitMotoBus({}), 1);
    drive_.Log().Clear();
    timeline_.Reset();
  }
  std::string Write(const std::string& name, const std::string& text) {
    const std::string path = (folder_ / name).string();
    std::ofstream(path, std::ios::binary) << text;
    return path;
  }
  Lines Tail(std::size_t count) const {
    return Lines(timeline_.entries.end() - count, timeline_.entries.end());
  }

  sim::VirtualDrive drive_;
  Timeline timeline_{drive_};
  // One process runs one test under ctest.
  const std::filesystem::path folder_ =
      std::filesystem::temp_directory_path() / ("svodb_flash_" + std::to_string(getpid()));
};

TEST_F(Flash, AnIscFileProgramsAndVerifiesOverTheSerialLink) {
  Open(true, 3);
  const std::vector<uint8_t> image = RandomBytes(kIscImageBytes, 11);
  const std::string path = Write("config.isc", MakeIscFile(image));
  ASSERT_EQ(HandleISCFile_SVODB(path.c_str(), 0, kWindow, 0), 1);

  // Reading: step 0, a step per 25 rows, the end of the file; nothing sent.
  Lines expected = Concat({Posts(0, 21, 542),
                           {"GetCommType() -> 1", "post 22/542", "PutVarToFPGA(77, 85) -> 1", "post 23/542",
                            "PutVarToFPGA(77, 170) -> 1", "PutVarToFPGA(77, 3) -> 1", "post 24/542",
                            "ChangeBaudRate(115200) -> 1", "GetISPStatus(16000) -> 1 [4]",
                            "GetISPStatus(16000) -> 1 [4]", "GetISPStatus(16000) -> 1 [1]"},
                           Posts(25, 26, 542)});
  for (int row = 0; row < 512; ++row)
    expected = Concat({expected,
                       {"SendISPByte x512 -> 1 [1]", "GetISPStatus(6000) -> 1 [1]"},
                       Posts(27 + row, 27 + row, 542)});
  expected = Concat({expected,
                     {"post 539/542", "GetISPStatus(16000) -> 1 [2]", "post 540/542"},
                     kClosing,
                     {"post 541/542"}});
  EXPECT_EQ(timeline_.entries, expected);
  const std::vector<uint8_t>& flash = drive_.Flash().Bytes();
  EXPECT_TRUE(std::equal(image.begin(), image.end(), flash.begin()));
  EXPECT_TRUE(std::all_of(flash.begin() + kIscImageBytes, flash.end(), [](uint8_t b) { return b == 0xFF; }));

  // Any flag but 0 verifies. One byte of the last row differs: the drive
  // reports the verify failed where it would report finished.
  drive_.Flash().SetByte(kIscImageBytes - 3, static_cast<uint8_t>(~image[kIscImageBytes - 3]));
  timeline_.Reset();
  EXPECT_EQ(HandleISCFile_SVODB(path.c_str(), 2, kWindow, 0), 4);
  EXPECT_EQ(timeline_.entries[27], "PutVarToFPGA(77, 5) -> 1");
  EXPECT_EQ(drive_.Flash().LastVerify().firstDifference, kIscImageBytes - 3);
  EXPECT_EQ(Tail(3),
            (Lines{"GetISPStatus(16000) -> 1 [8]", "SendISPByte(0) -> 1 [8]", "ChangeBaudRate(19200) -> 1"}));
}

// On the network a byte answered "not yet taken" is polled for until it
// is taken, up to ten times.
TEST_F(Flash, AnI00FileProgramsTheWholeFlashOverTheNetwork) {
  Open(false, 4);
  const std::vector<uint8_t> image = RandomBytes(kI00ImageBytes, 12);
  const std::string path = Write("config.i00", MakeI00File(image, 4));
  drive_.Flash().SetNetworkBacklog(1024 * 256 + 1, 2);  // the first byte of block 1024 waits
  ASSERT_EQ(HandleI00File_SVODB(path.c_str(), 0, kWindow, 0), 1);

  Lines expected =
      Concat({{"post 0/2058", "GetVarFromFPGA(30) -> 1 [4]", "GetVarFromFPGA(30) -> 1 [4]"},
              {"post 1/2058", "GetCommType() -> 2", "PutVarToFPGA(111, 128) -> 1", "post 2/2058"},
              {"PutVarToFPGA(77, 85) -> 1", "post 3/2058", "PutVarToFPGA(77, 170) -> 1"},
              {"PutVarToFPGA(77, 3) -> 1", "post 4/2058", "GetISPStatus(16000) -> 1 [4]"},
              {"GetISPStatus(16000) -> 1 [4]", "GetISPStatus(16000) -> 1 [1]"},
              Posts(5, 6, 2058)});
  const Lines waited = {"SendISPByte(" + std::to_string(image[1024 * 256]) + ") -> 1 [0]",
                        "GetISPStatus(6000) -> 1 [0]", "GetISPStatus(6000) -> 1 [0]",
                        "GetISPStatus(6000) -> 1 [1]", "SendISPByte x255 -> 1 [1]"};
  for (int block = 0; block < 2047; ++block)
    expected = Concat({expected, block == 1024 ? waited : Lines{"SendISPByte x256 -> 1 [1]"},
                       Posts(7 + block, 7 + block, 2058)});
  // The byte that fills the flash is answered "finished": no done wait.
  expected =
      Concat({expected,
              {"SendISPByte x255 -> 1 [1]", "SendISPByte(" + std::to_string(image.back()) + ") -> 1 [2]"},
              Posts(2054, 2056, 2058),
              {"SendISPByte(0) -> 1 [1]", "PutVarToFPGA(111, 0) -> 1", "post 2057/2058"}});
  EXPECT_EQ(timeline_.entries, expected);
  EXPECT_EQ(drive_.Flash().Bytes(), image);

  drive_.Flash().SetNetworkBacklog(1024 * 256 + 1, 12);
  timeline_.Reset();
  EXPECT_EQ(HandleI00File_SVODB(path.c_str(), 1, kWindow, 0), 1);
  EXPECT_EQ(std::count(timeline_.entries.begin(), timeline_.entries.end(), "GetISPStatus(6000) -> 1 [0]"),
            10);
}

// Erase and configure on each link and logic version, and file runs: the
// waits count ten replies other than busy and give up after 160 s busy; a
// refused byte ends the run with the closing byte's code.
TEST_F(Flash, EveryWayARunEnds) {
  const std::string isc = Write("config.isc", MakeIscFile(RandomBytes(kIscImageBytes, 14)));
  const std::string i00 = Write("config.i00", MakeI00File(RandomBytes(kI00ImageBytes, 15), 4));
  const std::string i00ForLogic3 = Write("ABC-DEF003-GH.i00", MakeI00File(RandomBytes(64, 15), -1));
  const Fault none = [](sim::VirtualDrive&) {};
  const auto twice = [](sim::VirtualDrive& d) {
    Fail(kSendISPByte, 1000, 6)(d);
    Fail(kSendISPByte, 1001, 0)(d);
  };
  const auto doneUnread = [](sim::VirtualDrive& d) {
    Behave(IspBehaviour::kBusyAtEnd)(d);
    Fail(kGetISPStatus, 3 + 2048 + 1, 0)(d);
  };
  const Lines fast = {"ChangeBaudRate(115200) -> 1"};
  const Lines fastClosing = {"ChangeBaudRate(115200) -> 1", "GetISPStatus(20000) -> 1 [2]",
                             "SendISPByte(0) -> 1 [1]", "ChangeBaudRate(19200) -> 1",
                             "PutVarToFPGA(111, 0) -> 1"};
  struct Case {
    const char* what;
    std::string run;  // "erase", "configure" or the file to program
    bool serial;
    int logic;
    Fault fault;
    Result expected;
    int lastStep;  // -1: nothing posted
    Lines tail;
  };
  // clang-format off
  const Case cases[] = {
      {"erase", "erase", true, 4, none, 1, -1, Concat({Start(true, 4, 9), fastClosing})},
      {"erase on the network", "erase", false, 3, none, 1, -1,
       Concat({Start(false, 3, 9), {"GetISPStatus(20000) -> 1 [2]", "SendISPByte(0) -> 1 [1]"}})},
      // Configure leaves the link fast.
      {"configure", "configure", true, 4, none, 1, -1,
       Concat({Start(true, 4, 17),
               {"ChangeBaudRate(115200) -> 1", "sleep 500", "PutVarToFPGA(111, 0) -> 1"}})},
      {"configure on the network", "configure", false, 3, none, 1, -1,
       Concat({Start(false, 3, 17), {"sleep 500"}})},
      {"logic version unread", "erase", true, 4, Fail(kGetVarFromFPGA, 1, 6), 6, -1,
       {"GetCommType() -> 1", "GetVarFromFPGA(30) -> 6"}},
      {"unlock refused", "erase", true, 4, Fail(kPutVarToFPGA, 2, 4, 77), 4, -1,
       {"PutVarToFPGA(77, 85) -> 1", "PutVarToFPGA(77, 170) -> 4"}},
      // The drive's ISP channel runs at 115200 only: the closing byte goes unanswered.
      {"no fast link", "erase", true, 4, Fail(kChangeBaudRate, 1, 2), 0, -1,
       {"ChangeBaudRate(115200) -> 2", "SendISPByte(0) -> 0"}},
      {"status unread", "erase", true, 4, Fail(kGetISPStatus, 1, 0), 16, -1,
       Concat({{"GetISPStatus(20000) -> 0"}, kClosing})},
      {"busy", "erase", true, 4, Behave(IspBehaviour::kBusyForEver), 25, -1,
       Concat({{"GetISPStatus(20000) -> 1 [4]"}, kClosing})},
      // Without SPI_EN a logic-4 drive does not reach its flash.
      {"SPI_EN lost", "erase", true, 4, [](sim::VirtualDrive& d) { d.Faults().DropFpgaWrite(111); }, 16, -1,
       {"GetISPStatus(20000) -> 0", "SendISPByte(0) -> 0", "ChangeBaudRate(19200) -> 1"}},
      {"SPI_EN not off", "erase", true, 4, Fail(kPutVarToFPGA, 5, 6), 6, -1,
       Concat({kClosing, {"PutVarToFPGA(111, 0) -> 6"}})},
      {"configure refused", "configure", true, 4, Fail(kPutVarToFPGA, 4, 6), 6, -1,
       {"PutVarToFPGA(77, 17) -> 6"}},
      {"ISC never ready", isc, true, 3, Behave(IspBehaviour::kNeverReady), 16, 24,
       Concat({fast, Lines(10, "GetISPStatus(16000) -> 1 [8]"), kClosing})},
      {"ISC ready wait read fails", isc, true, 3, Fail(kGetISPStatus, 1, 0), 16, 24,
       Concat({fast, {"GetISPStatus(16000) -> 0"}, kClosing})},
      {"ISC ready after 15 busy replies", isc, true, 3,
       [](sim::VirtualDrive& d) { d.Flash().SetBusyRepliesBeforeReady(15); }, 1, 541, {"post 541/542"}},
      {"ISC byte refused, closing taken", isc, true, 3, Fail(kSendISPByte, 1000, 6), 1, 27,
       kClosing},
      {"ISC byte and closing refused", isc, true, 3, twice, 0, 27,
       {"SendISPByte(0) -> 0", "ChangeBaudRate(19200) -> 1"}},
      {"ISC done wait read fails", isc, true, 3, Fail(kGetISPStatus, 516, 0), 16, 539, kClosing},
      {"ISC busy at the end", isc, true, 3, Behave(IspBehaviour::kBusyAtEnd), 4, 539, kClosing},
      {"I00 for another logic version", i00ForLogic3, true, 4, none, 33, 0, {}},
      {"I00 version unread", i00, true, 4, Fail(kGetVarFromFPGA, 2, 6), 33, 0, {}},
      {"I00 busy for ever", i00, true, 4, Behave(IspBehaviour::kBusyForEver), 16, 4,
       Concat({fast, Lines(160, "GetISPStatus(16000) -> 1 [4]"), kClosing})},
      {"I00 done wait read fails", i00, true, 4, doneUnread, 42, 2055, kClosing},
  };
  // clang-format on
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    Open(c.serial, c.logic);
    drive_.Flash().SetByte(77, 0);
    c.fault(drive_);
    const bool file = c.run.find('.') != std::string::npos;
    if (file) timeline_.clock.SetTickPerRead(1000);  // a second a read: a busy wait ends in 160 reads
    const auto handle = c.run.ends_with(".isc") ? HandleISCFile_SVODB : HandleI00File_SVODB;
    const Result result = file               ? handle(c.run.c_str(), 0, kWindow, 0)
                          : c.run == "erase" ? EraseFlash_SVODB()
                                             : ConfigFlash_SVODB();
    EXPECT_EQ(result, c.expected);
    const std::vector<sim::PostedMessage>& posted = timeline_.clock.Posted();
    ASSERT_EQ(posted.size(), static_cast<std::size_t>(c.lastStep + 1));
    for (std::size_t i = 0; i < posted.size(); ++i)
      EXPECT_TRUE(posted[i].window == kWindow && posted[i].message == 0x40E && posted[i].wParam == i) << i;
    const bool whole = !file && c.expected == 1;
    EXPECT_EQ(Tail(whole ? timeline_.entries.size() : c.tail.size()), c.tail);
    if (!whole) continue;
    const bool erase = c.run == "erase";
    EXPECT_EQ(std::tuple(drive_.Flash().Bytes()[77], drive_.Flash().Reconfigurations()),
              std::tuple(erase ? 0xFF : 0, erase ? 0 : 1));
  }
  NoTransport absent;  // no transport library: the logic version does not read
  Use(absent);
  EXPECT_EQ(EraseFlash_SVODB(), 0);
  EXPECT_EQ(ConfigFlash_SVODB(), 0);
  EXPECT_EQ(HandleISCFile_SVODB((folder_ / "missing.isc").string().c_str(), 0, kWindow, 0), 31);
  EXPECT_EQ(HandleI00File_SVODB((folder_ / "missing.i00").string().c_str(), 0, kWindow, 0), 31);
  EXPECT_EQ(HandleISCFile_SVODB(nullptr, 0, kWindow, 0), 8);
  EXPECT_EQ(HandleI00File_SVODB(nullptr, 0, kWindow, 0), 8);

  // When the clock stands still, the number of busy replies bounds the wait.
  struct BusyDrive : NoTransport {
    int32_t GetCommType() override { return kSerialConnection; }
    int32_t GetISPStatus(int32_t* status, int32_t) override {
      *status = isp::status::kBusy;
      ++reads;
      return code::kOk;
    }
    uint32_t reads = 0;
  } busy;
  Use(busy);
  timeline_.Reset();
  EXPECT_EQ(HandleISCFile_SVODB(isc.c_str(), 0, kWindow, 0), 16);
  EXPECT_EQ(busy.reads, isp::kBusyReplyLimit);
}

}  // namespace
}  // namespace svodb::testing
