// Online reads and writes of catalogue variables against the virtual drive,
// and the logic-version conversions around whole-set writes.
#include "values/online_values.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "api/export_fixture.h"
#include "api/global_state.h"
#include "catalog/parameter_database.h"
#include "drive/register_map.h"
#include "svodb/svodb.h"
#include "virtual_drive.h"
#include "virtual_platform.h"

namespace svodb::testing {
namespace {

using Lines = std::vector<std::string>;
using sim::DriveConfig;
using sim::Operation;

class OnlineExports : public ExportTest {
 protected:
  void SetUp() override {
    ExportTest::SetUp();
    Connect();
  }
  // A drive on the serial port whose model the library has read.
  void Connect(DriveConfig config = {}) {
    drive_ = std::make_unique<sim::VirtualDrive>(std::move(config));
    Use(*drive_);
    ASSERT_EQ(UsePort(1, 19200, 1, 0, 0, 0), 1);
    int32_t model = 0;
    ASSERT_EQ(GetModelOnline_SVODB(&model), 1);
    drive_->Log().Clear();
  }
  // OpMode 0 or 1 in bits 7-6 of register 1, then the library reads the mode.
  void SetUnits(int units) {
    drive_->SetFpgaByte(1, static_cast<uint8_t>((drive_->FpgaByte(1) & 0x3F) | (units << 6)));
    int32_t mode = -1;
    ASSERT_EQ(GetModeOnline_SVODB(&mode), 1);
    ASSERT_EQ(mode, units);
    drive_->Log().Clear();
  }
  void SetWord(uint8_t high, int32_t value) {
    drive_->SetFpgaByte(high, static_cast<uint8_t>((value >> 8) & 0xFF));
    drive_->SetFpgaByte(static_cast<uint8_t>(high - 1), static_cast<uint8_t>(value & 0xFF));
  }
  int32_t Word(uint8_t high) const {
    return static_cast<int16_t>(drive_->FpgaByte(high) << 8 |
                                drive_->FpgaByte(static_cast<uint8_t>(high - 1)));
  }
  Lines Traffic() const { return drive_->Log().Lines(); }
  Lines Writes() const {
    Lines writes;
    for (const std::string& line : Traffic())
      if (line.starts_with("Put")) writes.push_back(line);
    return writes;
  }
  double Get(const char* name) {
    double value = -12345;
    EXPECT_EQ(GetVariableOnline_SVODB(name, &value), 1) << name;
    return value;
  }
  static int32_t ConversionCode(const char* name) {
    return api::Context().db.catalogue.Find(name)->conversionCode;
  }

