#include "virtual_drive.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "drive/register_map.h"
#include "drive_state_file.h"

namespace svodb::sim {
namespace {

constexpr int32_t kUntouched = -77;

int32_t Read(VirtualDrive& drive, int32_t address) {
  int32_t value = kUntouched;
  int32_t second = kUntouched;
  EXPECT_EQ(drive.GetVarFromFPGA(address, &value, &second), 1) << "address " << address;
  return value;
}

NvEntry ReadNv(VirtualDrive& drive, int32_t entry) {
  int32_t reg = kUntouched;
  int32_t data = kUntouched;
  EXPECT_EQ(drive.GetVarFromEEPROM(entry, &reg, &data), 1) << "entry " << entry;
  return NvEntry{static_cast<uint8_t>(reg), static_cast<uint8_t>(data)};
}

int32_t ReadIndirect(VirtualDrive& drive, int32_t address, int32_t window) {
  EXPECT_EQ(drive.PutVarToFPGA(43, address >> 8), 1);
  EXPECT_EQ(drive.PutVarToFPGA(42, address & 0xFF), 1);
  return Read(drive, window);
}

class OpenDrive : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(drive.InitComPort(1, 19200), 1);
    drive.Log().Clear();
  }
  VirtualDrive drive;
};

// ------------------------------------------------------------ connection

TEST(VirtualDriveConnection, ClosedDriveAnswersNoResponseAndWritesNoOutputs) {
  VirtualDrive drive;
  int32_t a = kUntouched;
  int32_t b = kUntouched;
  const std::vector<std::function<int32_t()>> calls{
      [&] { return drive.GetVarFromFPGA(16, &a, &b); },
      [&] { return drive.PutVarToFPGA(16, 1); },
      [&] { return drive.GetVarFromEEPROM(23, &a, &b); },
      [&] { return drive.PutVarToEEPROM(23, 16, 1); },
      [&] { return drive.NVEraseUnit(140); },
      [&] { return drive.FlushPort(); },
      [&] { return drive.ChangeBaudRate(115200); },
      [&] { return drive.SendISPByte(0x55, &a); },
      [&] { return drive.GetISPStatus(&a, 16000); },
      [&] { return drive.GetCommType(); },
  };
  for (std::size_t i = 0; i < calls.size(); ++i) EXPECT_EQ(calls[i](), 0) << "call " << i;
  EXPECT_EQ(a, kUntouched);
  EXPECT_EQ(b, kUntouched);
  EXPECT_EQ(drive.NvEntryAt(23), (NvEntry{16, 0x04}));
}

TEST(VirtualDriveConnection, SerialPortOpensOnItsPortOnlyAndClosesWithPortZero) {
  VirtualDrive drive;
  EXPECT_EQ(drive.InitComPort(7, 19200), 2);
  EXPECT_EQ(drive.InitComPort(-1, 19200), 2);
  EXPECT_EQ(drive.CurrentConnection(), Connection::kClosed);
  EXPECT_EQ(drive.InitComPort(1, 19200), 1);
  EXPECT_EQ(drive.GetCommType(), 1);
  EXPECT_EQ(drive.ChangeBaudRate(115200), 1);
  EXPECT_EQ(drive.BaudRate(), 115200);
  EXPECT_EQ(drive.InitComPort(0, 19200), 1);
  EXPECT_EQ(drive.GetCommType(), 0);
  int32_t value = kUntouched;
  EXPECT_EQ(drive.GetVarFromFPGA(16, &value, nullptr), 0);
}

TEST(VirtualDriveConnection, NetworkOpensWithItsArgumentsAndCloses) {
  VirtualDrive drive;
  EXPECT_EQ(drive.InitMotoBus({3, 4, 1, 5, 6, 7, 8, 9}), 1);
  EXPECT_EQ(drive.GetCommType(), 2);
  EXPECT_EQ(drive.NetworkArguments(), (std::array<int32_t, 8>{3, 4, 1, 5, 6, 7, 8, 9}));
  EXPECT_EQ(drive.InitComPort(0, 19200), 1);  // closes the serial port only
  EXPECT_EQ(drive.GetCommType(), 2);
  EXPECT_EQ(drive.KillMotoBus(), 1);
  EXPECT_EQ(drive.GetCommType(), 0);
}

