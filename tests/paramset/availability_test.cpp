// Whether a parameter is enabled and a variable dynamic, through the exports,
// on the virtual drive (node 0) and on an offline image.
#include <sstream>

#include "paramset/set_fixture.h"

namespace svodb::testing {
namespace {

using sim::DriveConfig;
using sim::Operation;
using Lines = std::vector<std::string>;

constexpr int32_t kSerial = 1;
constexpr int32_t kNetwork = 2;
constexpr int32_t kNeither = 3;  // reported by the transport, stored for an image
constexpr uint32_t kImage = 4;
constexpr int32_t kUntouched = 77;

using Answer = std::pair<int32_t, int32_t>;  // the code and the output (kUntouched when not written)
constexpr Answer Ok(int32_t out) { return {1, out}; }

// A configuration, put on the drive or into an image.
struct Settings {
  int32_t opMode = 1, s21 = 0, s22 = 0, cmdSrc = 0, commMode = 1, fbSrc = 0, selTrx = 0, posCmdSrc = 1,
          fbType = 15, logic = 4, auxBits = 0;
};

// Where the drive keeps the fields the rules read: address, top bit, width.
struct Field {
  const char* name;
  int32_t Settings::*value;
  uint8_t address;
  int topBit, width;
};
// clang-format off
constexpr Field kFields[] = {
    {"OpMode", &Settings::opMode, 1, 7, 2},          {"CmdSrc", &Settings::cmdSrc, 1, 5, 2},
    {"CommMode", &Settings::commMode, 1, 3, 2},      {"SetupS2-1", &Settings::s21, 25, 0, 1},
    {"SetupS2-2", &Settings::s22, 25, 1, 1},         {"PosCmdSrc", &Settings::posCmdSrc, 13, 7, 1},
    {"SelTRXParam", &Settings::selTrx, 59, 6, 1},    {"FBSrc", &Settings::fbSrc, 76, 0, 1},
    {"FbType", &Settings::fbType, 109, 3, 4},        {"LogicVer", &Settings::logic, 30, 7, 8},
    {"AFBMitEn AFBHallsDis AFBEnDatEnb AFBDivisorSrc AFBSrc", &Settings::auxBits, 121, 7, 8},
};
// clang-format on

class Availability : public DriveExports {
 protected:
  void Open(int32_t connection) {
    ASSERT_EQ(UsePort(1, 19200, connection, 0, 0, 0), 1);
    drive_.Log().Clear();
  }
  void OnDrive(int32_t connection, const Settings& s) {
    Open(connection == kNeither ? kSerial : connection);
    if (connection == kNeither) drive_.Faults().FailCall(Operation::kGetCommType, 1, 3);
    for (const Field& f : kFields) {
      const int shift = f.topBit - f.width + 1, mask = ((1 << f.width) - 1) << shift;
      drive_.SetFpgaByte(f.address, static_cast<uint8_t>((drive_.FpgaByte(f.address) & ~mask) |
                                                         ((s.*f.value << shift) & mask)));
    }
  }
  // An image of the same settings. S2-1 is kept in the node state, S2-2
  // not at all; the auxiliary feedback bits only on the drive.
  void OnImage(int32_t connection, const Settings& s) {
    Node(kImage).driveType = static_cast<uint32_t>(connection);
    Node(kImage).setupS21 = static_cast<uint32_t>(s.s21);
    for (const Field& f : kFields)
      if (f.address != 25 && f.address != 121) Store(f.name, kImage) = s.*f.value;
  }
  static Answer Enabled(const char* name, int32_t node) {
    int32_t enabled = kUntouched;
    return {GetParamEnabled_SVODB(name, node, &enabled), enabled};
  }
  static Answer Dynamic(const char* name) {
    int32_t dynamic = kUntouched;
    return {GetParamStaticOrDynamic_SVODB(name, &dynamic), dynamic};
  }
  Lines Traffic() const { return drive_.Log().Lines(); }
};

constexpr int32_t kAsOnTheDrive = -9, kNotOnAnImage = -8;

struct RuleCase {
  const char* names;  // separated by blanks
  int32_t connection;
  Settings settings;
  int32_t enabled;
  int32_t code = 1;
  int32_t onImage = kAsOnTheDrive;
  const char* versionText = "";
};

// Each holds on the drive and on an image alike, unless the row says.
// clang-format off
const RuleCase kRuleCases[] = {
    {"ARF0 ARF1", kSerial, {.opMode = 0}, 0},  {"ARF0", kSerial, {.opMode = 1}, 1},  {"ARF1", kSerial, {.opMode = 3}, 1},
    {"ARF0", kSerial, {.opMode = 2, .s21 = 0}, 1},  {"ARF0", kSerial, {.opMode = 2, .s21 = 1}, 0},
    {"ARF0 ARF1", kNetwork, {.opMode = 0}, 0},  {"ARF0", kNetwork, {.opMode = 1}, 1},
    {"ARF1", kNetwork, {.opMode = 2, .s21 = 1}, 1},  {"ARF1", kNetwork, {.opMode = 3}, 0},
    {"CmdInNullEnb", kSerial, {}, 1},  {"CmdInNullEnb", kNetwork, {}, 0},
    {"Command", kSerial, {.cmdSrc = 2}, 1},  {"Command", kSerial, {.cmdSrc = 1}, 0},  {"Command", kNetwork, {.cmdSrc = 2}, 0},
    {"CommMode", kSerial, {.fbSrc = 1}, 1},  {"CommMode", kNetwork, {.fbSrc = 1}, 0},  {"CommMode", kNetwork, {.fbSrc = 0}, 1},
    {"I2TF0 I2TTrip ILmtMinus ILmtPlus KIP DPoles", kSerial, {.fbSrc = 1, .selTrx = 1}, 0},
    {"I2TF0 I2TTrip ILmtMinus ILmtPlus KIP DPoles", kSerial, {.selTrx = 0}, 1},
    {"I2TF0 I2TTrip ILmtMinus ILmtPlus KIP DPoles", kNetwork, {.fbSrc = 1, .selTrx = 1}, 1},
    {"I2TF0 I2TTrip ILmtMinus ILmtPlus KIP DPoles", kNetwork, {.fbSrc = 0, .selTrx = 1}, 0},
    {"KIP", kNetwork, {.fbSrc = 0, .selTrx = 0}, 1},
    {"EncOut EncOutPPR", kSerial, {.opMode = 3, .posCmdSrc = 0}, 0},  {"EncOut", kSerial, {.opMode = 3, .posCmdSrc = 1}, 1},
    {"EncOut", kSerial, {.opMode = 1, .posCmdSrc = 0}, 1},  {"EncOutPPR", kNetwork, {.opMode = 3, .posCmdSrc = 0}, 1},
    {"GearIn GearOut", kNetwork, {.opMode = 3}, -1},  {"GearOut", kSerial, {.opMode = 2}, 0},  {"GearIn", kSerial, {.opMode = 3}, 1},
    {"KPP KVFF PosCmdSrc PosErrorMax", kSerial, {.opMode = 3}, 1},  {"KPP KVFF PosCmdSrc PosErrorMax", kSerial, {.opMode = 2}, 0},
    {"KPP KVFF PosCmdSrc PosErrorMax", kNetwork, {.opMode = 3}, 0},
    {"KVI KVP", kSerial, {.opMode = 0}, 0},  {"KVI KVP", kNetwork, {.opMode = 0, .fbSrc = 1}, 0},
    {"KVI", kSerial, {.opMode = 2, .s21 = 1}, 0},  {"KVI", kSerial, {.opMode = 2, .s21 = 0}, 1},
    {"KVI", kNetwork, {.opMode = 2, .s21 = 1}, 1},  {"KVI", kSerial, {.opMode = 1, .s21 = 1}, 1},
    {"KVP", kNetwork, {.opMode = 1, .fbSrc = 1, .selTrx = 1}, 1},  {"KVP", kNetwork, {.opMode = 1, .fbSrc = 0, .selTrx = 1}, 0},
    {"KVP", kNetwork, {.opMode = 2, .fbSrc = 0, .selTrx = 0}, 1},  {"KVP", kSerial, {.opMode = 1, .fbSrc = 1, .selTrx = 1}, 0},
    {"KVP", kSerial, {.opMode = 3, .selTrx = 0}, 1},  {"KVP", kSerial, {.opMode = 2, .s21 = 0, .selTrx = 1}, 0},
    {"KVP", kSerial, {.opMode = 2, .s21 = 0, .selTrx = 0}, 1},  {"KVP", kSerial, {.opMode = 2, .s21 = 1, .selTrx = 0}, 0},
    {"SelTRXParam TRXSpan TRXExtFaults TRXPosMT TRXDiag", kSerial, {.commMode = 1}, 1},
    {"SelTRXParam TRXSpan TRXExtFaults TRXPosMT TRXDiag", kSerial, {.commMode = 2}, 0},
    {"SelTRXParam TRXSpan TRXExtFaults TRXPosMT TRXDiag", kNetwork, {.commMode = 1, .fbSrc = 1}, 0},
    {"SelTRXParam TRXSpan TRXExtFaults TRXPosMT TRXDiag", kNetwork, {.commMode = 1, .fbSrc = 0}, 1},
    {"TRXPosMT", kSerial, {.commMode = 3}, 0},  {"SelTRXParam", kSerial, {.commMode = 1, .fbType = 14}, 0},
    {"EnDatNumClks EnDatDistMT AuxFBDivisor", kSerial, {}, -1},  {"EnDatPPR", kSerial, {}, 0},
    {"ISPConfig ISPEnable ISPErase ISPProgram ISPVerify", kSerial, {}, -1},
    {"ISPConfig ISPEnable ISPErase ISPProgram ISPVerify", kNetwork, {}, -1},
    {"AuxFBType FBSrc AFBDivisorSrc AFBEnDatEnb AFBSrc AFBHallsDis AuxFBComAng AuxFBEnDatFlt AuxFBHallFlt AuxFBPTCFlt AuxFBSCDFlt", kSerial, {}, -1},
    {"AuxFBType FBSrc AFBDivisorSrc AFBEnDatEnb AFBSrc AFBHallsDis AuxFBComAng AuxFBEnDatFlt AuxFBHallFlt AuxFBPTCFlt AuxFBSCDFlt", kNetwork, {}, 1},
    {"VerLW AuxFBMitFlt AuxFBMitAlrm FAULTHISPNTR FaultHistory", kSerial, {}, 0},
    {"VerLW AuxFBMitFlt AuxFBMitAlrm FAULTHISPNTR FaultHistory", kNetwork, {}, 0},
    // Listed nowhere, or not in this spelling.
    {"AFBMitEn kvp arf0 ARF2 Gearin", kSerial, {.opMode = 0}, 1},  {"AFBMitEn gearin GEARIN", kNetwork, {}, 1},
    {"ARF0", kNeither, {.opMode = 1}, 1, 0},  {"CmdInNullEnb KVI", kNeither, {.opMode = 2, .s21 = 1}, 1},
    {"Command", kNeither, {.cmdSrc = 2}, 0},  {"CommMode", kNeither, {.fbSrc = 1}, 1},  {"KIP", kNeither, {.selTrx = 0}, 0},
    {"GearIn KPP", kNeither, {.opMode = 3}, 0},  {"KVP", kNeither, {.opMode = 1}, 0},
    {"EncOut", kNeither, {.opMode = 3, .posCmdSrc = 0}, 1},  {"AuxFBType", kNeither, {}, 0},
    // TRX commutation follows the live switch S2-2 on the drive only.
    {"TRXPosMT", kSerial, {.s22 = 1, .commMode = 0}, 1},  {"TRXPosMT", kSerial, {.s22 = 0, .commMode = 0}, 0, 1, 1},
    {"TRXPosMT", kSerial, {.s22 = 1, .commMode = 2}, 0},  {"TRXPosMT", kSerial, {.s22 = 1, .commMode = 3}, 0},
    // The network drive's auxiliary feedback type from the five bits of
    // register 121 (AFBMitEn 7, AFBHallsDis 3, AFBEnDatEnb 2, AFBDivisorSrc 1, AFBSrc 0): types 4, 6, 0 and 1.
    {"EnDatNumClks EnDatDistMT EnDatPPR", kNetwork, {.auxBits = 0x8F}, 1, 1, kNotOnAnImage},
    {"AuxFBDivisor", kNetwork, {.auxBits = 0x8F}, 0, 1, kNotOnAnImage},
    {"EnDatNumClks EnDatDistMT AuxFBDivisor", kNetwork, {.auxBits = 0x08}, 1, 1, kNotOnAnImage},
    {"EnDatPPR", kNetwork, {.auxBits = 0x08}, 0, 1, kNotOnAnImage},
    {"EnDatNumClks EnDatDistMT EnDatPPR", kNetwork, {.auxBits = 0x88}, 0, 1, kNotOnAnImage},
    {"AuxFBDivisor", kNetwork, {.auxBits = 0x80}, 1, 1, kNotOnAnImage},
    // Before logic 4 SelTRXParam needs the TRX logic family of version texts; the other four do not ask.
    {"SelTRXParam", kSerial, {.commMode = 1, .fbType = 0, .logic = 3}, 1, 1, kAsOnTheDrive, "106.2A"},
    {"SelTRXParam", kSerial, {.commMode = 2, .fbType = 0, .logic = 3}, 0, 1, kAsOnTheDrive, "106.2A"},
    {"SelTRXParam", kSerial, {.commMode = 1, .fbType = 0, .logic = 3}, 1, 1, kAsOnTheDrive, "106.12"},
    {"SelTRXParam", kSerial, {.commMode = 1, .fbType = 14, .logic = 4}, 0, 1, kAsOnTheDrive, "106.2A"},
    {"TRXSpan", kSerial, {.commMode = 1, .logic = 3}, 1},
    {"SelTRXParam", kSerial, {.commMode = 1, .fbType = 0, .logic = 3}, 1, 5, kAsOnTheDrive, "10"},
    {"SelTRXParam", kSerial, {.commMode = 1, .fbType = 0, .logic = 3}, 1, 5},
};
// clang-format on

// Version texts outside the TRX logic family.
const char* const kOtherFamilies[] = {"102.2A", "104.2A", "106.", "106.123", "3.2A", "106"};

std::vector<std::string> Split(const char* names) {
  std::vector<std::string> split;
  std::istringstream in(names);
  for (std::string name; in >> name;) split.push_back(name);
  return split;
}

TEST_F(Availability, EachRuleOnTheDriveAndOnAnImage) {
  std::vector<RuleCase> cases(std::begin(kRuleCases), std::end(kRuleCases));
  for (const char* text : kOtherFamilies)
    cases.push_back(
        {"SelTRXParam", kSerial, {.commMode = 1, .fbType = 0, .logic = 3}, 0, 1, kAsOnTheDrive, text});
  for (const RuleCase& c : cases) {
    api::Context().db.driveVersion = c.versionText;
    for (const std::string& name : Split(c.names)) {
      SCOPED_TRACE(name + " on connection " + std::to_string(c.connection) + " " + c.versionText);
      OnDrive(c.connection, c.settings);
      EXPECT_EQ(Enabled(name.c_str(), 0), Answer(c.code, c.enabled)) << "drive";
      if (c.onImage == kNotOnAnImage) continue;
      OnImage(c.connection, c.settings);
      drive_.Log().Clear();
      EXPECT_EQ(Enabled(name.c_str(), kImage),
                Answer(c.code, c.onImage == kAsOnTheDrive ? c.enabled : c.onImage))
          << "image";
      EXPECT_TRUE(Traffic().empty());
    }
  }
  OnDrive(kSerial, {.opMode = 0});  // ARF0 would be disabled
  EXPECT_EQ(Enabled("", 0), Ok(1));
}

// The drive is asked only what the rule needs, in rule order: settings are
// read twice, the live switches once.
TEST_F(Availability, TheDriveIsAskedOnlyWhatTheRuleNeedsInRuleOrder) {
  const struct {
    const char* name;
    int32_t connection;
    Settings settings;
    std::vector<int> reads;  // after GetCommType
  } cases[] = {
      // clang-format off
      {"KVP", kSerial, {.opMode = 2, .s21 = 0, .selTrx = 0}, {1, 1, 59, 59, 25}},
      {"KVP", kSerial, {.opMode = 0}, {1, 1}},  // torque mode decides KVP alone
      {"AFBMitEn", kSerial, {.opMode = 0}, {1, 1}},  // an unlisted name still costs C and M
      {"SelTRXParam", kNetwork, {.commMode = 1, .fbSrc = 0}, {1, 1, 30, 30, 109, 109, 76, 76, 1, 1}},
      {"TRXDiag", kSerial, {.s22 = 1, .commMode = 0}, {1, 1, 1, 1, 25}},  // S2-2 after CommMode
      {"EnDatPPR", kNetwork, {}, {1, 1, 121, 121, 121, 121, 121, 121, 121, 121, 121, 121}},
      // clang-format on
  };
  for (const auto& c : cases) {
    OnDrive(c.connection, c.settings);
    EXPECT_EQ(Enabled(c.name, 0).first, 1);
    Lines expected{"GetCommType() -> " + std::to_string(c.connection)};
    for (int address : c.reads) expected.push_back(FpgaRead(drive_, address));
    EXPECT_EQ(Traffic(), expected) << c.name;
  }
}

TEST_F(Availability, FailuresAndRefusals) {
  OnDrive(kSerial, {.opMode = 1, .selTrx = 0});
  drive_.Faults().FailCall(Operation::kGetVarFromFPGA, 2, 6, 1);  // the second OpMode read
  EXPECT_EQ(Enabled("KVP", 0), Answer(6, kUntouched));
  drive_.Faults().FailCall(Operation::kGetVarFromFPGA, 1, 4, 59);
  EXPECT_EQ(Enabled("KVP", 0), Answer(4, 1));
  drive_.Faults().ChangeSecondRead(59, 0x40);  // SelTRXParam is bit 6
  EXPECT_EQ(Enabled("KIP", 0), Answer(10, 1));

  drive_.Log().Clear();
  EXPECT_EQ(Enabled("KVP", 7), Answer(23, kUntouched));
  EXPECT_EQ(Enabled("KVP", -1), Answer(23, kUntouched));
  int32_t out = kUntouched;
  EXPECT_EQ(GetParamEnabled_SVODB(nullptr, 0, &out), 8);
  EXPECT_EQ(GetParamEnabled_SVODB("KVP", 0, nullptr), 8);
  EXPECT_EQ(GetParamStaticOrDynamic_SVODB(nullptr, &out), 8);
  EXPECT_EQ(GetParamStaticOrDynamic_SVODB("KVP", nullptr), 8);
  EXPECT_EQ(out, kUntouched);
  EXPECT_TRUE(Traffic().empty());

  // A LogicVer that cannot be read counts as older logic; FbType must read.
  api::Context().db.driveVersion = "106.2A";
  OnDrive(kSerial, {.commMode = 1, .fbType = 14});
  drive_.Faults().FailCall(Operation::kGetVarFromFPGA, 1, 6, 30);
  EXPECT_EQ(Enabled("SelTRXParam", 0), Ok(1));
  EXPECT_EQ(drive_.Log().Count(Operation::kGetVarFromFPGA), 5u);  // OpMode 2, LogicVer 1, CommMode 2
  drive_.Faults().FailCall(Operation::kGetVarFromFPGA, 1, 6, 109);
  EXPECT_EQ(Enabled("SelTRXParam", 0), Answer(6, 1));

  ASSERT_EQ(ClosePort(), 1);  // a drive that does not answer at all
  EXPECT_EQ(Enabled("CmdInNullEnb", 0), Answer(0, kUntouched));
}

// Command, OpMode and SWEnable are dynamic on the network only, asking the
// connection type; a connection of no known type answers 25.
TEST_F(Availability, DynamicVariables) {
  for (int32_t connection : {kSerial, kNetwork}) {
    Open(connection);
    for (const char* name :
         {"HSOT", "DInp1 (EnbHWInp)", "DInp4", "TRXPosMT", "SetupS2-2", "VelFB", "EnDatPPR"})
      EXPECT_EQ(Dynamic(name), Ok(1)) << name;
    for (const char* name : {"KVP", "AFBMitEn", "velfb", "DInp1 (EnbHWInp", "DInp1(EnbHWInp)", "", "command"})
      EXPECT_EQ(Dynamic(name), Ok(0)) << name;
    for (const char* name : {"Command", "OpMode", "SWEnable"}) {
      drive_.Log().Clear();
      EXPECT_EQ(Dynamic(name), Ok(connection == kNetwork ? 1 : 0)) << name;
      EXPECT_EQ(Traffic(), Lines{"GetCommType() -> " + std::to_string(connection)}) << name;
    }
  }
  ASSERT_EQ(ClosePort(), 1);
  EXPECT_EQ(Dynamic("VelFB"), Answer(25, kUntouched));
  Open(kNetwork);
  drive_.Faults().FailCall(Operation::kGetCommType, 1, 3);
  EXPECT_EQ(Dynamic("Command"), Answer(25, kUntouched));
  EXPECT_EQ(Traffic(), Lines{"GetCommType() -> 3"});
}

}  // namespace
}  // namespace svodb::testing