  std::unique_ptr<sim::VirtualDrive> drive_;
};

TEST_F(OnlineExports, TextVariablesAreRefusedWithoutTraffic) {
  for (const char* name : {"SerialNum", "VerLW"}) {
    double value = 7;
    EXPECT_EQ(GetVariableOnline_SVODB(name, &value), 8);
    EXPECT_EQ(value, 7);
    EXPECT_EQ(PutVariableOnline_SVODB(name, 1), 8);
  }
  EXPECT_TRUE(Traffic().empty());
}

TEST_F(OnlineExports, FactoryTestResultsComeStraightFromTheirNvEntries) {
  drive_->SetNvEntry(42, sim::NvEntry{16, 200});  // an entry of KVP's register, not FTPass's
  drive_->SetNvEntry(43, sim::NvEntry{127, 7});
  EXPECT_EQ(Get("FTPass"), 200);
  EXPECT_EQ(Get("FTFail"), 7);
  EXPECT_EQ(Traffic(), (Lines{"GetVarFromEEPROM(42) -> 1 [16, 200]", "GetVarFromEEPROM(43) -> 1 [127, 7]"}));

  drive_->Log().Clear();
  drive_->SetFpgaByte(127, 99);
  EXPECT_EQ(Get("ftpass"), 99);  // another spelling: the register itself, read twice
  EXPECT_EQ(Traffic(), (Lines{"GetVarFromFPGA(127) -> 1 [99]", "GetVarFromFPGA(127) -> 1 [99]"}));

  drive_->Faults().FailCall(Operation::kGetVarFromEEPROM, 1, 6);
  double value = 7;
  EXPECT_EQ(GetVariableOnline_SVODB("FTPass", &value), 6);
  EXPECT_EQ(value, 7);

  // A transport that hands out a negative data word.
  struct NegativeNv : NoTransport {
    int32_t GetVarFromEEPROM(int32_t, int32_t* fpgaRegister, int32_t* data) override {
      *fpgaRegister = 0;
      *data = -2;
      return 1;
    }
  } negative;
  Use(negative);
  EXPECT_EQ(Get("FTPass"), 4294967294.0);
}

TEST_F(OnlineExports, CurrentLimitsFollowTheDrivesLogic) {
  Connect(DriveConfig{.logicVersion = 3, .versionText = "3.2A"});
  drive_->SetFpgaByte(85, 151);
  drive_->SetFpgaByte(84, 181);
  EXPECT_EQ(Get("ILmtPlus"), 100);
  EXPECT_EQ(Get("ILmtMinus"), 50);
  EXPECT_EQ(ConversionCode("ILmtPlus"), 44);
  EXPECT_EQ(ConversionCode("ILmtMinus"), 43);
  EXPECT_EQ(PutVariableOnline_SVODB("ILmtMinus", 50), 1);
  EXPECT_EQ(drive_->FpgaByte(84), 181);

  Connect(DriveConfig{.logicVersion = 2, .versionText = "2.0A"});
  drive_->SetFpgaByte(13, static_cast<uint8_t>(drive_->FpgaByte(13) & 0xF0));
  // The write finds the logic itself: a step, in bits 3-2 of register 13.
  EXPECT_EQ(PutVariableOnline_SVODB("ILmtPlus", 3), 1);
  EXPECT_EQ(drive_->FpgaByte(13) & 0x0F, 0x0C);
  EXPECT_EQ(ConversionCode("ILmtPlus"), 1);
  drive_->SetFpgaByte(13, static_cast<uint8_t>((drive_->FpgaByte(13) & 0xF0) | 0x09));  // steps 2 and 1
  drive_->Log().Clear();
  const std::string logic = "GetVarFromFPGA(30) -> 1 [2]";
  const std::string selectors = "GetVarFromFPGA(13) -> 1 [" + std::to_string(drive_->FpgaByte(13)) + "]";
  EXPECT_EQ(Get("ILmtPlus"), 2);
  // LogicVer for the conversion code, for the online read and for the layout.
  EXPECT_EQ(Traffic(), (Lines{logic, logic, logic, logic, logic, logic, selectors, selectors}));
  EXPECT_EQ(Get("ILmtMinus"), 1);
  EXPECT_EQ(ConversionCode("ILmtMinus"), 1);
}

TEST_F(OnlineExports, CompositeReadsWithoutAWritePath) {
  struct Case {
    uint8_t faults1, faults2;
    double value;
  };
  const Case cases[] = {{0, 0, 0},  {0, 1, 9},   {1, 0, 1},  {4, 0, 3},        {0, 128, 16},  {3, 0, 16},
                        {6, 0, 17}, {12, 0, 18}, {0, 3, 24}, {0x80, 0x01, 23}, {255, 255, 16}};
  for (const Case& c : cases) {
    drive_->SetFpgaByte(63, c.faults1);
    drive_->SetFpgaByte(67, c.faults2);
    EXPECT_EQ(Get("ExtFaults"), c.value) << int{c.faults1} << "/" << int{c.faults2};
  }
  // HSOT is HstSet's limit shown in degrees: raw -88 (0xA8) is 80.0.
  drive_->SetFpgaByte(39, 0xA8);
  drive_->Log().Clear();
  EXPECT_EQ(Get("HSOT"), 80.0);
  EXPECT_EQ(Traffic(), (Lines{"GetVarFromFPGA(39) -> 1 [168]", "GetVarFromFPGA(39) -> 1 [168]"}));
  drive_->Log().Clear();
  EXPECT_EQ(PutVariableOnline_SVODB("ExtFaults", 1), 21);
  EXPECT_EQ(PutVariableOnline_SVODB("HSOT", 80), 21);
  EXPECT_TRUE(Traffic().empty());
}

// X7102, torque units, CmdSrc 0: PWMPlus 6000 and PWMMinus -4000 give the
// offset 2.57.
TEST_F(OnlineExports, CommandGainAndOffsetKeepEachOther) {
  SetWord(8, 6000);
  SetWord(6, -4000);
  EXPECT_EQ(Get("CmdOffset"), 2.57);
  EXPECT_EQ(Get("CmdGain"), 0.7244405);
  drive_->Log().Clear();

  EXPECT_EQ(PutVariableOnline_SVODB("CmdGain", 1.0), 1);
  EXPECT_EQ(Word(8), 8282);
  EXPECT_EQ(Word(6), -5522);
  // PWMMinus first (8282 = 0x205A, -5522 = 0xEA6E), each word lower byte first.
  EXPECT_EQ(Writes(), (Lines{"PutVarToFPGA(5, 110) -> 1", "PutVarToFPGA(6, 234) -> 1",
                             "PutVarToFPGA(7, 90) -> 1", "PutVarToFPGA(8, 32) -> 1"}));
  EXPECT_EQ(Get("CmdOffset"), 2.569);  // unchanged but for the counts' rounding
  EXPECT_EQ(Get("CmdGain"), 1.0000177);

  EXPECT_EQ(PutVariableOnline_SVODB("CmdOffset", -1.0), 1);
  EXPECT_EQ(Word(8), 6365);
  EXPECT_EQ(Word(6), -7439);
  EXPECT_EQ(Get("CmdGain"), 1.0000177);

  drive_->Log().Clear();
  EXPECT_EQ(PutVariableOnline_SVODB("CmdGain", std::nan("")), 23);
  EXPECT_TRUE(Writes().empty());
}

TEST_F(OnlineExports, OneCountAloneRewritesTheOtherFirst) {
  SetWord(8, 1000);
  SetWord(6, -300);
  EXPECT_EQ(PutVariableOnline_SVODB("PWMPlus", 1234.4), 1);
  EXPECT_EQ(Word(8), 1234);
  EXPECT_EQ(Word(6), -300);
  // PWMMinus -300 = 0xFED4 as it was, then PWMPlus 1234 = 0x04D2.
  EXPECT_EQ(Writes(), (Lines{"PutVarToFPGA(5, 212) -> 1", "PutVarToFPGA(6, 254) -> 1",
                             "PutVarToFPGA(7, 210) -> 1", "PutVarToFPGA(8, 4) -> 1"}));
  EXPECT_EQ(Traffic().front(), "GetVarFromFPGA(6) -> 1 [254]");  // the present PWMMinus is read first

  drive_->Log().Clear();
  EXPECT_EQ(PutVariableOnline_SVODB("PWMMinus", -20), 1);
  EXPECT_EQ(Word(8), 1234);
  EXPECT_EQ(Word(6), -20);
  EXPECT_EQ(Writes(), (Lines{"PutVarToFPGA(5, 236) -> 1", "PutVarToFPGA(6, 255) -> 1",
                             "PutVarToFPGA(7, 210) -> 1", "PutVarToFPGA(8, 4) -> 1"}));
  EXPECT_EQ(Traffic().front(), "GetVarFromFPGA(8) -> 1 [4]");  // the present PWMPlus
}

TEST_F(OnlineExports, ValuesNoRegisterTakesAreRefusedBeforeAnyWrite) {
  struct Case {
    const char* name;
    double value;
  };
  const double inf = std::numeric_limits<double>::infinity();
  const Case cases[] = {{"CmdSrc", std::nan("")}, {"CmdSrc", inf},       {"CmdSrc", 3e9},
                        {"CmdSrc", -3e9},         {"CmdSrc", 3},         {"Command", inf},
                        {"Command", -1e12},       {"KVP", std::nan("")}, {"KVP", 1e9},
                        {"KVP", 0.0001},          {"ILmtPlus", 200},     {"OpMode", -inf}};
  for (const Case& c : cases) {
    drive_->Log().Clear();
    EXPECT_EQ(PutVariableOnline_SVODB(c.name, c.value), 23) << c.name << " " << c.value;
    EXPECT_TRUE(Writes().empty()) << c.name << " " << c.value;
  }
  // Plain values are truncated toward zero.
  EXPECT_EQ(PutVariableOnline_SVODB("CmdSrc", 1.9), 1);
  EXPECT_EQ((drive_->FpgaByte(1) >> 4) & 3, 1);
  EXPECT_EQ(PutVariableOnline_SVODB("CmdSrc", -0.7), 1);
  EXPECT_EQ((drive_->FpgaByte(1) >> 4) & 3, 0);
}

TEST_F(OnlineExports, AuxFeedbackTypeIsWrittenBitByBit) {
  drive_->SetFpgaByte(121, 0x00);
  EXPECT_EQ(PutVariableOnline_SVODB("AuxFBType", 4), 1);
  // AFBMitEn (bit 7), AFBHallsDis (3), AFBDivisorSrc (1), AFBEnDatEnb (2), AFBSrc (0).
  EXPECT_EQ(Writes(), (Lines{"PutVarToFPGA(121, 128) -> 1", "PutVarToFPGA(121, 136) -> 1",
                             "PutVarToFPGA(121, 138) -> 1", "PutVarToFPGA(121, 142) -> 1",
                             "PutVarToFPGA(121, 143) -> 1"}));
  EXPECT_EQ(Get("AuxFBType"), 4);
  EXPECT_EQ(PutVariableOnline_SVODB("AuxFBType", 6), 1);
  EXPECT_EQ(drive_->FpgaByte(121), 0x08);
  EXPECT_EQ(Get("AuxFBType"), 6);
  drive_->Log().Clear();
  EXPECT_EQ(PutVariableOnline_SVODB("AuxFBType", 7), 22);
  EXPECT_EQ(PutVariableOnline_SVODB("AuxFBType", -1), 22);
  EXPECT_TRUE(Traffic().empty());
}

TEST_F(OnlineExports, ScalingFollowsTheModelAndUnits) {
  Connect(DriveConfig{.modelCode = 26});  // X7106, 96 A peak
  SetWord(10, 19336);
  EXPECT_EQ(Get("Command"), 96.0);
  SetUnits(1);
  EXPECT_EQ(Get("Command"), 10804.9568);

  Connect(DriveConfig{.modelCode = 28});  // X7103, 18 A peak
  SetUnits(0);
  SetWord(8, 1000);
  EXPECT_EQ(Get("PWMPlus"), 3.72);
  EXPECT_EQ(PutVariableOnline_SVODB("PWMPlus", 3.72), 1);
  EXPECT_EQ(Word(8), 4);
}

TEST_F(OnlineExports, GainFormatFollowsTheDrivesLogic) {
  // KVP's register holds the gain code with its nibbles swapped: 0x49 is
  // code 0x94, exponent field 9, mantissa 4.
  struct Case {
    int32_t logic;
    const char* text;
    bool logicReadFails;
    double value;
  };
  for (const Case& c :
       {Case{4, "4.0A", false, 1.273}, Case{2, "2.0A", false, 0.01}, Case{4, "4.0A", true, 0.01}}) {
    Connect(DriveConfig{.logicVersion = c.logic, .versionText = c.text});
    drive_->SetFpgaByte(16, 0x49);
    if (c.logicReadFails) drive_->Faults().FailCall(Operation::kGetVarFromFPGA, 1, 6, 30);
    EXPECT_EQ(Get("KVP"), c.value) << c.logic << c.logicReadFails;
    const Lines traffic = Traffic();
    ASSERT_GE(traffic.size(), 3u);
    EXPECT_EQ(traffic[0], "GetVarFromFPGA(16) -> 1 [73]");
    EXPECT_EQ(traffic[2].substr(0, 18), "GetVarFromFPGA(30)");
  }
}

TEST_F(OnlineExports, DeadBandWidthFollowsThePowerBoard) {
  struct Case {
    uint8_t board;
    double value;
  };
  drive_->SetFpgaByte(32, 0x05);
  for (const Case& c : {Case{2, 2.6}, Case{3, 5.8}, Case{127, 5.8}, Case{128, 2.6}}) {
    drive_->SetMotorByte(511, c.board);
    drive_->Log().Clear();
    EXPECT_EQ(Get("DeadBand"), c.value) << int{c.board};
    EXPECT_NE(Traffic().size(), 2u);  // more than the register's two reads
  }
}

// The conversions of a whole-set write, on the library's inner objects.
class VersionConversionTest : public ::testing::Test {
 protected:
  void SetUp() override {
    db.nodes[2].logicVersion = 2;
    registers.SetCurrentLimitLayout(2);
  }
  int32_t Raw(const char* name, int node = 2) {
    int32_t raw = -1;
    EXPECT_EQ(registers.GetRawValue(name, node, raw), 1);
    return raw;
  }
  uint32_t Width(const char* name) { return registers.FindRegister(name)->descriptor.bitWidth; }
  void Store(const char* name, int32_t raw, int node = 2) {
    ASSERT_EQ(registers.SetRawValue(name, raw, 1, node), 1) << name << " " << raw;
  }

