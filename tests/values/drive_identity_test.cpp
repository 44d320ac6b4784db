// Drive identity and operating mode per node, the online mode and model
// queries against the virtual drive, and the version-support table.
#include "values/drive_identity.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <tuple>
#include <vector>

#include "catalog/version_support.h"
#include "value_exports.h"

namespace svodb::testing {
namespace {

using sim::Operation;

class IdentityExports : public ValueExports {
 protected:
  static NodeState& Node(uint32_t node) { return Db().nodes[node]; }
  // OpMode lives in bits 7-6 of register 1, S2-1 in bit 0 of register 25.
  void SetDriveModeBits(int opMode, int s21) {
    drive_->SetFpgaByte(1, static_cast<uint8_t>((drive_->FpgaByte(1) & 0x3F) | (opMode << 6)));
    drive_->SetFpgaByte(25, static_cast<uint8_t>((drive_->FpgaByte(25) & 0xFE) | s21));
  }
};

TEST_F(IdentityExports, SetupSwitchRederivesTheNodesMode) {
  struct Case {
    int32_t opMode;
    int32_t s21;
    Result result;
    uint32_t mode;
    uint32_t storedS21;
  };
  const Case cases[] = {{2, 1, 1, 0, 1}, {1, 1, 1, 1, 1},  {2, 0, 1, 1, 0},  {0, 0, 1, 0, 0},
                        {3, 1, 1, 1, 1}, {2, 2, 23, 1, 0}, {2, -1, 23, 1, 0}};
  ASSERT_EQ(SetNode_SVODB(3), 1);
  for (const Case& c : cases) {
    Node(3) = NodeState{};
    ASSERT_EQ(SetOpMode_SVODB(c.opMode), 1);
    EXPECT_EQ(SetSetupS21_SVODB(c.s21), c.result) << c.opMode << "/" << c.s21;
    int32_t mode = 7, s21 = 7;
    EXPECT_EQ(GetMode_SVODB(&mode), 1);
    EXPECT_EQ(GetSetupS21_SVODB(&s21), 1);
    EXPECT_EQ(mode, static_cast<int32_t>(c.mode)) << c.opMode << "/" << c.s21;
    EXPECT_EQ(s21, static_cast<int32_t>(c.storedS21)) << c.opMode << "/" << c.s21;
  }
  // A stored OpMode that no mode has: S2-1 is kept all the same.
  Registers().FindRegister("OpMode")->raw[3] = 5;
  EXPECT_EQ(SetSetupS21_SVODB(1), 23);
  EXPECT_EQ(Node(3).setupS21, 1u);
  EXPECT_EQ(SetOpMode_SVODB(4), 23);  // the register's range refuses it
  EXPECT_EQ(Registers().FindRegister("OpMode")->raw[3], 5);
  EXPECT_TRUE(Traffic().empty());
}

TEST_F(IdentityExports, CheckModelComparesWithTheDriveAsReadNow) {
  // The drive is an X7102 (31): Model in bits 7-3 of register 4, read twice.
  ASSERT_EQ(drive_->FpgaByte(4) >> 3, 31);
  const std::string read = "GetVarFromFPGA(4) -> 1 [" + std::to_string(drive_->FpgaByte(4)) + "]";
  const Lines twoReads{read, read};
  ASSERT_EQ(SetNode_SVODB(2), 1);
  EXPECT_EQ(CKModel_SVODB(), 1);
  EXPECT_EQ(Traffic(), twoReads);
  // The drive type of an image takes 1 or 2 only.
  int32_t value = 0;
  for (const auto& [type, result, stored] :
       {std::tuple{2, 1, 2}, std::tuple{3, 23, 2}, std::tuple{0, 23, 2}}) {
    EXPECT_EQ(SetDriveType_SVODB(type), result) << type;
    EXPECT_EQ(GetDriveType_SVODB(&value), 1);
    EXPECT_EQ(value, stored) << type;
  }
  ASSERT_EQ(SetModel_SVODB(28), 1);
  int32_t model = 0;
  EXPECT_EQ(GetModel_SVODB(&model), 1);
  EXPECT_EQ(model, 28);
  Node(0).modelCode = 15;
  Db().connectedModelCode = 15;
  EXPECT_EQ(CKModel_SVODB(), 9);
  EXPECT_EQ(Db().connectedModelCode, 31u);
  EXPECT_EQ(Node(0).modelCode, 31u);
  EXPECT_EQ(Node(2).modelCode, 28u);
  drive_->Faults().FailCall(Operation::kGetVarFromFPGA, 2, 6);
  EXPECT_EQ(CKModel_SVODB(), 6);
  ASSERT_EQ(SetModel_SVODB(31), 1);
  drive_->Faults().FailCall(Operation::kGetVarFromFPGA, 1, 2);
  EXPECT_EQ(CKModel_SVODB(), 2);  // not 9 although the models agree
}

TEST_F(IdentityExports, OnlineModeReadsOpModeThenTheSwitch) {
  struct Case {
    int opMode, s21;
    int32_t plain, gui;
    uint32_t units;
  };
  const Case cases[] = {{0, 1, 0, 0, 0}, {1, 0, 1, 1, 1}, {2, 1, 0, 0, 0}, {2, 0, 1, 1, 1}, {3, 1, 1, 2, 1}};
  for (const Case& c : cases) {
    SetDriveModeBits(c.opMode, c.s21);
    const std::string opModeRead = "GetVarFromFPGA(1) -> 1 [" + std::to_string(drive_->FpgaByte(1)) + "]";
    const std::string switchRead = "GetVarFromFPGA(25) -> 1 [" + std::to_string(drive_->FpgaByte(25)) + "]";
    for (bool gui : {false, true}) {
      drive_->Log().Clear();
      Db().connectedMode = 7;
      int32_t mode = -1;
      EXPECT_EQ(gui ? GetModeOnline_GUI_SVODB(&mode) : GetModeOnline_SVODB(&mode), 1);
      EXPECT_EQ(mode, gui ? c.gui : c.plain) << c.opMode << "/" << c.s21 << "/" << gui;
      EXPECT_EQ(Db().connectedMode, c.units) << c.opMode << "/" << c.s21 << "/" << gui;
      EXPECT_EQ(Traffic(), (Lines{opModeRead, opModeRead, switchRead}));
    }
  }
  // A failed switch read leaves the connected mode alone.
  Db().connectedMode = 0;
  drive_->Faults().FailCall(Operation::kGetVarFromFPGA, 1, 3, 25);
  int32_t mode = -1;
  EXPECT_EQ(GetModeOnline_SVODB(&mode), 3);
  EXPECT_EQ(mode, -1);
  EXPECT_EQ(Db().connectedMode, 0u);
}

TEST_F(IdentityExports, OnlineOpModeIsWrittenBeforeTheSwitchIsRead) {
  SetDriveModeBits(1, 1);  // register 1 holds 67: OpMode 1, CmdSrc 0, other bits 3
  Db().connectedMode = 1;
  EXPECT_EQ(SetOpModeOnline_SVODB(2), 1);
  EXPECT_EQ(Db().connectedMode, 0u);
  EXPECT_EQ(Traffic(), (Lines{"GetVarFromFPGA(1) -> 1 [67]", "PutVarToFPGA(1, 131) -> 1",
                              "GetVarFromFPGA(1) -> 1 [131]", "GetVarFromFPGA(25) -> 1 [1]"}));

  drive_->Log().Clear();
  EXPECT_EQ(SetOpModeOnline_SVODB(4), 23);
  EXPECT_EQ(drive_->Log().Count(Operation::kPutVarToFPGA), 0u);
  EXPECT_EQ(Db().connectedMode, 0u);

  // Through the numeric export OpMode takes the same path; the value is truncated.
  drive_->Log().Clear();
  EXPECT_EQ(PutVariableOnline_SVODB("OpMode", 1.9), 1);
  EXPECT_EQ(Db().connectedMode, 1u);
  EXPECT_EQ(Traffic(), (Lines{"GetVarFromFPGA(1) -> 1 [131]", "PutVarToFPGA(1, 67) -> 1",
                              "GetVarFromFPGA(1) -> 1 [67]", "GetVarFromFPGA(25) -> 1 [1]"}));
  // Another spelling is an ordinary variable: no switch read, no new mode.
  drive_->Log().Clear();
  EXPECT_EQ(PutVariableOnline_SVODB("opmode", 2), 1);
  EXPECT_EQ(Db().connectedMode, 1u);
  EXPECT_EQ(Traffic(), (Lines{"GetVarFromFPGA(1) -> 1 [67]", "PutVarToFPGA(1, 131) -> 1",
                              "GetVarFromFPGA(1) -> 1 [131]"}));
}

TEST_F(IdentityExports, LogicVersionCheck) {
  struct Case {
    int32_t logic;
    std::string text;
    uint8_t atLeastTwo;
  };
  for (const Case& c : {Case{2, "2.0A", 1}, Case{1, "1.0A", 0}, Case{0, "1.0A", 0}, Case{4, "4.0A", 1}}) {
    Connect(sim::DriveConfig{.logicVersion = c.logic, .versionText = c.text});
    uint8_t out = 7;
    EXPECT_EQ(CKLogicVersion_SVODB(&out), 1) << c.logic;
    EXPECT_EQ(out, c.atLeastTwo) << c.logic;
  }
  drive_->Faults().FailCall(Operation::kGetVarFromFPGA, 2, 6, 30);
  uint8_t out = 7;
  EXPECT_EQ(CKLogicVersion_SVODB(&out), 6);
  EXPECT_EQ(out, 0);
  Db().connectedModelCode = 16;  // no model of the table: the conversion fails
  out = 7;
  EXPECT_EQ(CKLogicVersion_SVODB(&out), 9);
  EXPECT_EQ(out, 0);
}

// The export answers in its output only: its result is always 0.
TEST_F(ExportTest, SupportByVersionTextAndLogicVersion) {
  struct Case {
    const char* name;
    const char* text;
    int32_t logic;
    bool supported;
  };
  // clang-format off
  const Case cases[] = {
      {"FBDivisor", "102.5", 3, true},  {"FBDivisor", "3.2K", 3, false},   {"FBDivisor", "3.5X", 3, true},
      {"FBDivisor", "", 4, false},      {"FBDivisor", "102.5", 2, false},  {"FBDivisor", "105.1A", 3, false},
      {"GearIn", "S1.0x", 3, false},    {"GearIn", "S1.0x", 2, true},      {"GearIn", "ab", 1, true},
      {"GearIn", "2.1A", 3, true},      {"gearin", "3.0A", 2, false},      {"NoSuchName", "4.0A", 4, false},
      {"AFBSrc", "2.0A", 3, false},     {"AFBSrc", "2.0AB", 3, true},      {"AFBSrc", "S1.0B", 3, true},
      {"BQ1K2", "106.3C", 4, true},     {"BQ1K2", "4.0A", 4, false},       {"FbType", "3.2A", 4, false},
      {"FbType", "1025.1A", 4, true},   {"PosErrorMax", "S1.0A", 3, false}, {"DInp1Pol", "2.0A", 2, false},
      {"DInp1 (EnbHWInp)", "2.0A", 0, true},
  };
  // clang-format on
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.name) + " " + c.text + " " + std::to_string(c.logic));
    EXPECT_EQ(IsSupportedByVersion(c.name, c.text, c.logic), c.supported);
    uint8_t out = 7;
    EXPECT_EQ(ParamSupportedByVersion_SVODB(c.name, c.text, c.logic, &out), 0);
    EXPECT_EQ(out, c.supported ? 1 : 0);
  }
  EXPECT_EQ(ParamSupportedByVersion_SVODB(nullptr, "4.0A", 4, nullptr), 0);
}

}  // namespace
}  // namespace svodb::testing
