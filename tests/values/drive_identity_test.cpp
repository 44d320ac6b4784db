// Drive identity and operating mode per node, the online mode and model
// queries against the virtual drive, and the version-support table.
#include "values/drive_identity.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <tuple>

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
  std::string Read(int address) const {
    return "GetVarFromFPGA(" + std::to_string(address) + ") -> 1 [" +
           std::to_string(drive_->FpgaByte(static_cast<uint8_t>(address))) + "]";
  }
};

TEST_F(IdentityExports, SetupSwitchRederivesTheNodesMode) {
  // OpMode, S2-1 asked, result, then the node's mode and S2-1.
  const std::tuple<int32_t, int32_t, Result, std::pair<int32_t, int32_t>> cases[] = {
      {2, 1, 1, {0, 1}}, {1, 1, 1, {1, 1}},  {2, 0, 1, {1, 0}},  {0, 0, 1, {0, 0}},
      {3, 1, 1, {1, 1}}, {2, 2, 23, {1, 0}}, {2, -1, 23, {1, 0}}};
  ASSERT_EQ(SetNode_SVODB(3), 1);
  for (const auto& [opMode, asked, result, after] : cases) {
    SCOPED_TRACE(std::to_string(opMode) + "/" + std::to_string(asked));
    Node(3) = NodeState{};
    ASSERT_EQ(SetOpMode_SVODB(opMode), 1);
    EXPECT_EQ(SetSetupS21_SVODB(asked), result);
    std::pair<int32_t, int32_t> now{7, 7};
    EXPECT_EQ(GetMode_SVODB(&now.first) + GetSetupS21_SVODB(&now.second), 2);
    EXPECT_EQ(now, after);
  }
  // A stored OpMode that no mode has: S2-1 is kept all the same.
  Registers().FindRegister("OpMode")->raw[3] = 5;
  EXPECT_EQ(SetSetupS21_SVODB(1), 23);
  EXPECT_EQ(SetOpMode_SVODB(4), 23);  // the register's range refuses it
  EXPECT_EQ(std::tuple(Node(3).setupS21, Registers().FindRegister("OpMode")->raw[3], Traffic().size()),
            std::tuple(1u, 5, 0u));
}

TEST_F(IdentityExports, ModelAndDriveTypeOfAnImageAndTheModelCheck) {
  // The drive is an X7102 (31): Model in bits 7-3 of register 4, read twice,
  // compared with the node's model; the drive as read now is kept.
  ASSERT_EQ(drive_->FpgaByte(4) >> 3, 31);
  ASSERT_EQ(SetNode_SVODB(2), 1);
  EXPECT_EQ(CKModel_SVODB(), 1);
  EXPECT_EQ(Take(), (Lines{Read(4), Read(4)}));
  // The drive type of an image takes 1 or 2 only.
  int32_t type = 0, model = 0;
  for (const auto& [asked, result] : {std::pair{2, 1}, std::pair{3, 23}, std::pair{0, 23}})
    EXPECT_EQ(SetDriveType_SVODB(asked), result) << asked;
  ASSERT_EQ(SetModel_SVODB(28), 1);
  EXPECT_EQ(GetDriveType_SVODB(&type) + GetModel_SVODB(&model), 2);
  EXPECT_EQ(std::pair(type, model), std::pair(2, 28));
  Node(0).modelCode = Db().connectedModelCode = 15;
  EXPECT_EQ(CKModel_SVODB(), 9);
  EXPECT_EQ(std::tuple(Db().connectedModelCode, Node(0).modelCode, Node(2).modelCode),
            std::tuple(31u, 31u, 28u));
  drive_->Faults().FailCall(Operation::kGetVarFromFPGA, 2, 6);
  EXPECT_EQ(CKModel_SVODB(), 6);
  ASSERT_EQ(SetModel_SVODB(31), 1);
  drive_->Faults().FailCall(Operation::kGetVarFromFPGA, 1, 2);
  EXPECT_EQ(CKModel_SVODB(), 2);  // not 9 although the models agree
}