TEST_F(OpenDrive, AddressesOutsideTheDriveAnswer4) {
  int32_t a = kUntouched;
  int32_t b = kUntouched;
  const std::vector<std::function<int32_t()>> calls{
      [&] { return drive.GetVarFromFPGA(256, &a, &b); },
      [&] { return drive.GetVarFromFPGA(-1, &a, &b); },
      [&] { return drive.PutVarToFPGA(256, 0); },
      [&] { return drive.GetVarFromEEPROM(256, &a, &b); },
      [&] { return drive.PutVarToEEPROM(-1, 16, 0); },
      [&] { return drive.PutVarToEEPROM(23, 256, 0); },
      [&] { return drive.NVEraseUnit(300); },
  };
  for (std::size_t i = 0; i < calls.size(); ++i) EXPECT_EQ(calls[i](), 4) << "call " << i;
  EXPECT_EQ(a, kUntouched);
  EXPECT_EQ(drive.NvEntryAt(23), (NvEntry{16, 0x04}));
}

TEST(VirtualDriveConnection, ServicesWithoutALink) {
  VirtualDrive drive;
  char text[kTransportVersionCapacity];
  std::memset(text, 'x', sizeof text);
  drive.CommSVODBVersion(text);
  EXPECT_STREQ(text, "SVODB virtual drive 1.0");
  drive.CommNCLVersion(text);
  EXPECT_STREQ(text, "SVODB virtual MotoBus 1.0");
  int32_t axes = 0;
  EXPECT_EQ(drive.GetMaxNumMotoBusAxes(&axes), 1);
  EXPECT_EQ(axes, 8);
  EXPECT_EQ(drive.ChangeGetSleepTime(15), 1);
  EXPECT_EQ(drive.SleepTime(), 15);
}

// ------------------------------------------------------------ factory image

TEST_F(OpenDrive, FactoryRegistersHoldTheEncodedParameterSet) {
  struct Expected {
    int32_t address;
    int32_t value;
  };
  const Expected bytes[] = {
      {1, 0x83},                // OpMode 2, EMUFunc 3
      {2, 0x5A},                // BatFDis, KIP 19 with its 3-bit halves exchanged
      {3, 0x1B},                // DPoles 3, DM1Map 3
      {4, 0xFA},                // Model 31, DM2Map 2
      {5, 0xCA},   {6, 0xEB},   // PWMMinus -5174
      {7, 0x36},   {8, 0x14},   // PWMPlus 5174
      {13, 0x80},               // PosCmdSrc
      {16, 0x04},               // KVP 64, nibbles swapped
      {25, 0x00},               // setup switches
      {30, 0x04},               // LogicVer
      {32, 0x89},               // VBusOV's low bits above DeadBand 9
      {33, 0xBB},               // VBusOV -274
      {51, 0x60},               // DriveOK, TRXRdy
      {54, 0xC2},  {55, 0x36},  // VBus 219 above the two fault records written
      {58, 0x39},               // SWEnable, CmdInNullEnb, EnInhibitCCW, EnInhibitCW
      {84, 105},   {85, 151},   // 8-bit current limits
      {109, 0x3F},              // FbType 15, FilterType 3
  };
  for (const Expected& e : bytes) EXPECT_EQ(Read(drive, e.address), e.value) << "address " << e.address;
}

// Every setting decodes to its factory value after the power-up replay.
TEST(VirtualDriveImage, SettingsDecodeToTheirFactoryValues) {
  VirtualDrive drive;
  const std::set<std::string> skipped{
      "AuxFBDivisor",                  // shares bytes 80-83 with GearIn and GearOut, which win
      "FTPass",       "FTFail",        // NV-only counters behind the serial number's register
      "Model",        "LogicVer",      // hardware, checked with the configuration
      "MTRAddress",   "FAULTHISPNTR",  // left by the biquad replay and the fault log
  };
  for (const RegisterDescriptor& row : kRegisterTable) {
    const std::size_t length = FieldByteLength(row.byteCount);
    if (row.live || row.codec == 752 || row.fpgaAddress < 0 || length == 0 || skipped.count(row.name))
      continue;
    std::vector<uint8_t> bytes;
    for (std::size_t k = 0; k < length; ++k)
      bytes.push_back(drive.FpgaByte(static_cast<uint8_t>(row.fpgaAddress - static_cast<int32_t>(k))));
    int32_t raw = 0;
    ASSERT_EQ(DecodeField(row, bytes, raw), 1) << row.name;
    EXPECT_EQ(raw, row.initialRaw[0]) << row.name;
  }
}

