// The four flash exports end to end: generated files program the virtual
// drive's flash and verify against it, with the exact traffic and progress,
// and every way a file run can end.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "api/export_fixture.h"
#include "catalog/result_codes.h"
#include "isp/flash_files.h"
#include "isp/isp_timeline.h"
#include "svodb/svodb.h"

namespace svodb::testing {
namespace {

using Lines = std::vector<std::string>;
using sim::IspBehaviour;
using sim::Operation;

constexpr uintptr_t kWindow = 0x1234;

std::string Post(int step, int total) { return "post " + std::to_string(step) + "/" + std::to_string(total); }

void Append(Lines& lines, std::initializer_list<std::string> more) { lines.insert(lines.end(), more); }

class FlashExports : public ExportTest {
 protected:
  void SetUp() override {
    ExportTest::SetUp();
    Use(transport_);
    api::UsePlatformForTesting(&platform_);
    folder_ = std::filesystem::temp_directory_path() /
              ("svodb_flash_" + std::to_string(getpid()) + "_" +
               std::string(::testing::UnitTest::GetInstance()->current_test_info()->name()));
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
    timeline_.Clear();
  }
  std::string Write(const std::string& name, const std::string& text) {
    const std::string path = (folder_ / name).string();
    std::ofstream(path, std::ios::binary) << text;
    return path;
  }
  std::vector<uintptr_t> Steps() const {
    std::vector<uintptr_t> steps;
    for (const sim::PostedMessage& post : platform_.clock.Posted()) {
      EXPECT_EQ(post.window, kWindow);
      EXPECT_EQ(post.message, 0x40Eu);
      steps.push_back(post.wParam);
    }
    return steps;
  }
  const Lines& Traffic() { return timeline_.Entries(); }