TEST_F(IdentityExports, OnlineModeReadsOpModeThenTheSwitch) {
  // OpMode, S2-1, then the mode reported plainly and to the GUI, and the units.
  const int cases[][5] = {
      {0, 1, 0, 0, 0}, {1, 0, 1, 1, 1}, {2, 1, 0, 0, 0}, {2, 0, 1, 1, 1}, {3, 1, 1, 2, 1}};
  for (const auto& [opMode, s21, plain, gui, units] : cases) {
    SetDriveModeBits(opMode, s21);
    for (bool toGui : {false, true}) {
      SCOPED_TRACE(std::to_string(opMode) + "/" + std::to_string(s21) + "/" + std::to_string(toGui));
      Take();
      Db().connectedMode = 7;
      int32_t mode = -1;
      EXPECT_EQ(toGui ? GetModeOnline_GUI_SVODB(&mode) : GetModeOnline_SVODB(&mode), 1);
      EXPECT_EQ(std::tuple(mode, Db().connectedMode),
                std::tuple(toGui ? gui : plain, static_cast<uint32_t>(units)));
      EXPECT_EQ(Take(), (Lines{Read(1), Read(1), Read(25)}));
    }
  }
  // A failed switch read leaves the connected mode alone.
  Db().connectedMode = 0;
  drive_->Faults().FailCall(Operation::kGetVarFromFPGA, 1, 3, 25);
  int32_t mode = -1;
  EXPECT_EQ(GetModeOnline_SVODB(&mode), 3);
  EXPECT_EQ(std::tuple(mode, Db().connectedMode), std::tuple(-1, 0u));
}

// Register 1 holds 67 (OpMode 1, CmdSrc 0, other bits 3) or 131 (OpMode 2).
TEST_F(IdentityExports, OnlineOpModeIsWrittenBeforeTheSwitchIsRead) {
  SetDriveModeBits(1, 1);
  Db().connectedMode = 1;
  const Lines toTwo{"GetVarFromFPGA(1) -> 1 [67]", "PutVarToFPGA(1, 131) -> 1",
                    "GetVarFromFPGA(1) -> 1 [131]"};
  const Lines toOne{"GetVarFromFPGA(1) -> 1 [131]", "PutVarToFPGA(1, 67) -> 1",
                    "GetVarFromFPGA(1) -> 1 [67]"};
  const auto thenSwitch = [](Lines lines) {
    lines.push_back("GetVarFromFPGA(25) -> 1 [1]");
    return lines;
  };
  // The export, OpMode through the numeric export (truncated), and another
  // spelling, which is an ordinary variable: no switch read, no new mode.
  const std::tuple<std::function<Result()>, Result, uint32_t, Lines> steps[] = {
      {[] { return SetOpModeOnline_SVODB(2); }, 1, 0, thenSwitch(toTwo)},
      {[] { return SetOpModeOnline_SVODB(4); }, 23, 0, {}},
      {[] { return PutVariableOnline_SVODB("OpMode", 1.9); }, 1, 1, thenSwitch(toOne)},
      {[] { return PutVariableOnline_SVODB("opmode", 2); }, 1, 1, toTwo},
  };
  for (const auto& [call, result, mode, traffic] : steps) {
    SCOPED_TRACE(traffic.size());
    const Result got = call();
    EXPECT_EQ(std::tuple(got, Db().connectedMode, Take()), std::tuple(result, mode, traffic));
  }
}

TEST_F(IdentityExports, LogicVersionCheck) {
  const auto Check = [] {
    uint8_t out = 7;
    return std::pair{CKLogicVersion_SVODB(&out), int{out}};  // braces: the call first
  };
  for (const auto& [logic, text, atLeastTwo] : {std::tuple{2, "2.0A", 1}, std::tuple{1, "1.0A", 0},
                                                std::tuple{0, "1.0A", 0}, std::tuple{4, "4.0A", 1}}) {
    Connect(sim::DriveConfig{.logicVersion = logic, .versionText = text});
    EXPECT_EQ(Check(), std::pair(1, atLeastTwo)) << logic;
  }
  drive_->Faults().FailCall(Operation::kGetVarFromFPGA, 2, 6, 30);
  EXPECT_EQ(Check(), std::pair(6, 0));
  Db().connectedModelCode = 16;  // no model of the table: the conversion fails
  EXPECT_EQ(Check(), std::pair(9, 0));
}

// The export answers in its output only: its result is always 0.
TEST_F(ExportTest, SupportByVersionTextAndLogicVersion) {
  // clang-format off
  const std::tuple<const char*, const char*, int32_t, bool> cases[] = {
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
  for (const auto& [name, text, logic, supported] : cases) {
    SCOPED_TRACE(std::string(name) + " " + text + " " + std::to_string(logic));
    EXPECT_EQ(IsSupportedByVersion(name, text, logic), supported);
    uint8_t out = 7;
    EXPECT_EQ(ParamSupportedByVersion_SVODB(name, text, logic, &out), 0);
    EXPECT_EQ(out, supported ? 1 : 0);
  }
  EXPECT_EQ(ParamSupportedByVersion_SVODB(nullptr, "4.0A", 4, nullptr), 0);
}

}  // namespace
}  // namespace svodb::testing