struct ModelCase {
  int32_t model;
  int32_t logic;
  const char* version;
  std::array<uint8_t, 3> versionBytes;  // 509, 510, 511
  uint8_t byte13;
  uint8_t limitMinus, limitPlus;
  NvEntry entry43;
  bool limitsInNv;
};

// GoogleTest prints a parameter it has no printer for as raw bytes, the
// struct's padding included, which memory checkers report as uninitialised.
void PrintTo(const ModelCase& c, std::ostream* os) { *os << "model " << c.model << " " << c.version; }

class DriveModels : public ::testing::TestWithParam<ModelCase> {};

TEST_P(DriveModels, StrappingVersionBytesAndLayoutFollowTheConfig) {
  const ModelCase& c = GetParam();
  DriveConfig config;
  config.modelCode = c.model;
  config.logicVersion = c.logic;
  config.versionText = c.version;
  config.setupSwitches = 0x19;
  VirtualDrive drive(config);
  EXPECT_EQ(drive.FpgaByte(4) >> 3, c.model);
  EXPECT_EQ(drive.FpgaByte(30) & 0x0F, c.logic);
  EXPECT_EQ(drive.FpgaByte(25), 0x19);
  for (std::size_t i = 0; i < 3; ++i) EXPECT_EQ(drive.MotorByte(509 + i), c.versionBytes[i]) << i;
  EXPECT_EQ(drive.FpgaByte(13), c.byte13);
  EXPECT_EQ(drive.FpgaByte(84), c.limitMinus);
  EXPECT_EQ(drive.FpgaByte(85), c.limitPlus);
  EXPECT_EQ(drive.NvEntryAt(12), (NvEntry{13, c.byte13}));
  EXPECT_EQ(drive.NvEntryAt(43), c.entry43);
  EXPECT_EQ(drive.NvEntryAt(45) == kErasedNvEntry, !c.limitsInNv);
}

INSTANTIATE_TEST_SUITE_P(
    VirtualDriveImage, DriveModels,
    ::testing::Values(ModelCase{31, 4, "4.0A", {0, 0, 4}, 0x80, 105, 151, {109, 0x3F}, true},
                      ModelCase{26, 3, "3.2N", {13, 2, 3}, 0x80, 105, 151, {127, 0xFF}, true},
                      ModelCase{14, 2, "2.1A", {0, 1, 2}, 0x8F, 0, 0, {127, 0xFF}, false},
                      ModelCase{15, 3, "102.1A", {0, 1, 102}, 0x80, 105, 151, {127, 0xFF}, true}));

TEST(VirtualDriveImage, NvHoldsRegisterBytesBiquadSequencesAndSerialNumber) {
  VirtualDrive drive;
  const std::pair<int, NvEntry> entries[] = {
      {0, {1, 0x83}},    {1, {2, 0x5A}},    {3, {4, 0xFA}},    {15, {32, 0x89}},  {23, {16, 0x04}},
      {30, {58, 0x39}},  {34, {62, 0}},     {44, {84, 105}},   {45, {85, 151}},   {66, {102, 0}},
      {73, {42, 0}},     {74, {108, 0x54}}, {75, {42, 1}},     {76, {108, 0x03}},  // BQ0B2 852
      {77, {42, 2}},     {78, {108, 0xED}}, {79, {42, 3}},     {80, {108, 0x2A}},  // BQ0K1 10989
      {133, {42, 30}},   {134, {108, 219}}, {135, {42, 31}},   {136, {108, 0}},    // BQ3K2 219
      {255, {127, 'V'}}, {254, {127, 'D'}}, {246, {127, '1'}}, {245, {127, 255}}, {232, {127, 255}},
  };
  for (const auto& [entry, expected] : entries)
    EXPECT_EQ(drive.NvEntryAt(static_cast<uint8_t>(entry)), expected) << entry;
  for (int entry : {49, 53, 60, 62, 67, 72, 137, 200, 230, 231})
    EXPECT_EQ(drive.NvEntryAt(static_cast<uint8_t>(entry)), kErasedNvEntry) << entry;
}

