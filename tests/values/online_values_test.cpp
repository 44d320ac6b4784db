// Online reads and writes of catalogue variables against the virtual drive,
// and the logic-version conversions around whole-set writes.
#include "values/online_values.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string_view>
#include <tuple>

#include "value_exports.h"

namespace svodb::testing {
namespace {

// A drive on the serial port whose model the library has read.
class OnlineExports : public ValueExports {
 protected:
  void Connect(sim::DriveConfig config = {}) override {
    ValueExports::Connect(std::move(config));
    int32_t model = 0;
    ASSERT_EQ(GetModelOnline_SVODB(&model), 1);
    drive_->Log().Clear();
  }
  int32_t Word(uint8_t high) const {
    return static_cast<int16_t>(drive_->FpgaByte(high) << 8 |
                                drive_->FpgaByte(static_cast<uint8_t>(high - 1)));
  }
  // The writes since the last call.
  Lines Writes() {
    Lines writes;
    for (const std::string& line : Take())
      if (line.starts_with("Put")) writes.push_back(line);
    return writes;
  }
  double Get(const char* name) {
    double value = -12345;
    EXPECT_EQ(GetVariableOnline_SVODB(name, &value), 1) << name;
    return value;
  }
};

TEST_F(OnlineExports, FactoryTestResultsComeStraightFromTheirNvEntries) {
  drive_->SetNvEntry(42, sim::NvEntry{16, 200});  // an entry of KVP's register, not FTPass's
  drive_->SetNvEntry(43, sim::NvEntry{127, 7});
  drive_->SetFpgaByte(127, 99);
  EXPECT_EQ((std::array{Get("FTPass"), Get("FTFail")}), (std::array{200.0, 7.0}));
  EXPECT_EQ(Take(), (Lines{"GetVarFromEEPROM(42) -> 1 [16, 200]", "GetVarFromEEPROM(43) -> 1 [127, 7]"}));
  EXPECT_EQ(Get("ftpass"), 99);  // another spelling: the register itself, read twice
  EXPECT_EQ(Take(), (Lines{"GetVarFromFPGA(127) -> 1 [99]", "GetVarFromFPGA(127) -> 1 [99]"}));
  for (const char* name : {"SerialNum", "VerLW"}) {
    double value = 7;
    EXPECT_EQ(GetVariableOnline_SVODB(name, &value), 8);
    EXPECT_EQ(value, 7);
    EXPECT_EQ(PutVariableOnline_SVODB(name, 1), 8);
  }
}

TEST_F(OnlineExports, CurrentLimitsFollowTheDrivesLogic) {
  Connect(sim::DriveConfig{.logicVersion = 3, .versionText = "3.2A"});
  drive_->SetFpgaByte(84, 181);
  EXPECT_EQ(Get("ILmtMinus"), 50);
  EXPECT_EQ(PutVariableOnline_SVODB("ILmtMinus", 100), 1);
  EXPECT_EQ(drive_->FpgaByte(84), 105);

  Connect(sim::DriveConfig{.logicVersion = 2, .versionText = "2.0A"});
  drive_->SetFpgaByte(13, static_cast<uint8_t>(drive_->FpgaByte(13) & 0xF0));
  // The write finds the logic itself: a step, in bits 3-2 of register 13.
  EXPECT_EQ(PutVariableOnline_SVODB("ILmtPlus", 3), 1);
  EXPECT_EQ(drive_->FpgaByte(13) & 0x0F, 0x0C);
  Take();
  EXPECT_EQ(PutVariableOnline_SVODB("ILmtPlus", 4), 23);  // beyond the steps: nothing written
  EXPECT_TRUE(Writes().empty());
  drive_->SetFpgaByte(13, static_cast<uint8_t>((drive_->FpgaByte(13) & 0xF0) | 0x09));  // steps 2 and 1
  Take();
  const std::string logic = "GetVarFromFPGA(30) -> 1 [2]";
  const std::string selectors = "GetVarFromFPGA(13) -> 1 [" + std::to_string(drive_->FpgaByte(13)) + "]";
  EXPECT_EQ(Get("ILmtPlus"), 2);
  // LogicVer for the conversion code, for the online read and for the layout.
  EXPECT_EQ(Traffic(), (Lines{logic, logic, logic, logic, logic, logic, selectors, selectors}));
  EXPECT_EQ(Get("ILmtMinus"), 1);
  // The step's code is derived for the read; the catalogue keeps its own.
  EXPECT_EQ(Db().catalogue.Find("ILmtMinus")->conversionCode, 43);
}

// The drive reports one extended fault as its bit number + 1, several as 16 +
// the lowest bit number; HSOT is HstSet's limit shown in degrees.
TEST_F(OnlineExports, CompositeReadsWithoutAWritePath) {
  const uint8_t cases[][3] = {{0, 0, 0},   {0, 1, 9},  {4, 0, 3},        {0, 128, 16},  {3, 0, 16},
                              {12, 0, 18}, {0, 3, 24}, {0x80, 0x01, 23}, {255, 255, 16}};
  for (const auto& [faults1, faults2, value] : cases) {
    drive_->SetFpgaByte(63, faults1);
    drive_->SetFpgaByte(67, faults2);
    EXPECT_EQ(Get("ExtFaults"), value) << int{faults1} << "/" << int{faults2};
  }
  drive_->SetFpgaByte(39, 0xA8);  // raw -88
  EXPECT_EQ(Get("HSOT"), 80.0);
}

// X7102, torque units, CmdSrc 0: PWMPlus (bytes 8-7) 6000 and PWMMinus
// (bytes 6-5) -4000 give the offset 2.57. Each word is written lower byte
// first, PWMMinus first; a count written alone has the other read and
// written first.
TEST_F(OnlineExports, CommandGainAndOffsetKeepEachOther) {
  for (const auto& [address, value] :
       std::vector<std::pair<int, int>>{{8, 0x17}, {7, 0x70}, {6, 0xF0}, {5, 0x60}})
    drive_->SetFpgaByte(static_cast<uint8_t>(address), static_cast<uint8_t>(value));
  EXPECT_EQ((std::array{Get("CmdOffset"), Get("CmdGain")}), (std::array{2.57, 0.7244405}));
  Take();
  EXPECT_EQ(PutVariableOnline_SVODB("CmdGain", 1.0), 1);  // 8282 = 0x205A, -5522 = 0xEA6E
  EXPECT_EQ(Writes(), (Lines{"PutVarToFPGA(5, 110) -> 1", "PutVarToFPGA(6, 234) -> 1",
                             "PutVarToFPGA(7, 90) -> 1", "PutVarToFPGA(8, 32) -> 1"}));
  EXPECT_EQ(Get("CmdOffset"), 2.569);  // unchanged but for the counts' rounding
  EXPECT_EQ(PutVariableOnline_SVODB("CmdOffset", -1.0), 1);
  EXPECT_EQ(std::tuple(Word(8), Word(6), Get("CmdGain")), std::tuple(6365, -7439, 1.0000177));
  Take();
  EXPECT_EQ(PutVariableOnline_SVODB("PWMPlus", 1234.4), 1);
  EXPECT_EQ(Traffic().front(), "GetVarFromFPGA(6) -> 1 [226]");
  EXPECT_EQ(Writes(), (Lines{"PutVarToFPGA(5, 241) -> 1", "PutVarToFPGA(6, 226) -> 1",
                             "PutVarToFPGA(7, 210) -> 1", "PutVarToFPGA(8, 4) -> 1"}));
  EXPECT_EQ(PutVariableOnline_SVODB("PWMMinus", -20), 1);
  EXPECT_EQ(std::tuple(Traffic().front(), Word(8), Word(6)),
            std::tuple("GetVarFromFPGA(8) -> 1 [4]", 1234, -20));
}

// Refused values reach no register; plain values are truncated toward zero.
TEST_F(OnlineExports, ValuesNoRegisterTakesAreRefusedBeforeAnyWrite) {
  const double inf = std::numeric_limits<double>::infinity();
  const std::pair<const char*, double> cases[] = {
      {"CmdSrc", std::nan("")}, {"CmdSrc", 3e9},  {"CmdSrc", 3},
      {"Command", -1e12},       {"KVP", 1e9},     {"KVP", 0.0001},
      {"ILmtPlus", 200},        {"OpMode", -inf}, {"CmdGain", std::nan("")},
      {"AuxFBType", 7}};
  for (const auto& [name, value] : cases) {
    EXPECT_EQ(PutVariableOnline_SVODB(name, value), std::string_view(name) == "AuxFBType" ? 22 : 23) << name;
    EXPECT_TRUE(Writes().empty()) << name << " " << value;
  }
  for (const auto& [value, field] : {std::pair{1.9, 1}, std::pair{-0.7, 0}}) {
    EXPECT_EQ(PutVariableOnline_SVODB("CmdSrc", value), 1);
    EXPECT_EQ((drive_->FpgaByte(1) >> 4) & 3, field);
  }
}

TEST_F(OnlineExports, AuxFeedbackTypeIsWrittenBitByBit) {
  drive_->SetFpgaByte(121, 0x00);
  EXPECT_EQ(PutVariableOnline_SVODB("AuxFBType", 4), 1);
  // AFBMitEn (bit 7), AFBHallsDis (3), AFBDivisorSrc (1), AFBEnDatEnb (2), AFBSrc (0).
  EXPECT_EQ(Writes(), (Lines{"PutVarToFPGA(121, 128) -> 1", "PutVarToFPGA(121, 136) -> 1",
                             "PutVarToFPGA(121, 138) -> 1", "PutVarToFPGA(121, 142) -> 1",
                             "PutVarToFPGA(121, 143) -> 1"}));
  EXPECT_EQ(Get("AuxFBType"), 4);
}

// The conversions of a whole-set write, on the library's inner objects: to
// the drive's logic and back to the node's.
TEST_F(ValueExports, CurrentLimitsConvertBetweenStepsAndPercentages) {
  LibraryContext ctx = api::Context();
  ParameterDatabase& db = Db();
  RegisterMap& registers = Registers();
  const auto raw = [&](const char* name, int node) { return registers.FindRegister(name)->raw[node]; };
  const auto width = [&](const char* name) { return registers.FindRegister(name)->descriptor.bitWidth; };
  // Node 0 is the drive itself, and the same side of the change keeps all.
  const std::tuple<int32_t, int32_t, const char*, int, int32_t, Result, int32_t> cases[] = {
      {2, 3, "ILmtPlus", 2, 2, 1, 101},  {2, 3, "ILmtPlus", 2, 0, 1, 0},   {2, 3, "ILmtMinus", 2, 3, 1, 105},
      {2, 3, "ILmtMinus", 2, 1, 1, 206}, {2, 3, "ILmtMinus", 2, 0, 23, 0}, {3, 2, "ILmtPlus", 2, 39, 1, 1},
      {3, 2, "ILmtMinus", 2, 217, 1, 1}, {2, 3, "ILmtPlus", 0, 2, 1, 2},   {1, 2, "ILmtPlus", 2, 2, 1, 2},
  };
  for (const auto& [from, to, name, node, stored, result, driveRaw] : cases) {
    SCOPED_TRACE(std::string(name) + " " + std::to_string(stored) + " for logic " + std::to_string(to));
    db.nodes[2].logicVersion = from;
    registers.SetCurrentLimitLayout(std::min(from, 3));
    ASSERT_EQ(registers.SetRawValue(name, stored, 1, node), 1);
    EXPECT_EQ(ConvertToDriveVersion(ctx, name, node, from, to), result);
    EXPECT_EQ(std::tuple(raw(name, node), width(name)), std::tuple(driveRaw, node != 0 && to >= 3 ? 8u : 2u));
    EXPECT_EQ(ConvertBackToNodeVersion(ctx, name, node, from, to), 1);
    EXPECT_EQ(std::tuple(raw(name, node), width(name)), std::tuple(stored, from >= 3 ? 8u : 2u));
  }
}

}  // namespace
}  // namespace svodb::testing
