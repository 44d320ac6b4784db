// The serial number and the version text, read from and written to the
// drive: the exact traffic, where it stops, and what the exports hand back.
#include "paramset/online_strings.h"

#include <gtest/gtest.h>

#include <cstring>
#include <span>
#include <string>
#include <vector>

#include "paramset/set_fixture.h"

namespace svodb::testing {
namespace {

using sim::Operation;
using Lines = std::vector<std::string>;

// Both operations check the drive's logic version first, reading it twice.
std::string LogicRead(int logic = 4) { return "GetVarFromFPGA(30) -> 1 [" + std::to_string(logic) + "]"; }

std::string NvPut(int entry, int data, int result = 1) {
  return "PutVarToEEPROM(" + std::to_string(entry) + ", 127, " + std::to_string(data) + ") -> " +
         std::to_string(result);
}

std::string Get(World& world, const char* name, Result expected = code::kOk) {
  std::string text = "untouched";
  EXPECT_EQ(GetStringOnline(world.ctx, name, text), expected) << name;
  return text;
}

// The serial number goes to entry 255 downwards as signed bytes, padded
// with 255 up to twenty-four entries; a stored 0 or 255 ends it on reading.
TEST(OnlineStrings, SerialNumber) {
  World world;
  const std::string full = "ABCDEFGHIJKLMNOPQRSTUVWX";
  const struct {
    std::string text;
    Result expected;
    Lines puts;         // the first two and the last of the 24 NV writes
    std::size_t reads;  // NV reads of the number read back
  } cases[] = {
      {"A1", code::kOk, {NvPut(255, 'A'), NvPut(254, '1'), NvPut(232, 255)}, 3},  // entry 253 ends the read
      {"\xC8", code::kOk, {NvPut(255, -56), NvPut(254, 255), NvPut(232, 255)}, 2},
      {full, code::kOk, {NvPut(255, 'A'), NvPut(254, 'B'), NvPut(232, 'X')}, 24},
      {full + "Y", code::kTooLong, {}, 24},  // refused after the logic check
  };
  for (const auto& c : cases) {
    world.drive.Log().Clear();
    EXPECT_EQ(PutStringOnline(world.ctx, "SerialNum", c.text), c.expected);
    Lines calls = world.drive.Log().Lines(), expected(2, LogicRead());
    ASSERT_EQ(calls.size(), c.puts.empty() ? 2u : 26u) << c.text;
    if (!c.puts.empty()) calls.erase(calls.begin() + 4, calls.end() - 1);
    expected.insert(expected.end(), c.puts.begin(), c.puts.end());
    EXPECT_EQ(calls, expected) << c.text;
    world.drive.Log().Clear();
    EXPECT_EQ(Get(world, "SerialNum"), c.text.substr(0, 24));
    EXPECT_EQ(world.drive.Log().Count(Operation::kGetVarFromEEPROM), c.reads) << c.text;
  }
  const struct {
    uint8_t entry, data;
    const char* expected;
  } ends[] = {{250, 255, "ABCDE"}, {250, 0, "ABCDE"}, {255, 255, ""}};
  for (const auto& c : ends) {  // each ends the number before the previous one
    world.drive.SetNvEntry(c.entry, {127, c.data});
    world.drive.Log().Clear();
    EXPECT_EQ(Get(world, "SerialNum"), c.expected);
    EXPECT_EQ(world.drive.Log().Count(Operation::kGetVarFromEEPROM), std::strlen(c.expected) + 1);
  }
  world.drive.Faults().FailCall(Operation::kGetVarFromEEPROM, 1, 6);
  EXPECT_EQ(Get(world, "SerialNum", 6), "untouched");
  // A failed transfer stops the write and keeps what was written.
  world.drive.Log().Clear();
  world.drive.Faults().FailCall(Operation::kPutVarToEEPROM, 3, 4);
  EXPECT_EQ(PutStringOnline(world.ctx, "SerialNum", "XYZ"), 4);
  EXPECT_EQ(world.drive.Log().Lines(),
            (Lines{LogicRead(), LogicRead(), NvPut(255, 'X'), NvPut(254, 'Y'), NvPut(253, 'Z', 4)}));
  EXPECT_EQ(world.drive.NvEntryAt(254).data, 'Y');
}

// Other names read as empty and write nothing; before logic 3 both
// operations are refused after the logic check, before the length check.
TEST(OnlineStrings, OtherNamesAndOlderLogic) {
  for (const auto& [logic, versionText, expected] :
       {std::tuple{4, "4.0A", code::kOk}, {2, "2.1A", code::kWrongLogicVersion}}) {
    World world(sim::DriveConfig{.logicVersion = logic, .versionText = versionText});
    world.db.driveVersion.clear();
    const char* names[] = {"SerialNum", "VerLW", "MTRAddress", "serialnum", "VERLW", "NoSuchName", ""};
    for (const char* name : std::span(names).subspan(expected == code::kOk ? 2 : 0)) {
      world.drive.Log().Clear();
      EXPECT_EQ(Get(world, name, expected), expected == code::kOk ? "" : "untouched");
      EXPECT_EQ(PutStringOnline(world.ctx, name, expected == code::kOk ? "A1" : std::string(30, 'x')),
                expected);
      EXPECT_EQ(world.drive.Log().Lines(), Lines(4, LogicRead(logic))) << name;
    }
    EXPECT_EQ(world.db.driveVersion, "");
  }
}

// The version text's bytes (509-511) come through the motor data window,
// from logic 3 on; the power board's byte decides the DeadBand layout.
TEST(OnlineStrings, VersionTextPicksTheDeadBandLayout) {
  const struct {
    int32_t logic;
    const char* text;
    uint8_t powerBoard;
    uint32_t deadBandWidth;
  } cases[] = {{3, "3.2A", 3, 6}, {4, "S1.0B", 129, 5}, {4, "102.1A", 102, 6}, {4, "255.0A", 255, 5}};
  for (const auto& c : cases) {
    World world(sim::DriveConfig{.logicVersion = c.logic, .versionText = c.text});
    EXPECT_EQ(Get(world, "VerLW"), c.text);
    EXPECT_EQ(world.db.driveVersion, c.text);
    EXPECT_EQ(world.db.powerBoardCode, c.powerBoard);
    EXPECT_EQ(world.registers.FindRegister("DeadBand")->descriptor.bitWidth, c.deadBandWidth) << c.text;
  }
}

// The read puts the caller's motor data address (300: bit 8 in register
// 43, the rest in 42) back after bytes 511, 510 and 509, also when a byte
// cannot be read; failing both tries to put it back fails the read.
TEST(OnlineStrings, VersionReadPutsTheMotorDataAddressBack) {
  World world;
  world.drive.SetFpgaByte(43, 0x01);
  world.drive.SetFpgaByte(42, 44);
  EXPECT_EQ(Get(world, "VerLW"), "4.0A");
  std::vector<int32_t> addresses;
  for (const sim::CallRecord& record : world.drive.Log().Records())
    if (record.operation == Operation::kPutVarToFPGA && record.FirstArgument() == 42)
      addresses.push_back(record.arguments[1]);
  EXPECT_EQ(addresses, (std::vector<int32_t>{255, 254, 253, 44}));
  world.db.driveVersion = "3.1A";
  world.drive.Faults().FailEveryCall(Operation::kGetVarFromFPGA, 6, 44);
  EXPECT_EQ(Get(world, "VerLW", 6), "untouched");
  EXPECT_EQ(std::pair(world.drive.FpgaByte(43), world.drive.FpgaByte(42)),
            (std::pair<uint8_t, uint8_t>(1, 44)));
  world.drive.Faults().Clear();
  world.drive.Faults().FailCall(Operation::kGetVarFromFPGA, 3, 2, 42);
  world.drive.Faults().FailCall(Operation::kGetVarFromFPGA, 4, 2, 42);
  EXPECT_EQ(Get(world, "VerLW", 2), "untouched");
  EXPECT_EQ(world.db.driveVersion, "3.1A");
}

// Through the exports the text fills exactly the caller's buffer; null
// pointers are refused before any traffic, and without a drive nothing is
// written to the buffer.
using StringExports = DriveExports;

TEST_F(StringExports, OnlineStrings) {
  ASSERT_EQ(drive_.InitComPort(drive_.Config().serialPort, 19200), 1);
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
  drive_.Log().Clear();
  EXPECT_EQ(GetStringOnline_SVODB(nullptr, 0, text), 8);
  EXPECT_EQ(GetStringOnline_SVODB("SerialNum", 0, nullptr), 8);
  EXPECT_EQ(PutStringOnline_SVODB(nullptr, "A1"), 8);
  EXPECT_EQ(PutStringOnline_SVODB("SerialNum", nullptr), 8);
  EXPECT_EQ(drive_.Log().TotalCount(), 0u);
  NoTransport none;  // no drive at all
  Use(none);
  EXPECT_EQ(GetStringOnline_SVODB("SerialNum", 0, text), 0);
  EXPECT_EQ(PutStringOnline_SVODB("SerialNum", "A1"), 0);
  EXPECT_STREQ(text, "4.0A");
}

}  // namespace
}  // namespace svodb::testing