TEST(VirtualDriveImage, MotorDataBlockSumsTo255) {
  VirtualDrive drive;
  unsigned sum = 0;
  for (std::size_t i = 0; i < kMotorDataBlockSize; ++i) sum += drive.MotorByte(i);
  EXPECT_EQ(sum % 256, 255u);
  EXPECT_EQ(drive.MotorByte(383), 4);  // pole pairs
}

TEST(VirtualDriveImage, VersionTextsMapToTheLogicVersionBytes) {
  const std::pair<const char*, std::array<uint8_t, 3>> valid[] = {
      {"3.2A", {0, 2, 3}},     {"S1.0B", {1, 0, 129}}, {"102.1A", {0, 1, 102}},
      {"255.0A", {0, 0, 255}}, {"4.54", {243, 5, 4}},
  };
  for (const auto& [text, bytes] : valid) EXPECT_EQ(VersionTextBytes(text), bytes) << text;
  for (const char* text : {"", "4", "4.0", "4.0AB", ".0A", "S.0A", "128.0A", "x.0A"})
    EXPECT_FALSE(VersionTextBytes(text)) << text;
}

TEST(VirtualDriveImage, ConfigurationsNoDriveHasAreRefused) {
  const std::vector<std::function<void(DriveConfig&)>> breakers{
      [](DriveConfig& c) { c.modelCode = 32; },
      [](DriveConfig& c) { c.logicVersion = 16; },
      [](DriveConfig& c) { c.versionText = "4"; },
      [](DriveConfig& c) { c.serialNumber = std::string(25, 'A'); },
      [](DriveConfig& c) { c.serialPort = 0; },
  };
  for (std::size_t i = 0; i < breakers.size(); ++i) {
    DriveConfig config;
    breakers[i](config);
    EXPECT_THROW(VirtualDrive{config}, std::invalid_argument) << i;
  }
}

// ------------------------------------------------------------ indirect memories

TEST_F(OpenDrive, BiquadMemoryIsReachedThroughRegisters42And108) {
  EXPECT_EQ(ReadIndirect(drive, 2, 108), 0xED);  // BQ0K1's low byte from the power-up replay
  EXPECT_EQ(drive.PutVarToFPGA(42, 5), 1);
  EXPECT_EQ(drive.PutVarToFPGA(108, 0xAB), 1);
  EXPECT_EQ(drive.BiquadByte(5), 0xAB);
  EXPECT_EQ(drive.PutVarToFPGA(42, 37), 1);  // only five address bits are decoded
  EXPECT_EQ(Read(drive, 108), 0xAB);
}

TEST_F(OpenDrive, MotorDataAndFaultLogShareTheAddressIn42And43) {
  EXPECT_EQ(ReadIndirect(drive, 511, 44), 4);
  EXPECT_EQ(ReadIndirect(drive, 383, 44), 4);
  EXPECT_EQ(ReadIndirect(drive, 0, 44), 1);
  EXPECT_EQ(drive.PutVarToFPGA(44, 0x77), 1);  // the copy is not writable from the bus
  EXPECT_EQ(drive.MotorByte(0), 1);
  EXPECT_EQ(ReadIndirect(drive, 0, 62), 9);    // first record's fault code
  EXPECT_EQ(ReadIndirect(drive, 10, 62), 45);  // record 1, byte 2
  EXPECT_EQ(ReadIndirect(drive, 256 + 16, 62), 0);
  drive.SetFaultLogByte(256 + 16, 0x42);
  EXPECT_EQ(ReadIndirect(drive, 256 + 16, 62), 0x42);
}

