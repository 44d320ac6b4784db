// The virtual drive as the other tests lean on it: the power-up replay,
// the fault plan, the state file and what unlocks the configuration flash.
// The factory image is checked by every value the other tests read, the
// call log by every traffic test, the flash file by the tool's flash tests.
#include "virtual_drive.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "config_flash.h"
#include "drive_state_file.h"

namespace svodb::sim {
namespace {

constexpr int32_t kUntouched = -77;

int32_t Read(VirtualDrive& drive, int32_t address) {
  int32_t value = kUntouched;
  EXPECT_EQ(drive.GetVarFromFPGA(address, &value, nullptr), 1) << "address " << address;
  return value;
}

NvEntry ReadNv(VirtualDrive& drive, int32_t entry) {
  int32_t reg = kUntouched, data = kUntouched;
  EXPECT_EQ(drive.GetVarFromEEPROM(entry, &reg, &data), 1) << "entry " << entry;
  return NvEntry{static_cast<uint8_t>(reg), static_cast<uint8_t>(data)};
}

class OpenDrive : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(drive.InitComPort(1, 19200), 1);
    drive.Log().Clear();
  }
  VirtualDrive drive;
};

TEST_F(OpenDrive, PowerCycleReplaysNvOverTheHardwareState) {
  drive.SetNvEntry(23, {16, 0x37});
  drive.SetNvEntry(74, {108, 0x11});  // BQ0B2's low byte in its indirect sequence
  drive.SetNvEntry(3, {4, 0x00});     // cannot change the model
  EXPECT_EQ(drive.NVEraseUnit(0), 1);
  EXPECT_EQ(drive.PutVarToFPGA(111, 0x80), 1);  // SPI_EN has no NV copy: lost
  drive.SetMoving(true);
  drive.PowerCycle();
  EXPECT_EQ(Read(drive, 16), 0x37);
  EXPECT_EQ(drive.BiquadByte(0), 0x11);
  EXPECT_EQ(Read(drive, 4), 0xF8);
  EXPECT_EQ(Read(drive, 1), 0x00);
  EXPECT_EQ(Read(drive, 111), 0x00);
  EXPECT_FALSE(drive.IsMoving());
  EXPECT_EQ(drive.Log().Count(Operation::kPutVarToFPGA), 1u);  // the replay is not bus traffic
}

// The fault-injection tests elsewhere show each plan fires; these are the
// rules for when a plan is spent.
TEST_F(OpenDrive, FaultPlansAreSpentAsArmed) {
  drive.Faults().FailCall(Operation::kGetVarFromFPGA, 2, 6, 16);  // the 2nd read of register 16
  EXPECT_EQ(drive.GetVarFromFPGA(17, nullptr, nullptr), 1);
  EXPECT_EQ(drive.GetVarFromFPGA(16, nullptr, nullptr), 1);
  EXPECT_EQ(drive.GetVarFromFPGA(16, nullptr, nullptr), 6);
  EXPECT_TRUE(drive.Faults().IsEmpty());
  drive.Faults().ReportWrongNvRegister(23, 99);  // until the entry is written
  EXPECT_EQ(ReadNv(drive, 23), (NvEntry{99, 0x04}));
  EXPECT_EQ(ReadNv(drive, 23), (NvEntry{99, 0x04}));
  EXPECT_EQ(drive.PutVarToEEPROM(23, 16, 0x05), 1);
  EXPECT_EQ(ReadNv(drive, 23), (NvEntry{16, 0x05}));
  drive.Faults().EraseAnswersBusy(24);
  EXPECT_EQ(drive.NVEraseUnit(24), 2);
  EXPECT_EQ(drive.NVEraseUnit(24), 1);
}