  sim::VirtualDrive drive_;
  Timeline timeline_;
  TimelineTransport transport_{drive_, timeline_};
  TimelinePlatform platform_{timeline_};
  std::filesystem::path folder_;
};

std::vector<uintptr_t> Range(uintptr_t count) {
  std::vector<uintptr_t> steps(count);
  for (uintptr_t i = 0; i < count; ++i) steps[i] = i;
  return steps;
}

TEST_F(FlashExports, AnIscFileProgramsAndVerifiesOverTheSerialLink) {
  Open(true, 3);
  const std::vector<uint8_t> image = RandomBytes(kIscImageBytes, 11);
  const std::string path = Write("config.isc", MakeIscFile(image));
  ASSERT_EQ(HandleISCFile_SVODB(path.c_str(), 0, kWindow, 0), 1);

  // Reading: step 0, a step per 25 rows, the end of the file; nothing sent.
  Lines expected;
  for (int step = 0; step <= 21; ++step) expected.push_back(Post(step, 542));
  Append(expected,
         {"GetCommType() -> 1", Post(22, 542), "PutVarToFPGA(77, 85) -> 1", Post(23, 542),
          "PutVarToFPGA(77, 170) -> 1", "PutVarToFPGA(77, 3) -> 1", Post(24, 542),
          "ChangeBaudRate(115200) -> 1", "GetISPStatus(16000) -> 1 [4]", "GetISPStatus(16000) -> 1 [4]",
          "GetISPStatus(16000) -> 1 [1]", Post(25, 542), Post(26, 542)});
  for (int row = 0; row < 512; ++row)
    Append(expected, {"SendISPByte x512 -> 1 [1]", "GetISPStatus(6000) -> 1 [1]", Post(27 + row, 542)});
  Append(expected, {Post(539, 542), "GetISPStatus(16000) -> 1 [2]", Post(540, 542), "SendISPByte(0) -> 1 [1]",
                    "ChangeBaudRate(19200) -> 1", Post(541, 542)});
  EXPECT_EQ(Traffic(), expected);
  EXPECT_EQ(Steps(), Range(542));
  const std::vector<uint8_t>& flash = drive_.Flash().Bytes();
  EXPECT_TRUE(std::equal(image.begin(), image.end(), flash.begin()));
  EXPECT_TRUE(std::all_of(flash.begin() + kIscImageBytes, flash.end(), [](uint8_t b) { return b == 0xFF; }));

  timeline_.Clear();
  EXPECT_EQ(HandleISCFile_SVODB(path.c_str(), 2, kWindow, 0), 1);  // any flag but 0 verifies
  EXPECT_EQ(Traffic()[27], "PutVarToFPGA(77, 5) -> 1");
  EXPECT_EQ(drive_.Flash().LastVerify().compared, kIscImageBytes);

  // One byte of the last row differs: the drive reports the verify failed
  // where it would report finished.
  drive_.Flash().SetByte(kIscImageBytes - 3, static_cast<uint8_t>(~image[kIscImageBytes - 3]));
  timeline_.Clear();
  EXPECT_EQ(HandleISCFile_SVODB(path.c_str(), 1, kWindow, 0), 4);
  EXPECT_EQ(drive_.Flash().LastVerify().firstDifference, kIscImageBytes - 3);
  EXPECT_EQ(Lines(Traffic().end() - 3, Traffic().end()),
            (Lines{"GetISPStatus(16000) -> 1 [8]", "SendISPByte(0) -> 1 [8]", "ChangeBaudRate(19200) -> 1"}));
}

TEST_F(FlashExports, AnI00FileProgramsTheWholeFlashOverTheNetwork) {
  Open(false, 4);
  const std::vector<uint8_t> image = RandomBytes(kI00ImageBytes, 12);
  const std::string path = Write("config.i00", MakeI00File(image, 4));
  ASSERT_EQ(HandleI00File_SVODB(path.c_str(), 0, kWindow, 0), 1);

  Lines expected;
  Append(expected,
         {Post(0, 2058), "GetVarFromFPGA(30) -> 1 [4]", "GetVarFromFPGA(30) -> 1 [4]", Post(1, 2058),
          "GetCommType() -> 2", "PutVarToFPGA(111, 128) -> 1", Post(2, 2058), "PutVarToFPGA(77, 85) -> 1",
          Post(3, 2058), "PutVarToFPGA(77, 170) -> 1", "PutVarToFPGA(77, 3) -> 1", Post(4, 2058),
          "GetISPStatus(16000) -> 1 [4]", "GetISPStatus(16000) -> 1 [4]", "GetISPStatus(16000) -> 1 [1]",
          Post(5, 2058), Post(6, 2058)});
  for (int block = 0; block < 2047; ++block)
    Append(expected, {"SendISPByte x256 -> 1 [1]", Post(7 + block, 2058)});
  // The byte that fills the flash is answered "finished": no done wait.
  Append(expected, {"SendISPByte x255 -> 1 [1]", "SendISPByte(" + std::to_string(image.back()) + ") -> 1 [2]",
                    Post(2054, 2058), Post(2055, 2058), Post(2056, 2058), "SendISPByte(0) -> 1 [1]",
                    "PutVarToFPGA(111, 0) -> 1", Post(2057, 2058)});
  EXPECT_EQ(Traffic(), expected);
  EXPECT_EQ(Steps(), Range(2058));
  EXPECT_EQ(drive_.Flash().Bytes(), image);
}

TEST_F(FlashExports, AnI00FileVerifiesOverTheSerialLinkUntilABlockDiffers) {
  Open(true, 4);
  const std::vector<uint8_t> image = RandomBytes(kI00ImageBytes, 13);
  const std::string path = Write("ABC-DEF004-GH.i00", MakeI00File(image, -1));
  ASSERT_EQ(HandleI00File_SVODB(path.c_str(), 0, kWindow, 0), 1);
  ASSERT_EQ(HandleI00File_SVODB(path.c_str(), 1, kWindow, 0), 1);
  EXPECT_EQ(drive_.Flash().LastVerify().compared, kI00ImageBytes);
  EXPECT_EQ(drive_.BaudRate(), 19200);
  EXPECT_EQ(drive_.FpgaByte(111), 0);

  drive_.Flash().SetByte(10 * 256 + 7, static_cast<uint8_t>(image[10 * 256 + 7] ^ 0x01));
  timeline_.Clear();
  EXPECT_EQ(HandleI00File_SVODB(path.c_str(), 1, kWindow, 0), 4);
  const Lines tail = {Post(16, 2058),  // after block 9
                      "SendISPByte x7 -> 1 [1]",
                      "SendISPByte x249 -> 1 [8]",
                      "GetISPStatus(6000) -> 1 [8]",
                      "SendISPByte(0) -> 1 [8]",
                      "ChangeBaudRate(19200) -> 1"};
  EXPECT_EQ(Lines(Traffic().end() - 6, Traffic().end()), tail);
  EXPECT_EQ(drive_.Flash().LastVerify().firstDifference, 10 * 256 + 7);
  EXPECT_EQ(drive_.FpgaByte(111), 0x80);  // SPI_EN stays on after a failure
}

struct Abort {
  const char* what;
  const std::string& file;
  std::function<void(sim::VirtualDrive&, sim::VirtualPlatform&)> fault;
  Result expected;
  int lastStep;         // -1: nothing posted
  bool closingAndBack;  // ends with the closing byte and 19200 baud
};

TEST_F(FlashExports, EveryWayAFileRunEnds) {
  const auto fail = [](Operation op, int n, int32_t code) {
    return [=](sim::VirtualDrive& d, sim::VirtualPlatform&) { d.Faults().FailCall(op, n, code); };
  };
  const auto behave = [](IspBehaviour b) {
    return [=](sim::VirtualDrive& d, sim::VirtualPlatform& p) {
      d.Flash().SetBehaviour(b);
      p.SetTickPerRead(1000);
    };
  };
  const std::string isc = Write("config.isc", MakeIscFile(RandomBytes(kIscImageBytes, 14)));
  const std::string i00 = Write("config.i00", MakeI00File(RandomBytes(kI00ImageBytes, 15), 4));
  const std::string i00ForLogic3 = Write("ABC-DEF003-GH.i00", MakeI00File(RandomBytes(64, 15), -1));
  const Abort cases[] = {
      {"ISC never ready", isc, behave(IspBehaviour::kNeverReady), 16, 24, true},
      {"ISC ready wait read fails", isc, fail(Operation::kGetISPStatus, 1, 0), 16, 24, true},
      {"ISC byte refused, closing taken", isc, fail(Operation::kSendISPByte, 1000, 6), 1, 27, true},
      {"ISC done wait read fails", isc, fail(Operation::kGetISPStatus, 516, 0), 16, 539, true},
      {"ISC busy at the end", isc, behave(IspBehaviour::kBusyAtEnd), 4, 539, true},
      {"I00 for another logic version", i00ForLogic3, [](auto&, auto&) {}, 33, 0, false},
      {"I00 version unread", i00, fail(Operation::kGetVarFromFPGA, 2, 6), 33, 0, false},
      {"I00 busy for ever", i00, behave(IspBehaviour::kBusyForEver), 16, 4, true},
      {"I00 done wait read fails", i00,
       [](sim::VirtualDrive& d, sim::VirtualPlatform&) {
         d.Flash().SetBehaviour(IspBehaviour::kBusyAtEnd);
         d.Faults().FailCall(Operation::kGetISPStatus, 3 + 2048 + 1, 0);
       },
       42, 2055, true},
  };
  for (const Abort& c : cases) {
    const bool isIsc = &c.file == &isc;
    Open(true, isIsc ? 3 : 4);
    platform_.clock = sim::VirtualPlatform{};
    c.fault(drive_, platform_.clock);
    const Result result = isIsc ? HandleISCFile_SVODB(c.file.c_str(), 0, kWindow, 0)
                                : HandleI00File_SVODB(c.file.c_str(), 0, kWindow, 0);
    EXPECT_EQ(result, c.expected) << c.what;
    const std::vector<uintptr_t> steps = Steps();
    EXPECT_EQ(steps, Range(static_cast<uintptr_t>(c.lastStep + 1))) << c.what;
    const Lines closing = {"SendISPByte(0) -> 1 [1]", "ChangeBaudRate(19200) -> 1"};
    if (c.closingAndBack) {
      EXPECT_EQ(Lines(Traffic().end() - 2, Traffic().end()), closing) << c.what;
    }
  }
  EXPECT_EQ(HandleISCFile_SVODB((folder_ / "missing.isc").string().c_str(), 0, kWindow, 0), 31);
  EXPECT_EQ(HandleI00File_SVODB((folder_ / "missing.i00").string().c_str(), 0, kWindow, 0), 31);
  EXPECT_EQ(HandleISCFile_SVODB(nullptr, 0, kWindow, 0), 8);
  EXPECT_EQ(HandleI00File_SVODB(nullptr, 0, kWindow, 0), 8);
}

TEST_F(FlashExports, EraseAndConfigureFromTheCInterface) {
  Open(true, 4);
  drive_.Flash().SetByte(5, 0);
  EXPECT_EQ(EraseFlash_SVODB(), 1);
  EXPECT_EQ(drive_.Flash().Bytes()[5], 0xFF);
  EXPECT_EQ(ConfigFlash_SVODB(), 1);
  EXPECT_EQ(drive_.Flash().Reconfigurations(), 1);
  NoTransport none;  // no transport library: the logic version does not read
  Use(none);
  EXPECT_EQ(EraseFlash_SVODB(), 0);
  EXPECT_EQ(ConfigFlash_SVODB(), 0);
}

}  // namespace
}  // namespace svodb::testing