TEST_F(OpenDrive, RecordedFaultLandsAtThePointerWhichMovesOn) {
  drive.RecordFault({17, 2, 3, 4, 5, 6, 7, 8});
  EXPECT_EQ(drive.FaultLogByte(16), 17);
  EXPECT_EQ(drive.FaultLogByte(23), 8);
  EXPECT_EQ(Read(drive, 54) & 0x3F, 3);
  EXPECT_EQ(drive.FaultLogByte(24), 0);
}

// ------------------------------------------------------------ drive-owned bits

TEST_F(OpenDrive, BusWritesLeaveTheDrivesOwnBitsAlone) {
  EXPECT_EQ(drive.PutVarToFPGA(4, 0x07), 1);
  EXPECT_EQ(Read(drive, 4), 0xFF);  // model 31 stays, DM2Map takes 7
  EXPECT_EQ(drive.PutVarToFPGA(25, 0xFF), 1);
  EXPECT_EQ(Read(drive, 25), 0x00);
  EXPECT_EQ(drive.PutVarToFPGA(30, 0x00), 1);
  EXPECT_EQ(Read(drive, 30), 0x04);
  EXPECT_EQ(drive.PutVarToFPGA(77, 0x55), 1);  // the ISP register is the host's
  EXPECT_EQ(Read(drive, 77), 0x55);
}

TEST_F(OpenDrive, DiagnosticsModeFollowsItsRequest) {
  EXPECT_EQ(drive.PutVarToFPGA(58, 0x39 | 0x02), 1);
  EXPECT_EQ(Read(drive, 58), 0x39 | 0x02 | 0x40);
  EXPECT_EQ(drive.PutVarToFPGA(58, 0x39 | 0x40), 1);  // the host cannot set the report
  EXPECT_EQ(Read(drive, 58), 0x39);
}

// ------------------------------------------------------------ power cycle

TEST_F(OpenDrive, PowerCycleReplaysNvOverTheHardwareState) {
  drive.SetNvEntry(23, {16, 0x37});
  drive.SetNvEntry(74, {108, 0x11});  // BQ0B2's low byte in its indirect sequence
  drive.SetNvEntry(3, {4, 0x00});     // cannot change the model
  drive.SetNvEntry(140, {200, 0x5A});
  EXPECT_EQ(drive.PutVarToFPGA(61, 0x99), 1);   // KPP, replaced by its NV copy
  EXPECT_EQ(drive.PutVarToFPGA(111, 0x80), 1);  // SPI_EN has no NV copy: lost
  drive.SetMoving(true);
  drive.PowerCycle();
  EXPECT_EQ(Read(drive, 16), 0x37);
  EXPECT_EQ(drive.BiquadByte(0), 0x11);
  EXPECT_EQ(drive.BiquadByte(1), 0x03);
  EXPECT_EQ(Read(drive, 4), 0xF8);
  EXPECT_EQ(Read(drive, 200), 0x5A);
  EXPECT_EQ(Read(drive, 61), 0x04);
  EXPECT_EQ(Read(drive, 111), 0x00);
  EXPECT_FALSE(drive.IsMoving());
  EXPECT_EQ(drive.Log().Count(Operation::kPutVarToFPGA), 2u);  // the replay is not bus traffic
}

TEST_F(OpenDrive, ErasedEntriesLoadNothing) {
  EXPECT_EQ(drive.NVEraseUnit(23), 1);
  EXPECT_EQ(drive.NvEntryAt(23), kErasedNvEntry);
  drive.PowerCycle();
  EXPECT_EQ(Read(drive, 16), 0x00);
  EXPECT_EQ(Read(drive, 255), 0x00);
}

// ------------------------------------------------------------ live registers

TEST_F(OpenDrive, MeasurementsMoveOnWithEverySampleWhileTheMotorTurns) {
  const int32_t liveTops[] = {73, 29, 47, 57, 69, 71, 20};  // Velocity VelFB PosFB CmdIn IFB IdFB HallInp
  for (int32_t address : liveTops) EXPECT_EQ(Read(drive, address), Read(drive, address)) << address;
  drive.SetMoving(true);
  for (int32_t address : liveTops) EXPECT_NE(Read(drive, address), Read(drive, address)) << address;
  EXPECT_EQ(Read(drive, 16), Read(drive, 16));  // settings stay
  drive.SetMoving(false);
  EXPECT_EQ(Read(drive, 73), 0);
  EXPECT_EQ(Read(drive, 73), Read(drive, 73));
}

