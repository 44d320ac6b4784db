// The serial number and the version text, read from and written to the
// drive: the exact traffic, where it stops, and what the exports hand back.
#include "paramset/online_strings.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "paramset/set_fixture.h"

namespace svodb::testing {
namespace {

using sim::Operation;
using Lines = std::vector<std::string>;

// Both operations check the drive's logic version first.
const std::string kLogicRead = "GetVarFromFPGA(30) -> 1 [4]";

std::string NvPut(int entry, int data, int result = 1) {
  return "PutVarToEEPROM(" + std::to_string(entry) + ", 127, " + std::to_string(data) + ") -> " +
         std::to_string(result);
}

class OnlineStrings : public ::testing::Test, public World {
 protected:
  explicit OnlineStrings(const sim::DriveConfig& config = {}) : World(config) { db.driveVersion.clear(); }
  std::string Get(const char* name, Result expected = code::kOk) {
    std::string text = "untouched";
    EXPECT_EQ(GetStringOnline(ctx, name, text), expected) << name;
    return text;
  }
  // The calls of one operation, in order.
  Lines CallsOf(Operation operation) const {
    Lines lines;
    for (const sim::CallRecord& record : drive.Log().Records())
      if (record.operation == operation) lines.push_back(record.ToString());
    return lines;
  }
};

// The serial number goes to entry 255 downwards as signed bytes, padded
// with 255 up to twenty-four entries; a stored 0 or 255 ends it on reading.
TEST_F(OnlineStrings, SerialNumber) {
  EXPECT_EQ(PutStringOnline(ctx, "SerialNum", "A1"), code::kOk);
  Lines expected{kLogicRead, kLogicRead, NvPut(255, 'A'), NvPut(254, '1')};
  for (int entry = 253; entry >= 232; --entry) expected.push_back(NvPut(entry, 255));
  EXPECT_EQ(drive.Log().Lines(), expected);
  drive.Log().Clear();
  EXPECT_EQ(Get("SerialNum"), "A1");
  EXPECT_EQ(drive.Log().Count(Operation::kGetVarFromEEPROM), 3u);  // the filler in entry 253 ends the read

  drive.Log().Clear();
  EXPECT_EQ(PutStringOnline(ctx, "SerialNum", "\xC8"), code::kOk);
  EXPECT_EQ(CallsOf(Operation::kPutVarToEEPROM).front(), NvPut(255, -56));
  EXPECT_EQ(Get("SerialNum"), "\xC8");

  const std::string full = "ABCDEFGHIJKLMNOPQRSTUVWX";
  drive.Log().Clear();
  EXPECT_EQ(PutStringOnline(ctx, "SerialNum", full), code::kOk);
  EXPECT_EQ(CallsOf(Operation::kPutVarToEEPROM).size(), 24u);
  EXPECT_EQ(CallsOf(Operation::kPutVarToEEPROM).back(), NvPut(232, 'X'));
  EXPECT_EQ(Get("SerialNum"), full);
  const sim::PersistentState before = drive.SaveState();
  drive.Log().Clear();
  EXPECT_EQ(PutStringOnline(ctx, "SerialNum", full + "Y"), code::kTooLong);
  EXPECT_EQ(drive.Log().Lines(), Lines(2, kLogicRead));
  EXPECT_EQ(drive.SaveState(), before);

  const struct {
    uint8_t entry, data;
    const char* expected;
  } ends[] = {{250, 255, "ABCDE"}, {250, 0, "ABCDE"}, {255, 255, ""}};
  for (const auto& c : ends) {  // each ends the number before the previous one
    drive.SetNvEntry(c.entry, {127, c.data});
    drive.Log().Clear();
    EXPECT_EQ(Get("SerialNum"), c.expected);
    EXPECT_EQ(drive.Log().Count(Operation::kGetVarFromEEPROM), std::strlen(c.expected) + 1);
  }
}

TEST_F(OnlineStrings, OtherNamesAreEmptyAndWriteNothing) {
  for (const char* name : {"MTRAddress", "serialnum", "VERLW", "NoSuchName", ""}) {
    drive.Log().Clear();
    EXPECT_EQ(Get(name), "");
    EXPECT_EQ(PutStringOnline(ctx, name, "A1"), code::kOk);
    EXPECT_EQ(drive.Log().Lines(), Lines(4, kLogicRead)) << name;
  }
  EXPECT_EQ(db.driveVersion, "");
}

TEST_F(OnlineStrings, TransferFailureStopsAndKeepsWhatWasWritten) {
  drive.Faults().FailCall(Operation::kPutVarToEEPROM, 3, 4);
  EXPECT_EQ(PutStringOnline(ctx, "SerialNum", "XYZ"), 4);
  EXPECT_EQ(drive.Log().Lines(),
            (Lines{kLogicRead, kLogicRead, NvPut(255, 'X'), NvPut(254, 'Y'), NvPut(253, 'Z', 4)}));
  EXPECT_EQ(drive.NvEntryAt(254).data, 'Y');
  drive.Faults().FailCall(Operation::kGetVarFromEEPROM, 2, 6);
  EXPECT_EQ(Get("SerialNum", 6), "untouched");
}

// The version text's bytes (509-511) come through the motor data window,
// from logic 3 on; the power board's byte decides the DeadBand layout.
TEST(OnlineVersionText, ReadsTheDrivesBytesAndPicksTheDeadBandLayout) {
  const struct {
    int32_t logic;
    const char* text;
    uint8_t powerBoard;
    uint32_t deadBandWidth;
  } cases[] = {{3, "3.2A", 3, 6}, {4, "S1.0B", 129, 5}, {4, "102.1A", 102, 6}, {4, "255.0A", 255, 5}};
  for (const auto& c : cases) {
    World world(sim::DriveConfig{.logicVersion = c.logic, .versionText = c.text});
    std::string text;
    EXPECT_EQ(GetStringOnline(world.ctx, "VerLW", text), code::kOk);
    EXPECT_EQ(text, c.text);
    EXPECT_EQ(world.db.driveVersion, c.text);
    EXPECT_EQ(world.db.powerBoardCode, c.powerBoard);
    EXPECT_EQ(world.registers.FindRegister("DeadBand")->descriptor.bitWidth, c.deadBandWidth) << c.text;
  }
}

TEST_F(OnlineStrings, VersionReadPutsTheMotorDataAddressBack) {
  // MTRAddress 300: bit 8 in register 43, the rest in 42.
  drive.SetFpgaByte(43, 0x01);
  drive.SetFpgaByte(42, 44);
  EXPECT_EQ(Get("VerLW"), "4.0A");
  EXPECT_EQ(std::pair(drive.FpgaByte(43), drive.FpgaByte(42)), (std::pair<uint8_t, uint8_t>(0x01, 44)));
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
  EXPECT_EQ(std::pair(drive.FpgaByte(43), drive.FpgaByte(42)), (std::pair<uint8_t, uint8_t>(0x01, 44)));
}

class OnlineStringsOldLogic : public OnlineStrings {
 protected:
  OnlineStringsOldLogic() : OnlineStrings(sim::DriveConfig{.logicVersion = 2, .versionText = "2.1A"}) {}
};

// Only LogicVer (register 30) is read, twice, before the refusal; the
// length check comes after the version check.
TEST_F(OnlineStringsOldLogic, BothOperationsRefuseBeforeAnyTransfer) {
  for (const char* name : {"SerialNum", "VerLW", "MTRAddress"}) {
    drive.Log().Clear();
    EXPECT_EQ(Get(name, code::kWrongLogicVersion), "untouched");
    EXPECT_EQ(PutStringOnline(ctx, name, "A1"), code::kWrongLogicVersion);
    EXPECT_EQ(drive.Log().Lines(), Lines(4, "GetVarFromFPGA(30) -> 1 [2]")) << name;
  }
  EXPECT_EQ(PutStringOnline(ctx, "SerialNum", std::string(30, 'x')), code::kWrongLogicVersion);
  EXPECT_EQ(db.driveVersion, "");
}

// Through the exports the text fills exactly the caller's buffer; null
// pointers are refused before any traffic, and without a drive nothing is
// written to the buffer.
TEST_F(OnlineStrings, Exports) {
  api::ResetForTesting();
  api::UseTransportForTesting(&drive);
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
  drive.Log().Clear();
  EXPECT_EQ(GetStringOnline_SVODB(nullptr, 0, text), 8);
  EXPECT_EQ(GetStringOnline_SVODB("SerialNum", 0, nullptr), 8);
  EXPECT_EQ(PutStringOnline_SVODB(nullptr, "A1"), 8);
  EXPECT_EQ(PutStringOnline_SVODB("SerialNum", nullptr), 8);
  EXPECT_EQ(drive.Log().TotalCount(), 0u);
  NoTransport none;  // no drive at all
  api::UseTransportForTesting(&none);
  EXPECT_EQ(GetStringOnline_SVODB("SerialNum", 0, text), 0);
  EXPECT_EQ(PutStringOnline_SVODB("SerialNum", "A1"), 0);
  EXPECT_STREQ(text, "4.0A");
  api::UseTransportForTesting(nullptr);
  api::ResetForTesting();
}

}  // namespace
}  // namespace svodb::testing
