#include "paramset/online_strings.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "api/export_fixture.h"
#include "catalog/parameter_database.h"
#include "drive/register_map.h"
#include "svodb/svodb.h"
#include "virtual_drive.h"
#include "virtual_platform.h"

namespace svodb {
namespace {

using sim::Operation;
using Lines = std::vector<std::string>;

std::string NvPut(int entry, int data, int result = 1) {
  return "PutVarToEEPROM(" + std::to_string(entry) + ", 127, " + std::to_string(data) + ") -> " +
         std::to_string(result);
}

// The calls of one operation, in order.
Lines CallsOf(const sim::CallLog& log, Operation operation) {
  Lines lines;
  for (const sim::CallRecord& record : log.Records())
    if (record.operation == operation) lines.push_back(record.ToString());
  return lines;
}

class OnlineStrings : public ::testing::Test {
 protected:
  explicit OnlineStrings(sim::DriveConfig config = {}) : drive(std::move(config)) {}
  void SetUp() override {
    ASSERT_EQ(drive.InitComPort(1, 19200), 1);
    drive.Log().Clear();
  }
  std::string Get(const char* name, Result expected = code::kOk) {
    std::string text = "untouched";
    EXPECT_EQ(GetStringOnline(ctx, name, text), expected) << name;
    return text;
  }