// ------------------------------------------------------------ fault plan

TEST_F(OpenDrive, NthCallFailsWithItsCodeAndWritesNoOutput) {
  drive.Faults().FailCall(Operation::kGetVarFromFPGA, 2, 6);
  int32_t value = kUntouched;
  EXPECT_EQ(drive.GetVarFromFPGA(16, &value, nullptr), 1);
  value = kUntouched;
  EXPECT_EQ(drive.GetVarFromFPGA(16, &value, nullptr), 6);
  EXPECT_EQ(value, kUntouched);
  EXPECT_EQ(drive.GetVarFromFPGA(16, &value, nullptr), 1);
  EXPECT_TRUE(drive.Faults().IsEmpty());
}

TEST_F(OpenDrive, FailureCanBeNarrowedToOneAddress) {
  drive.Faults().FailCall(Operation::kPutVarToFPGA, 1, 0, 43);
  EXPECT_EQ(drive.PutVarToFPGA(42, 1), 1);
  EXPECT_EQ(drive.PutVarToFPGA(43, 1), 0);
  EXPECT_EQ(drive.FpgaByte(43), 0);
  EXPECT_EQ(drive.PutVarToFPGA(43, 1), 1);
}

TEST_F(OpenDrive, EveryCallFailsUntilCleared) {
  drive.Faults().FailEveryCall(Operation::kPutVarToEEPROM, 0);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(drive.PutVarToEEPROM(23, 16, 0x20), 0);
  EXPECT_EQ(drive.NvEntryAt(23), (NvEntry{16, 0x04}));
  drive.Faults().Clear();
  EXPECT_EQ(drive.PutVarToEEPROM(23, 16, 0x20), 1);
  EXPECT_EQ(drive.NvEntryAt(23), (NvEntry{16, 0x20}));
}

TEST_F(OpenDrive, SecondReadOfASettingDiffers) {
  drive.Faults().ChangeSecondRead(16, 0x10);
  EXPECT_EQ(Read(drive, 16), 0x04);
  EXPECT_EQ(Read(drive, 16), 0x14);
  EXPECT_EQ(Read(drive, 16), 0x04);
  EXPECT_EQ(Read(drive, 16), 0x04);
  drive.Faults().ChangeSecondRead(16, 0x01, Persistence::kAlways);
  const int32_t expected[] = {0x04, 0x05, 0x04, 0x05};
  for (int32_t value : expected) EXPECT_EQ(Read(drive, 16), value);
}

TEST_F(OpenDrive, DroppedWritesAnswerSuccessButDoNotStick) {
  drive.Faults().DropFpgaWrite(16);
  EXPECT_EQ(drive.PutVarToFPGA(16, 0x30), 1);
  EXPECT_EQ(Read(drive, 16), 0x04);
  EXPECT_EQ(drive.PutVarToFPGA(16, 0x30), 1);
  EXPECT_EQ(Read(drive, 16), 0x30);
  drive.Faults().DropNvWrite(23, Persistence::kAlways);
  for (int i = 0; i < 2; ++i) EXPECT_EQ(drive.PutVarToEEPROM(23, 16, 0x30), 1);
  EXPECT_EQ(ReadNv(drive, 23), (NvEntry{16, 0x04}));
}

TEST_F(OpenDrive, WrongRegisterIsReportedUntilTheEntryIsRewritten) {
  drive.Faults().ReportWrongNvRegister(23, 99);
  EXPECT_EQ(ReadNv(drive, 23), (NvEntry{99, 0x04}));
  EXPECT_EQ(ReadNv(drive, 23), (NvEntry{99, 0x04}));
  drive.PowerCycle();
  EXPECT_EQ(Read(drive, 16), 0x04);
  EXPECT_EQ(drive.PutVarToEEPROM(23, 16, 0x05), 1);
  EXPECT_EQ(ReadNv(drive, 23), (NvEntry{16, 0x05}));
}

