// The virtual drive as the other tests lean on it: the factory image, the
// power-up replay, the fault plan, the call log and the state file.
#include "virtual_drive.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

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

TEST(VirtualDrive, ClosedOrOutOfRangeCallsAnswerTheirCodeAndWriteNoOutput) {
  VirtualDrive drive;
  int32_t a = kUntouched, b = kUntouched;
  const std::vector<std::pair<std::function<int32_t()>, int32_t>> calls{
      {[&] { return drive.GetVarFromFPGA(16, &a, &b); }, 0},
      {[&] { return drive.PutVarToEEPROM(23, 16, 1); }, 0},
      {[&] { return drive.InitComPort(7, 19200); }, 2},
      {[&] { return drive.InitComPort(1, 19200); }, 1},
      {[&] { return drive.GetVarFromFPGA(256, &a, &b); }, 4},
      {[&] { return drive.GetVarFromEEPROM(-1, &a, &b); }, 4},
      {[&] { return drive.PutVarToEEPROM(23, 256, 0); }, 4},
      {[&] { return drive.NVEraseUnit(300); }, 4},
  };
  for (std::size_t i = 0; i < calls.size(); ++i) EXPECT_EQ(calls[i].first(), calls[i].second) << "call " << i;
  EXPECT_EQ(a, kUntouched);
  EXPECT_EQ(b, kUntouched);
  EXPECT_EQ(drive.NvEntryAt(23), (NvEntry{16, 0x04}));
}

TEST_F(OpenDrive, FactoryRegistersAndNvHoldTheEncodedParameterSet) {
  const std::pair<int32_t, int32_t> bytes[] = {
      {1, 0x83},                                     // OpMode 2, EMUFunc 3
      {2, 0x5A},                                     // BatFDis, KIP 19 with its 3-bit halves exchanged
      {4, 0xFA},                                     // Model 31, DM2Map 2
      {5, 0xCA},  {6, 0xEB},  {7, 0x36}, {8, 0x14},  // PWMMinus -5174, PWMPlus 5174
      {16, 0x04},                                    // KVP 64, nibbles swapped
      {32, 0x89}, {33, 0xBB},                        // VBusOV -274 above DeadBand 9
      {58, 0x39}, {84, 105},  {85, 151}, {109, 0x3F},
  };
  for (const auto& [address, value] : bytes) EXPECT_EQ(Read(drive, address), value) << "address " << address;
  const std::pair<int, NvEntry> entries[] = {
      {0, {1, 0x83}}, {23, {16, 0x04}},  {73, {42, 0}},     {74, {108, 0x54}},  // BQ0B2 852
      {75, {42, 1}},  {76, {108, 0x03}}, {255, {127, 'V'}}, {245, {127, 255}}, {137, kErasedNvEntry},
  };
  for (const auto& [entry, expected] : entries)
    EXPECT_EQ(drive.NvEntryAt(static_cast<uint8_t>(entry)), expected) << entry;
  unsigned sum = 0;
  for (std::size_t i = 0; i < kMotorDataBlockSize; ++i) sum += drive.MotorByte(i);
  EXPECT_EQ(sum % 256, 255u);
}

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

TEST_F(OpenDrive, FaultPlanAnswersAsArmed) {
  drive.Faults().FailCall(Operation::kGetVarFromFPGA, 2, 6, 16);
  int32_t value = kUntouched;
  EXPECT_EQ(drive.GetVarFromFPGA(17, &value, nullptr), 1);
  EXPECT_EQ(drive.GetVarFromFPGA(16, &value, nullptr), 1);
  value = kUntouched;
  EXPECT_EQ(drive.GetVarFromFPGA(16, &value, nullptr), 6);
  EXPECT_EQ(value, kUntouched);
  EXPECT_TRUE(drive.Faults().IsEmpty());

  drive.Faults().FailEveryCall(Operation::kPutVarToEEPROM, 0);
  for (int i = 0; i < 2; ++i) EXPECT_EQ(drive.PutVarToEEPROM(23, 16, 0x20), 0);
  drive.Faults().Clear();
  drive.Faults().ChangeSecondRead(16, 0x01, Persistence::kAlways);
  for (int32_t expected : {0x04, 0x05, 0x04, 0x05}) EXPECT_EQ(Read(drive, 16), expected);
  drive.Faults().DropFpgaWrite(16);
  EXPECT_EQ(drive.PutVarToFPGA(16, 0x30), 1);
  EXPECT_EQ(drive.FpgaByte(16), 0x04);
  drive.Faults().DropNvWrite(23, Persistence::kAlways);
  for (int i = 0; i < 2; ++i) EXPECT_EQ(drive.PutVarToEEPROM(23, 16, 0x30), 1);
  EXPECT_EQ(ReadNv(drive, 23), (NvEntry{16, 0x04}));
  drive.Faults().Clear();
  drive.Faults().ReportWrongNvRegister(23, 99);
  EXPECT_EQ(ReadNv(drive, 23), (NvEntry{99, 0x04}));
  EXPECT_EQ(ReadNv(drive, 23), (NvEntry{99, 0x04}));
  EXPECT_EQ(drive.PutVarToEEPROM(23, 16, 0x05), 1);
  EXPECT_EQ(ReadNv(drive, 23), (NvEntry{16, 0x05}));
  drive.Faults().EraseAnswersBusy(24);
  EXPECT_EQ(drive.NVEraseUnit(24), 2);
  EXPECT_EQ(drive.NVEraseUnit(24), 1);
}

TEST(VirtualDriveLog, EveryCallIsLoggedWithArgumentsResultAndOutputs) {
  VirtualDrive drive;
  int32_t a = 0, b = 0;
  char text[kTransportVersionCapacity];
  drive.GetVarFromFPGA(16, &a, &b);
  drive.InitComPort(1, 19200);
  drive.GetVarFromFPGA(16, &a, &b);
  drive.GetVarFromEEPROM(23, &a, &b);
  drive.PutVarToEEPROM(255, 127, -60);
  drive.InitMotoBus({1, 2, 0, 0, 0, 3, 0, 0});
  drive.SendISPByte(0x55, &a);
  drive.CommSVODBVersion(text);
  const std::vector<std::string> expected{
      "GetVarFromFPGA(16) -> 0",
      "InitComPort(1, 19200) -> 1",
      "GetVarFromFPGA(16) -> 1 [4]",
      "GetVarFromEEPROM(23) -> 1 [16, 4]",
      "PutVarToEEPROM(255, 127, -60) -> 1",
      "InitMotoBus(1, 2, 0, 0, 0, 3, 0, 0) -> 1",
      "SendISPByte(85) -> 0",  // no ISP function unlocked: the engine does not answer
      "CommSVODBVersion() [\"SVODB virtual drive 1.0\"]",
  };
  EXPECT_EQ(drive.Log().Lines(), expected);
  EXPECT_EQ(drive.NvEntryAt(255), (NvEntry{127, 196}));
  drive.Log().SetRecording(false);
  drive.PutVarToFPGA(16, 4);
  EXPECT_EQ(drive.Log().Records().size(), expected.size());
  EXPECT_EQ(drive.Log().Count(Operation::kGetVarFromFPGA), 2u);
  EXPECT_EQ(drive.Log().TotalCount(), expected.size() + 1);
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

}  // namespace
}  // namespace svodb::sim