  ParameterDatabase db;
  RegisterMap registers;
  sim::VirtualDrive drive;
  sim::VirtualPlatform platform;
  LibraryContext ctx{db, registers, drive, platform};
};

// ------------------------------------------------------------ serial number

TEST_F(OnlineStrings, SerialNumberGoesToEntry255DownwardsPaddedWith255UpToTwentyFour) {
  EXPECT_EQ(PutStringOnline(ctx, "SerialNum", "A1"), code::kOk);
  Lines expected{NvPut(255, 'A'), NvPut(254, '1')};
  for (int entry = 253; entry >= 232; --entry) expected.push_back(NvPut(entry, 255));
  EXPECT_EQ(CallsOf(drive.Log(), Operation::kPutVarToEEPROM), expected);
  EXPECT_EQ(drive.Log().Count(Operation::kGetVarFromEEPROM), 0u);

  drive.Log().Clear();
  EXPECT_EQ(Get("SerialNum"), "A1");
  // The filler in entry 253 ends the read.
  EXPECT_EQ(drive.Log().Count(Operation::kGetVarFromEEPROM), 3u);

  // Codes above 127 travel as negative signed bytes.
  drive.Log().Clear();
  EXPECT_EQ(PutStringOnline(ctx, "SerialNum", "\xC8"), code::kOk);
  EXPECT_EQ(CallsOf(drive.Log(), Operation::kPutVarToEEPROM).front(), NvPut(255, -56));
  EXPECT_EQ(Get("SerialNum"), "\xC8");

  // Twenty-four characters fill every entry; twenty-five are refused.
  drive.Log().Clear();
  const std::string full = "ABCDEFGHIJKLMNOPQRSTUVWX";
  EXPECT_EQ(PutStringOnline(ctx, "SerialNum", full), code::kOk);
  const Lines puts = CallsOf(drive.Log(), Operation::kPutVarToEEPROM);
  ASSERT_EQ(puts.size(), 24u);
  EXPECT_EQ(puts.back(), NvPut(232, 'X'));
  EXPECT_EQ(Get("SerialNum"), full);
  const sim::PersistentState before = drive.SaveState();
  drive.Log().Clear();
  EXPECT_EQ(PutStringOnline(ctx, "SerialNum", full + "Y"), code::kTooLong);
  EXPECT_EQ(drive.Log().Count(Operation::kPutVarToEEPROM), 0u);
  EXPECT_EQ(drive.SaveState(), before);
}

TEST_F(OnlineStrings, StoredZeroOr255EndsTheSerialNumber) {
  struct Case {
    uint8_t entry;
    uint8_t data;
    const char* expected;
  };
  const Case cases[] = {
      {250, 255, "VD220"},  // first five characters
      {250, 0, "VD220"},
      {255, 255, ""},
  };
  for (const Case& c : cases) {  // each ends the number before the previous one
    SCOPED_TRACE(std::to_string(c.entry) + "/" + std::to_string(c.data));
    drive.SetNvEntry(c.entry, {127, c.data});
    drive.Log().Clear();
    EXPECT_EQ(Get("SerialNum"), c.expected);
    EXPECT_EQ(drive.Log().Count(Operation::kGetVarFromEEPROM), std::strlen(c.expected) + 1);
  }
}

TEST_F(OnlineStrings, OtherNamesAreEmptyAndWriteNothing) {
  for (const char* name : {"MTRAddress", "serialnum", "VERLW", "NoSuchName", ""}) {
    SCOPED_TRACE(name);
    drive.Log().Clear();
    EXPECT_EQ(Get(name), "");
    EXPECT_EQ(PutStringOnline(ctx, name, "A1"), code::kOk);
    EXPECT_EQ(drive.Log().Count(Operation::kGetVarFromEEPROM), 0u);
    EXPECT_EQ(drive.Log().Count(Operation::kPutVarToEEPROM), 0u);
    EXPECT_EQ(drive.Log().Count(Operation::kPutVarToFPGA), 0u);
  }
  EXPECT_EQ(db.driveVersion, "");
}

TEST_F(OnlineStrings, TransferFailureStopsAndKeepsWhatWasWritten) {
  drive.Faults().FailCall(Operation::kPutVarToEEPROM, 3, 4);
  EXPECT_EQ(PutStringOnline(ctx, "SerialNum", "XYZ"), 4);
  EXPECT_EQ(CallsOf(drive.Log(), Operation::kPutVarToEEPROM),
            (Lines{NvPut(255, 'X'), NvPut(254, 'Y'), NvPut(253, 'Z', 4)}));
  EXPECT_EQ(drive.NvEntryAt(254).data, 'Y');

  drive.Faults().FailCall(Operation::kGetVarFromEEPROM, 2, 6);
  EXPECT_EQ(Get("SerialNum", 6), "untouched");
}

// ----------------------------------------------------------- logic version

struct VersionCase {
  const char* text;
  uint8_t bytes[3];  // at 509, 510, 511
  uint32_t deadBandWidth;
};

// GoogleTest prints a parameter it has no printer for as raw bytes, the
// struct's padding included, which memory checkers report as uninitialised.
void PrintTo(const VersionCase& c, std::ostream* os) { *os << c.text; }

class OnlineVersionText : public ::testing::TestWithParam<VersionCase> {};

TEST_P(OnlineVersionText, ReadsTheDrivesBytesAndPicksTheDeadBandLayout) {
  const VersionCase& c = GetParam();
  sim::VirtualDrive drive(sim::DriveConfig{.versionText = c.text});
  for (std::size_t k = 0; k < 3; ++k) EXPECT_EQ(drive.MotorByte(509 + k), c.bytes[k]) << k;
  ASSERT_EQ(drive.InitComPort(1, 19200), 1);
  ParameterDatabase db;
  RegisterMap registers;
  sim::VirtualPlatform platform;
  LibraryContext ctx{db, registers, drive, platform};

  std::string text;
  EXPECT_EQ(GetStringOnline(ctx, "VerLW", text), code::kOk);
  EXPECT_EQ(text, c.text);
  EXPECT_EQ(db.driveVersion, c.text);
  EXPECT_EQ(db.powerBoardCode, c.bytes[2]);
  EXPECT_EQ(registers.FindRegister("DeadBand")->descriptor.bitWidth, c.deadBandWidth);
}

INSTANTIATE_TEST_SUITE_P(Drives, OnlineVersionText,
                         ::testing::Values(VersionCase{"3.2A", {0, 2, 3}, 6},
                                           VersionCase{"S1.0B", {1, 0, 129}, 5},
                                           VersionCase{"102.1A", {0, 1, 102}, 6},
                                           VersionCase{"255.0A", {0, 0, 255}, 5}));

TEST_F(OnlineStrings, VersionReadPutsTheMotorDataAddressBack) {
  // MTRAddress 300: bit 8 in register 43, the rest in 42.
  drive.SetFpgaByte(43, 0x01);
  drive.SetFpgaByte(42, 44);
  EXPECT_EQ(Get("VerLW"), "4.0A");
  EXPECT_EQ(drive.FpgaByte(43), 0x01);
  EXPECT_EQ(drive.FpgaByte(42), 44);
  // Bytes 511, 510, 509 in that order, then the caller's address again.
  std::vector<int32_t> addresses;
  for (const sim::CallRecord& record : drive.Log().Records())
    if (record.operation == Operation::kPutVarToFPGA && record.FirstArgument() == 42)
      addresses.push_back(record.arguments[1]);
  EXPECT_EQ(addresses, (std::vector<int32_t>{255, 254, 253, 44}));

  // Putting the address back is part of the read and is tried twice: here
  // both of its writes fail when they read the register's shared byte.
  db.driveVersion = "3.1A";
  drive.Faults().FailCall(Operation::kGetVarFromFPGA, 3, 2, 42);
  drive.Faults().FailCall(Operation::kGetVarFromFPGA, 4, 2, 42);
  EXPECT_EQ(Get("VerLW", 2), "untouched");
  EXPECT_EQ(db.driveVersion, "3.1A");

  // A version byte that cannot be read fails the read, and the address is
  // put back all the same.
  drive.Faults().Clear();
  drive.SetFpgaByte(43, 0x01);
  drive.SetFpgaByte(42, 44);
  drive.Faults().FailEveryCall(Operation::kGetVarFromFPGA, 6, 44);
  EXPECT_EQ(Get("VerLW", 6), "untouched");
  EXPECT_EQ(drive.FpgaByte(43), 0x01);
  EXPECT_EQ(drive.FpgaByte(42), 44);
}

class OnlineStringsOldLogic : public OnlineStrings {
 protected:
  OnlineStringsOldLogic() : OnlineStrings(sim::DriveConfig{.logicVersion = 2, .versionText = "2.1A"}) {}
};

TEST_F(OnlineStringsOldLogic, BothOperationsRefuseBeforeAnyTransfer) {
  for (const char* name : {"SerialNum", "VerLW", "MTRAddress"}) {
    SCOPED_TRACE(name);
    drive.Log().Clear();
    EXPECT_EQ(Get(name, code::kWrongLogicVersion), "untouched");
    EXPECT_EQ(PutStringOnline(ctx, name, "A1"), code::kWrongLogicVersion);
    // Only LogicVer (register 30) was read.
    for (const sim::CallRecord& record : drive.Log().Records()) {
      EXPECT_EQ(record.operation, Operation::kGetVarFromFPGA);
      EXPECT_EQ(record.FirstArgument(), 30);
    }
    EXPECT_FALSE(drive.Log().Records().empty());
  }
  // The length check comes after the version check.
  EXPECT_EQ(PutStringOnline(ctx, "SerialNum", std::string(30, 'x')), code::kWrongLogicVersion);
  EXPECT_EQ(db.driveVersion, "");
}

}  // namespace

// --------------------------------------------------------------- exports

namespace testing {
namespace {

class OnlineStringExports : public ExportTest {
 protected:
  void SetUp() override {
    ExportTest::SetUp();
    ASSERT_EQ(drive_.InitComPort(1, 19200), 1);
    drive_.Log().Clear();
    Use(drive_);
  }
  sim::VirtualDrive drive_;
};

TEST_F(OnlineStringExports, SerialNumberRoundTripFillsExactlyTheCallersBuffer) {
  const char* full = "0123456789ABCDEFGHIJKLMN";
  EXPECT_EQ(PutStringOnline_SVODB("SerialNum", full), 1);
  char text[SVODB_ONLINE_TEXT_SIZE + 1];
  std::memset(text, '#', sizeof text);
  EXPECT_EQ(GetStringOnline_SVODB("SerialNum", 77, text), 1);
  EXPECT_STREQ(text, full);
  EXPECT_EQ(text[SVODB_ONLINE_TEXT_SIZE], '#');
  EXPECT_EQ(GetStringOnline_SVODB("VerLW", 0, text), 1);
  EXPECT_STREQ(text, "4.0A");
  EXPECT_EQ(api::Context().db.driveVersion, "4.0A");
}

TEST_F(OnlineStringExports, NullPointersAndMissingDrive) {
  char text[SVODB_ONLINE_TEXT_SIZE] = "kept";
  EXPECT_EQ(GetStringOnline_SVODB(nullptr, 0, text), 8);
  EXPECT_EQ(GetStringOnline_SVODB("SerialNum", 0, nullptr), 8);
  EXPECT_EQ(PutStringOnline_SVODB(nullptr, "A1"), 8);
  EXPECT_EQ(PutStringOnline_SVODB("SerialNum", nullptr), 8);
  EXPECT_EQ(drive_.Log().TotalCount(), 0u);

  NoTransport none;
  Use(none);
  EXPECT_EQ(GetStringOnline_SVODB("SerialNum", 0, text), 0);
  EXPECT_EQ(PutStringOnline_SVODB("SerialNum", "A1"), 0);
  EXPECT_STREQ(text, "kept");
}

}  // namespace
}  // namespace testing
}  // namespace svodb