TEST_F(OpenDrive, EraseAnswersBusyOnceOrAlways) {
  drive.Faults().EraseAnswersBusy(23);
  EXPECT_EQ(drive.NVEraseUnit(23), 2);
  EXPECT_EQ(drive.NvEntryAt(23), (NvEntry{16, 0x04}));
  EXPECT_EQ(drive.NVEraseUnit(23), 1);
  EXPECT_EQ(drive.NvEntryAt(23), kErasedNvEntry);
  drive.Faults().EraseAnswersBusy(24, Persistence::kAlways);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(drive.NVEraseUnit(24), 2);
  EXPECT_EQ(drive.NVEraseUnit(25), 1);
}

// ------------------------------------------------------------ call log

TEST(VirtualDriveLog, EveryCallIsLoggedWithArgumentsResultAndOutputs) {
  VirtualDrive drive;
  int32_t a = 0;
  int32_t b = 0;
  char text[kTransportVersionCapacity];
  drive.GetVarFromFPGA(16, &a, &b);
  drive.InitComPort(1, 19200);
  drive.GetVarFromFPGA(16, &a, &b);
  drive.PutVarToFPGA(42, 3);
  drive.GetVarFromEEPROM(23, &a, &b);
  drive.PutVarToEEPROM(255, 127, -60);
  drive.NVEraseUnit(300);
  drive.InitMotoBus({1, 2, 0, 0, 0, 3, 0, 0});
  drive.SendISPByte(0x55, &a);
  drive.GetISPStatus(&a, 16000);
  drive.CommSVODBVersion(text);
  const std::vector<std::string> expected{
      "GetVarFromFPGA(16) -> 0",
      "InitComPort(1, 19200) -> 1",
      "GetVarFromFPGA(16) -> 1 [4]",
      "PutVarToFPGA(42, 3) -> 1",
      "GetVarFromEEPROM(23) -> 1 [16, 4]",
      "PutVarToEEPROM(255, 127, -60) -> 1",
      "NVEraseUnit(300) -> 4",
      "InitMotoBus(1, 2, 0, 0, 0, 3, 0, 0) -> 1",
      "SendISPByte(85) -> 0",  // no ISP function unlocked: the engine does not answer
      "GetISPStatus(16000) -> 0",
      "CommSVODBVersion() [\"SVODB virtual drive 1.0\"]",
  };
  EXPECT_EQ(drive.Log().Lines(), expected);
  EXPECT_EQ(drive.NvEntryAt(255), (NvEntry{127, 196}));
}

TEST_F(OpenDrive, CountsGoOnWhileRecordingIsOff) {
  drive.Log().SetRecording(false);
  int32_t value = 0;
  for (int i = 0; i < 5; ++i) drive.GetVarFromFPGA(16, &value, nullptr);
  drive.PutVarToFPGA(16, 4);
  EXPECT_TRUE(drive.Log().Records().empty());
  EXPECT_EQ(drive.Log().Count(Operation::kGetVarFromFPGA), 5u);
  EXPECT_EQ(drive.Log().Count(Operation::kPutVarToFPGA), 1u);
  EXPECT_EQ(drive.Log().TotalCount(), 6u);
  drive.Log().Clear();
  EXPECT_EQ(drive.Log().TotalCount(), 0u);
  EXPECT_EQ(drive.Log().Count(Operation::kGetVarFromFPGA), 0u);
}

// ------------------------------------------------------------ state file

class StateFile : public ::testing::Test {
 protected:
  void SetUp() override {
    directory =
        std::filesystem::temp_directory_path() /
        ("svodb_sim_test_" + std::string(::testing::UnitTest::GetInstance()->current_test_info()->name()));
    std::filesystem::remove_all(directory);
    std::filesystem::create_directories(directory);
  }
  void TearDown() override { std::filesystem::remove_all(directory); }
  std::filesystem::path directory;
};