TEST(VirtualDriveState, TextRoundTripAndDamagedFilesRejectedWhole) {
  VirtualDrive first;
  first.SetNvEntry(23, {16, 0x37});
  first.SetFpgaByte(100, 0x5A);
  const WorkingRegisters working = first.SaveWorkingRegisters();
  const std::string text = FormatState(first.SaveState(), &working);
  EXPECT_EQ(text.rfind("svodb-virtual-drive-state 1\n", 0), 0u);
  EXPECT_NE(text.find("\nnv 23 16 55\n"), std::string::npos);
  EXPECT_NE(text.find("\nregister 96 00 00 00 00 5a "), std::string::npos);
  const auto saved = ParseSavedDrive(text);
  ASSERT_TRUE(saved && saved->working);
  VirtualDrive second(DriveConfig{.versionText = "3.2N"});
  second.RestoreState(saved->persistent);
  second.ResumeWorkingRegisters(*saved->working);
  EXPECT_EQ(second.FpgaByte(100), 0x5A);
  second.PowerCycle();
  EXPECT_EQ(second.FpgaByte(100), 0);
  EXPECT_EQ(second.FpgaByte(16), 0x37);
  EXPECT_EQ(second.MotorByte(509), 13);  // the logic keeps its own version

  const auto replaced = [&](const std::string& from, const std::string& to) {
    std::string changed = text;
    changed.replace(changed.find(from), from.size(), to);
    return changed;
  };
  for (const std::string& damaged :
       {replaced("state 1", "state 2"), replaced("nv 23 16 55\n", ""), replaced("nv 24 ", "nv 23 "),
        replaced("nv 23 16 55\n", "nv 23 16 256\n"), replaced("nv 23 16 55\n", "nv 23 16 55 9\n"),
        replaced("biquad 16 ", "biquad 17 "), "# a comment\n" + text})
    EXPECT_FALSE(ParseSavedDrive(damaged)) << damaged.substr(0, 40);
  EXPECT_TRUE(ParseSavedDrive(replaced("nv 23 16 55\n", "# kept\r\n\nnv 23 16 55\r\n")));
  EXPECT_FALSE(ReadStateFile(std::filesystem::temp_directory_path() / "svodb_no_such.state"));
}

TEST(ConfigFlashUnlock, OnlyTheWholeKeyThenAFunctionStartsTheEngine) {
  struct Case {
    std::vector<int32_t> writes;
    IspFunction started;
  };
  const Case cases[] = {
      {{0x55, 0xAA, 3}, IspFunction::kProgram}, {{0x55, 0xAA, 5}, IspFunction::kVerify},
      {{0x55, 0xAA, 9}, IspFunction::kErase},   {{0x55, 0x55, 0xAA, 3}, IspFunction::kProgram},
      {{0xAA, 0x55, 3}, IspFunction::kNone},    {{0x55, 0x00, 0xAA, 3}, IspFunction::kNone},
      {{0x55, 0xAA, 7}, IspFunction::kNone},    {{0x55, 0xAA, 3, 3}, IspFunction::kProgram},
  };
  for (const Case& c : cases) {
    VirtualDrive drive(DriveConfig{.logicVersion = 3, .versionText = "3.0A"});
    ASSERT_EQ(drive.InitMotoBus({}), 1);
    for (const int32_t value : c.writes) ASSERT_EQ(drive.PutVarToFPGA(77, value), 1);
    EXPECT_EQ(drive.Flash().ActiveFunction(), c.started) << ::testing::PrintToString(c.writes);
  }
  // Logic 4 reaches its flash only with SPI_EN on.
  VirtualDrive drive;
  ASSERT_EQ(drive.InitMotoBus({}), 1);
  for (const int32_t value : {0x55, 0xAA, 3}) drive.PutVarToFPGA(77, value);
  EXPECT_EQ(drive.Flash().ActiveFunction(), IspFunction::kNone);
  drive.PutVarToFPGA(111, 0x80);
  for (const int32_t value : {0x55, 0xAA, 3}) drive.PutVarToFPGA(77, value);
  EXPECT_EQ(drive.Flash().ActiveFunction(), IspFunction::kProgram);
}

}  // namespace
}  // namespace svodb::sim
