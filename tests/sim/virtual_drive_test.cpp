// The virtual drive as the other tests lean on it: the power-up replay,
// the fault plan, the state file and what unlocks the configuration flash.
// The factory image is checked by every value the other tests read, the
// call log by every traffic test, the flash file by the tool's flash tests.
#include "virtual_drive.h"

#include <gtest/gtest.h>

#include <array>
#include <filesystem>
#include <string>
#include <tuple>
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

TEST(OpenDrive, PowerCycleReplaysNvOverTheHardwareState) {
  VirtualDrive drive;
  ASSERT_EQ(drive.InitComPort(1, 19200), 1);
  drive.SetNvEntry(23, {16, 0x37});
  drive.SetNvEntry(74, {108, 0x11});  // BQ0B2's low byte in its indirect sequence
  drive.SetNvEntry(3, {4, 0x00});     // cannot change the model
  EXPECT_EQ(drive.NVEraseUnit(0), 1);
  EXPECT_EQ(drive.PutVarToFPGA(111, 0x80), 1);  // SPI_EN has no NV copy: lost
  drive.SetMoving(true);
  drive.PowerCycle();
  EXPECT_EQ((std::array{Read(drive, 16), Read(drive, 4), Read(drive, 1), Read(drive, 111)}),
            (std::array{0x37, 0xF8, 0x00, 0x00}));
  EXPECT_EQ(drive.BiquadByte(0), 0x11);
  EXPECT_FALSE(drive.IsMoving());
  EXPECT_EQ(drive.Log().Count(Operation::kPutVarToFPGA), 1u);  // the replay is not bus traffic
}

// The fault-injection tests elsewhere show each plan fires; these are the
// rules for when a plan is spent.
TEST(OpenDrive, FaultPlansAreSpentAsArmed) {
  VirtualDrive drive;
  ASSERT_EQ(drive.InitComPort(1, 19200), 1);
  drive.Faults().FailCall(Operation::kGetVarFromFPGA, 2, 6, 16);  // the 2nd read of register 16
  EXPECT_EQ(
      (std::array{drive.GetVarFromFPGA(17, nullptr, nullptr), drive.GetVarFromFPGA(16, nullptr, nullptr),
                  drive.GetVarFromFPGA(16, nullptr, nullptr)}),
      (std::array{1, 1, 6}));
  EXPECT_TRUE(drive.Faults().IsEmpty());
  drive.Faults().ReportWrongNvRegister(23, 99);  // until the entry is written
  EXPECT_EQ((std::array{ReadNv(drive, 23), ReadNv(drive, 23)}),
            (std::array{NvEntry{99, 0x04}, NvEntry{99, 0x04}}));
  EXPECT_EQ(drive.PutVarToEEPROM(23, 16, 0x05), 1);
  EXPECT_EQ(ReadNv(drive, 23), (NvEntry{16, 0x05}));
  drive.Faults().EraseAnswersBusy(24);
  EXPECT_EQ((std::array{drive.NVEraseUnit(24), drive.NVEraseUnit(24)}), (std::array{2, 1}));
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

// Logic 4 reaches its flash only with SPI_EN (register 111) on.
TEST(ConfigFlashUnlock, OnlyTheWholeKeyThenAFunctionStartsTheEngine) {
  const std::tuple<int32_t, std::vector<int32_t>, IspFunction> cases[] = {
      {3, {0x55, 0xAA, 3}, IspFunction::kProgram}, {3, {0x55, 0xAA, 5}, IspFunction::kVerify},
      {3, {0x55, 0xAA, 9}, IspFunction::kErase},   {3, {0x55, 0x55, 0xAA, 3}, IspFunction::kProgram},
      {3, {0xAA, 0x55, 3}, IspFunction::kNone},    {3, {0x55, 0x00, 0xAA, 3}, IspFunction::kNone},
      {3, {0x55, 0xAA, 7}, IspFunction::kNone},    {3, {0x55, 0xAA, 3, 3}, IspFunction::kProgram},
      {4, {0x55, 0xAA, 3}, IspFunction::kNone},    {4, {-1, 0x55, 0xAA, 3}, IspFunction::kProgram},
  };
  for (const auto& [logic, writes, started] : cases) {
    VirtualDrive drive(DriveConfig{.logicVersion = logic, .versionText = logic == 3 ? "3.0A" : "4.0A"});
    ASSERT_EQ(drive.InitMotoBus({}), 1);
    // -1 stands for SPI_EN switched on.
    for (const int32_t value : writes)
      ASSERT_EQ(value < 0 ? drive.PutVarToFPGA(111, 0x80) : drive.PutVarToFPGA(77, value), 1);
    EXPECT_EQ(drive.Flash().ActiveFunction(), started) << logic << " " << ::testing::PrintToString(writes);
  }
}

}  // namespace
}  // namespace svodb::sim