TEST_F(StateFile, DriveStateSurvivesAFileRoundTrip) {
  VirtualDrive first;
  first.SetNvEntry(23, {16, 0x37});
  first.SetMotorByte(500, 0xA5);
  const auto path = directory / "drive.state";
  ASSERT_TRUE(WriteStateFile(path, first.SaveState()));
  EXPECT_FALSE(std::filesystem::exists(directory / "drive.state.tmp"));

  const auto loaded = ReadStateFile(path);
  ASSERT_TRUE(loaded);
  EXPECT_EQ(*loaded, first.SaveState());
  DriveConfig older;
  older.versionText = "3.2N";
  VirtualDrive second(older);
  const uint64_t revision = second.PersistentRevision();
  second.RestoreState(*loaded);
  second.PowerCycle();
  EXPECT_GT(second.PersistentRevision(), revision);
  EXPECT_EQ(second.FpgaByte(16), 0x37);
  EXPECT_EQ(second.MotorByte(500), 0xA5);
  EXPECT_EQ(second.MotorByte(509), 13);  // the logic keeps its own version
  EXPECT_EQ(second.MotorByte(511), 3);
}

TEST_F(StateFile, WorkingRegistersResumeInsteadOfPoweringUp) {
  VirtualDrive first;
  first.SetFpgaByte(100, 0x5A);
  first.SetBiquadByte(31, 0xC3);
  const WorkingRegisters working = first.SaveWorkingRegisters();
  const std::string text = FormatState(first.SaveState(), &working);
  EXPECT_NE(text.find("\nregister 96 00 00 00 00 5a "), std::string::npos);
  EXPECT_NE(text.find("\nbiquad 16 "), std::string::npos);
  const auto saved = ParseSavedDrive(text);
  ASSERT_TRUE(saved && saved->working);
  EXPECT_EQ(*saved->working, working);

  VirtualDrive second;
  second.RestoreState(saved->persistent);
  second.ResumeWorkingRegisters(*saved->working);
  EXPECT_EQ(second.FpgaByte(100), 0x5A);
  EXPECT_EQ(second.BiquadByte(31), 0xC3);
  second.PowerCycle();  // a register no NV entry sets is 0 after power-up
  EXPECT_EQ(second.FpgaByte(100), 0);

  // The working registers come whole or not at all.
  std::string cut = text;
  cut.erase(cut.find("biquad 16 "));
  EXPECT_FALSE(ParseSavedDrive(cut));
  EXPECT_FALSE(ParseSavedDrive(FormatState(first.SaveState()))->working);
}

TEST_F(StateFile, TextFormIsLineByLine) {
  const std::string text = FormatState(VirtualDrive().SaveState());
  EXPECT_EQ(text.rfind("svodb-virtual-drive-state 1\n", 0), 0u);
  EXPECT_NE(text.find("\nnv 23 16 4\n"), std::string::npos);
  EXPECT_NE(text.find("\nnv 255 127 86\n"), std::string::npos);
  EXPECT_NE(text.find("\nmotor 496 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 04\n"), std::string::npos);
}

TEST_F(StateFile, DamagedFilesAreRejectedWhole) {
  const std::string good = FormatState(VirtualDrive().SaveState());
  auto replaced = [&](const std::string& from, const std::string& to) {
    std::string text = good;
    text.replace(text.find(from), from.size(), to);
    return text;
  };
  EXPECT_TRUE(ParseState(good));
  EXPECT_FALSE(ParseState("# a comment\n" + good));  // the header comes first
  const std::vector<std::string> damaged{
      replaced("svodb-virtual-drive-state 1", "svodb-virtual-drive-state 2"),
      replaced("nv 23 16 4\n", ""),  // an entry missing
      replaced("nv 23 16 4\n", "nv 23 16 256\n"),
      replaced("nv 24 ", "nv 23 "),  // an entry twice
      replaced("motor 16 ", "motor 17 "),
      replaced("nv 23 16 4\n", "nv 23 16 4 9\n"),
      replaced("nv 23 16 4\n", "nvx 23 16 4\n"),
  };
  for (std::size_t i = 0; i < damaged.size(); ++i) EXPECT_FALSE(ParseState(damaged[i])) << i;
  EXPECT_TRUE(ParseState(replaced("nv 23 16 4\n", "# kept\r\n\nnv 23 16 4\r\n")));
  EXPECT_FALSE(ReadStateFile(directory / "missing.state"));
}

}  // namespace
}  // namespace svodb::sim