  ParameterDatabase db;
  RegisterMap registers;
  NoTransport none;
  sim::VirtualPlatform platform;
  LibraryContext ctx{db, registers, none, platform};
};

TEST_F(VersionConversionTest, StepsBecomePercentagesForANewerDrive) {
  struct Case {
    const char* name;
    int32_t step;
    Result result;
    int32_t driveRaw;
  };
  const Case cases[] = {{"ILmtPlus", 2, 1, 101},  {"ILmtPlus", 3, 1, 151},  {"ILmtPlus", 0, 1, 0},
                        {"ILmtMinus", 3, 1, 105}, {"ILmtMinus", 1, 1, 206}, {"ILmtMinus", 0, 23, 0}};
  for (const Case& c : cases) {
    registers.SetCurrentLimitLayout(2);
    Store(c.name, c.step);
    EXPECT_EQ(ConvertToDriveVersion(ctx, c.name, 2, 2, 3), c.result) << c.name << " " << c.step;
    EXPECT_EQ(Raw(c.name), c.driveRaw) << c.name << " " << c.step;
    EXPECT_EQ(Width(c.name), 8u);
    EXPECT_EQ(ConvertBackToNodeVersion(ctx, c.name, 2, 2, 3), 1);
    EXPECT_EQ(Raw(c.name), c.step) << c.name;
    EXPECT_EQ(Width(c.name), 2u);
  }
}

TEST_F(VersionConversionTest, PercentagesBecomeStepsForAnOlderDrive) {
  struct Case {
    const char* name;
    int32_t raw;
    int32_t step;
  };
  const Case cases[] = {
      {"ILmtPlus", 0, 0},    {"ILmtPlus", 38, 0},   {"ILmtPlus", 39, 1},   {"ILmtPlus", 77, 1},
      {"ILmtPlus", 78, 2},   {"ILmtPlus", 114, 2},  {"ILmtPlus", 115, 3},  {"ILmtPlus", 151, 3},
      {"ILmtMinus", 255, 0}, {"ILmtMinus", 218, 0}, {"ILmtMinus", 217, 1}, {"ILmtMinus", 180, 1},
      {"ILmtMinus", 179, 2}, {"ILmtMinus", 142, 2}, {"ILmtMinus", 141, 3}, {"ILmtMinus", 105, 3}};
  db.nodes[2].logicVersion = 3;
  for (const Case& c : cases) {
    registers.SetCurrentLimitLayout(3);
    Store(c.name, c.raw);
    EXPECT_EQ(ConvertToDriveVersion(ctx, c.name, 2, 3, 2), 1);
    EXPECT_EQ(Raw(c.name), c.step) << c.name << " " << c.raw;
    EXPECT_EQ(Width(c.name), 2u);
    EXPECT_EQ(ConvertBackToNodeVersion(ctx, c.name, 2, 3, 2), 1);
    EXPECT_EQ(Raw(c.name), c.raw) << c.name;
    EXPECT_EQ(Width(c.name), 8u);
  }
}

TEST_F(VersionConversionTest, OnlyImagesOfAnotherLogicChange) {
  Store("ILmtPlus", 2, 0);
  EXPECT_EQ(ConvertToDriveVersion(ctx, "ILmtPlus", 0, 2, 3), 1);  // node 0 is the drive itself
  EXPECT_EQ(Raw("ILmtPlus", 0), 2);
  Store("ILmtPlus", 2);
  EXPECT_EQ(ConvertToDriveVersion(ctx, "ILmtPlus", 2, 3, 4), 1);
  EXPECT_EQ(ConvertToDriveVersion(ctx, "ILmtPlus", 2, 1, 2), 1);
  EXPECT_EQ(Raw("ILmtPlus"), 2);
  EXPECT_EQ(Width("ILmtPlus"), 2u);
  Store("CmdSrc", 2);
  EXPECT_EQ(ConvertToDriveVersion(ctx, "CmdSrc", 2, 2, 4), 1);
  EXPECT_EQ(Raw("CmdSrc"), 2);
  EXPECT_EQ(db.nodes[2].logicVersion, 2);
}

TEST_F(VersionConversionTest, GainsChangeFormatAndBack) {
  // KVP code 36 in the old format (exponent 2, mantissa 4) is 0.02 on an
  // X7102; in the new format the same gain is code 52.
  Store("KVP", 36);
  EXPECT_EQ(ConvertToDriveVersion(ctx, "KVP", 2, 2, 4), 1);
  EXPECT_EQ(Raw("KVP"), 52);
  EXPECT_EQ(db.nodes[2].logicVersion, 4);
  EXPECT_EQ(ConvertBackToNodeVersion(ctx, "KVP", 2, 2, 4), 1);
  EXPECT_EQ(Raw("KVP"), 36);
  EXPECT_EQ(db.nodes[2].logicVersion, 2);
}

TEST_F(VersionConversionTest, TheDrivesOwnImageConvertsWithItsOwnFacts) {
  // IdCmd raw 100 is 15.9 A on an X7106 image and comes back as 100; with
  // an X7102's peak current it would come back as 101.
  sim::VirtualDrive drive;
  ASSERT_EQ(drive.InitComPort(1, 19200), 1);
  drive.Log().Clear();
  LibraryContext online{db, registers, drive, platform};
  db.nodes[0].modelCode = 26;
  db.nodes[0].logicVersion = 2;
  Store("IdCmd", 100, 0);
  Store("KVP", 36, 0);
  EXPECT_EQ(ConvertToDriveVersion(online, "KVP", 0, 2, 4), 1);
  EXPECT_EQ(Raw("KVP", 0), 52);
  EXPECT_EQ(ConvertBackToNodeVersion(online, "KVP", 0, 2, 4), 1);
  EXPECT_EQ(Raw("KVP", 0), 36);
  EXPECT_EQ(ConvertToDriveVersion(online, "IdCmd", 0, 2, 4), 1);
  EXPECT_EQ(Raw("IdCmd", 0), 100);
  EXPECT_TRUE(drive.Log().Lines().empty());  // the drive's LogicVer is not asked
}

TEST_F(VersionConversionTest, ANodeWithoutAModeFailsInContext) {
  registers.FindRegister("OpMode")->raw[2] = 5;
  Store("KVP", 36);
  EXPECT_EQ(ConvertToDriveVersion(ctx, "KVP", 2, 2, 4), 80023);
  EXPECT_EQ(ConvertBackToNodeVersion(ctx, "ILmtPlus", 2, 2, 4), 80023);
  EXPECT_EQ(Raw("KVP"), 36);
}

}  // namespace
}  // namespace svodb::testing
