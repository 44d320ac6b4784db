#include "paramset/availability.h"

#include <array>
#include <string>

#include "catalog/parameter_database.h"
#include "drive/drive_facts.h"
#include "drive/register_map.h"
#include "drive/register_transfers.h"
#include "drive/transport.h"
#include "values/offline_values.h"
#include "values/online_values.h"

namespace svodb {
namespace {

// Raw OpMode values.
constexpr int32_t kTorqueOpMode = 0;
constexpr int32_t kVelocityOpMode = 1;
constexpr int32_t kSwitchOpMode = 2;  // setup switch S2-1 chooses torque or velocity
constexpr int32_t kPositionOpMode = 3;

// Raw values of the feedback settings the rules look at.
constexpr int32_t kCommandVariableSource = 2;  // CmdSrc
constexpr int32_t kOptionCardFeedback = 1;     // FBSrc
constexpr int32_t kTrxMotorParameters = 1;     // SelTRXParam
constexpr int32_t kDriveMotorParameters = 0;   // SelTRXParam
constexpr int32_t kAQuadBPositionCommand = 0;  // PosCmdSrc
constexpr int32_t kSwitchCommutation = 0;      // CommMode: setup switch S2-2 decides
constexpr int32_t kTrxCommutation = 1;         // CommMode
constexpr double kTrxFeedbackType = 15.0;      // FbType
constexpr double kEnDatAuxFeedback = 4.0;      // AuxFBType EnDat 2.1
constexpr double kMitutoyoAuxFeedback = 6.0;   // AuxFBType

// Before logic 4.0 a drive cannot say whether its feedback is a TRX device;
// only the logic family with version texts "106.xy" reads one.
constexpr int32_t kFeedbackTypeLogic = 4;
constexpr std::string_view kTrxLogicFamily = "106.";
constexpr std::size_t kShortestVersionText = 3;

// The connection types the static/dynamic query knows nothing for.
constexpr Result kUnknownConnectionType = 25;

int32_t EnabledWhen(bool condition) { return condition ? kParamEnabled : kParamDisabled; }

bool BelowPositionMode(int32_t opMode) {
  return opMode == kTorqueOpMode || opMode == kVelocityOpMode || opMode == kSwitchOpMode;
}

// The configuration a rule decides on. Node 0 is the drive itself, so its
// facts are read from the drive on every call; an image answers from what it
// holds. Nothing is cached: a rule reads only what its branch needs, so the
// drive traffic follows the rule.
class RuleInputs {
 public:
  RuleInputs(LibraryContext& ctx, std::string_view name, uint32_t node)
      : ctx_(ctx), name_(name), node_(node) {}

  // C and M, known before any rule runs.
  Result ReadConnectionAndMode() {
    connection_ = OnDrive() ? ctx_.transport.GetCommType() : static_cast<int32_t>(Image().driveType);
    return Raw("OpMode", opMode_);
  }

  std::string_view Name() const { return name_; }
  bool OnDrive() const { return node_ == 0; }
  int32_t Connection() const { return connection_; }
  int32_t OpMode() const { return opMode_; }

  Result Raw(std::string_view reg, int32_t& raw) {
    if (OnDrive()) return ReadRegisterOnline(ctx_, reg, raw);
    return ctx_.registers.GetRawValue(reg, static_cast<int32_t>(node_), raw);
  }

  Result Value(std::string_view name, double& value) {
    if (OnDrive()) return ReadVariableOnline(ctx_, name, value);
    return GetOfflineValue(ctx_, name, node_, value);
  }

  // An image keeps its own copy of the switch in the node state.
  Result SetupS21(int32_t& setting) {
    if (OnDrive()) return Raw("SetupS2-1", setting);
    setting = static_cast<int32_t>(Image().setupS21);
    return code::kOk;
  }

  // AuxFBType has no register of its own: it is composed of five bits, so
  // drive and image alike are asked for its engineering value.
  Result AuxFeedbackType(double& type) { return Value("AuxFBType", type); }

  // A LogicVer that cannot be read counts as older logic, as it does when
  // the default tables are chosen.
  bool LogicAtLeastFour() {
    int32_t logic = 0;
    const Result result =
        OnDrive() ? ReadLogicVersionOfKnownModel(ctx_, logic) : ReadImageLogicVersion(ctx_, node_, logic);
    return result == code::kOk && logic >= kFeedbackTypeLogic;
  }

  const std::string& DriveVersionText() const { return ctx_.db.driveVersion; }

 private:
  const NodeState& Image() const { return ctx_.db.nodes[node_]; }

  LibraryContext& ctx_;
  std::string_view name_;
  uint32_t node_;
  int32_t connection_ = 0;
  int32_t opMode_ = 0;
};

// ------------------------------------------------------------ rule helpers

Result EnabledWhenRaw(RuleInputs& in, std::string_view reg, int32_t value, int32_t& enabled) {
  int32_t raw = 0;
  const Result result = in.Raw(reg, raw);
  if (result == code::kOk) enabled = EnabledWhen(raw == value);
  return result;
}

Result EnabledUnlessRaw(RuleInputs& in, std::string_view reg, int32_t value, int32_t& enabled) {
  int32_t raw = 0;
  const Result result = in.Raw(reg, raw);
  if (result == code::kOk) enabled = EnabledWhen(raw != value);
  return result;
}

// In OpMode 2 the switch S2-1 off means velocity mode.
Result EnabledWhenSwitchSelectsVelocity(RuleInputs& in, int32_t& enabled) {
  int32_t setting = 0;
  const Result result = in.SetupS21(setting);
  if (result == code::kOk) enabled = EnabledWhen(setting == 0);
  return result;
}

// Motor parameters come from the drive unless the TRX device supplies them;
// on the network an option card's feedback never does.
Result MotorParameterOnNetwork(RuleInputs& in, int32_t& enabled) {
  int32_t feedbackSource = 0;
  const Result result = in.Raw("FBSrc", feedbackSource);
  if (result != code::kOk) return result;
  if (feedbackSource != 0) {
    enabled = kParamEnabled;
    return code::kOk;
  }
  return EnabledUnlessRaw(in, "SelTRXParam", kTrxMotorParameters, enabled);
}

Result EnabledForAuxFeedback(RuleInputs& in, int32_t& enabled, bool (*enables)(double type)) {
  double type = 0.0;
  const Result result = in.AuxFeedbackType(type);
  if (result == code::kOk) enabled = EnabledWhen(enables(type));
  return result;
}

// ------------------------------------------------------------------ rules

using EnabledRule = Result (*)(RuleInputs& in, int32_t& enabled);

Result AnalogFilterRule(RuleInputs& in, int32_t& enabled) {
  const int32_t mode = in.OpMode();
  switch (in.Connection()) {
    case kSerialConnection:
      if (mode == kSwitchOpMode) return EnabledWhenSwitchSelectsVelocity(in, enabled);
      enabled = EnabledWhen(mode == kVelocityOpMode || mode == kPositionOpMode);
      return code::kOk;
    case kNetworkConnection:
      enabled = EnabledWhen(mode == kVelocityOpMode || mode == kSwitchOpMode);
      return code::kOk;
    default:
      // Without a known connection there is nothing to decide on: the
      // query fails as if the drive had not answered.
      return code::kNoResponse;
  }
}

Result CommandNullRule(RuleInputs& in, int32_t& enabled) {
  enabled = EnabledWhen(in.Connection() != kNetworkConnection);
  return code::kOk;
}

Result CommandRule(RuleInputs& in, int32_t& enabled) {
  if (in.Connection() == kSerialConnection)
    return EnabledWhenRaw(in, "CmdSrc", kCommandVariableSource, enabled);
  enabled = kParamDisabled;
  return code::kOk;
}

Result CommutationRule(RuleInputs& in, int32_t& enabled) {
  if (in.Connection() == kNetworkConnection)
    return EnabledUnlessRaw(in, "FBSrc", kOptionCardFeedback, enabled);
  enabled = kParamEnabled;
  return code::kOk;
}

Result MotorParameterRule(RuleInputs& in, int32_t& enabled) {
  switch (in.Connection()) {
    case kSerialConnection: return EnabledUnlessRaw(in, "SelTRXParam", kTrxMotorParameters, enabled);
    case kNetworkConnection: return MotorParameterOnNetwork(in, enabled);
    default: enabled = kParamDisabled; return code::kOk;
  }
}

Result EncoderOutputRule(RuleInputs& in, int32_t& enabled) {
  if (in.Connection() == kSerialConnection && in.OpMode() == kPositionOpMode)
    return EnabledUnlessRaw(in, "PosCmdSrc", kAQuadBPositionCommand, enabled);
  enabled = kParamEnabled;
  return code::kOk;
}

Result GearingRule(RuleInputs& in, int32_t& enabled) {
  switch (in.Connection()) {
    case kNetworkConnection: enabled = kParamNotApplicable; break;
    case kSerialConnection: enabled = EnabledWhen(!BelowPositionMode(in.OpMode())); break;
    default: enabled = kParamDisabled; break;
  }
  return code::kOk;
}

// Position-loop settings matter only to a serial drive in position mode.
Result PositionLoopRule(RuleInputs& in, int32_t& enabled) {
  enabled = EnabledWhen(in.Connection() == kSerialConnection && !BelowPositionMode(in.OpMode()));
  return code::kOk;
}

Result VelocityIntegralRule(RuleInputs& in, int32_t& enabled) {
  if (in.OpMode() == kTorqueOpMode) {
    enabled = kParamDisabled;
    return code::kOk;
  }
  if (in.Connection() == kSerialConnection && in.OpMode() == kSwitchOpMode)
    return EnabledWhenSwitchSelectsVelocity(in, enabled);
  enabled = kParamEnabled;
  return code::kOk;
}

Result VelocityGainOnSerial(RuleInputs& in, int32_t& enabled) {
  switch (in.OpMode()) {
    case kVelocityOpMode:
    case kPositionOpMode: return EnabledUnlessRaw(in, "SelTRXParam", kTrxMotorParameters, enabled);
    case kSwitchOpMode: {
      int32_t selection = 0;
      const Result result = in.Raw("SelTRXParam", selection);
      if (result != code::kOk) return result;
      if (selection != kDriveMotorParameters) {
        enabled = kParamDisabled;
        return code::kOk;
      }
      return EnabledWhenSwitchSelectsVelocity(in, enabled);
    }
    default: enabled = kParamEnabled; return code::kOk;
  }
}

Result VelocityGainRule(RuleInputs& in, int32_t& enabled) {
  if (in.OpMode() == kTorqueOpMode) {
    enabled = kParamDisabled;
    return code::kOk;
  }
  switch (in.Connection()) {
    case kNetworkConnection: return MotorParameterOnNetwork(in, enabled);
    case kSerialConnection: return VelocityGainOnSerial(in, enabled);
    default: enabled = kParamDisabled; return code::kOk;
  }
}

// Whether the motor's TRX device is the feedback in use: SelTRXParam first
// asks whether this drive can read one at all.
Result TrxRule(RuleInputs& in, int32_t& enabled) {
  if (in.Name() == "SelTRXParam") {
    bool readsTrx = false;
    if (!in.LogicAtLeastFour()) {
      const std::string_view text = in.DriveVersionText();
      if (text.size() < kShortestVersionText) return code::kWrongData;
      readsTrx = text.substr(0, text.size() - 2) == kTrxLogicFamily;
    } else {
      double feedbackType = 0.0;
      const Result result = in.Value("FbType", feedbackType);
      if (result != code::kOk) return result;
      readsTrx = feedbackType == kTrxFeedbackType;
    }
    if (!readsTrx) {
      enabled = kParamDisabled;
      return code::kOk;
    }
  }
  if (in.Connection() == kNetworkConnection) {
    double feedbackSource = 0.0;
    const Result result = in.Value("FBSrc", feedbackSource);
    if (result != code::kOk) return result;
    if (feedbackSource == kOptionCardFeedback) {
      enabled = kParamDisabled;
      return code::kOk;
    }
  }
  int32_t commutation = 0;
  const Result result = in.Raw("CommMode", commutation);
  if (result != code::kOk) return result;
  if (commutation == kTrxCommutation) {
    enabled = kParamEnabled;
    return code::kOk;
  }
  // An image has no switch S2-2 to consult.
  if (!in.OnDrive() || commutation != kSwitchCommutation) {
    enabled = EnabledWhen(commutation == kSwitchCommutation);
    return code::kOk;
  }
  return EnabledUnlessRaw(in, "SetupS2-2", 0, enabled);
}

Result EnDatRule(RuleInputs& in, int32_t& enabled) {
  if (in.Connection() == kSerialConnection) {
    enabled = kParamNotApplicable;
    return code::kOk;
  }
  return EnabledForAuxFeedback(
      in, enabled, [](double type) { return type == kEnDatAuxFeedback || type == kMitutoyoAuxFeedback; });
}

Result AuxDivisorRule(RuleInputs& in, int32_t& enabled) {
  if (in.Connection() == kSerialConnection) {
    enabled = kParamNotApplicable;
    return code::kOk;
  }
  return EnabledForAuxFeedback(in, enabled, [](double type) { return type != kEnDatAuxFeedback; });
}

Result EnDatResolutionRule(RuleInputs& in, int32_t& enabled) {
  if (in.Connection() == kSerialConnection) {
    enabled = kParamDisabled;
    return code::kOk;
  }
  return EnabledForAuxFeedback(in, enabled, [](double type) { return type == kEnDatAuxFeedback; });
}

// Flash programming is not something the tool offers as a parameter.
Result NotApplicableRule(RuleInputs&, int32_t& enabled) {
  enabled = kParamNotApplicable;
  return code::kOk;
}

// Only a network drive has the auxiliary feedback connector.
Result AuxFeedbackRule(RuleInputs& in, int32_t& enabled) {
  switch (in.Connection()) {
    case kSerialConnection: enabled = kParamNotApplicable; break;
    case kNetworkConnection: enabled = kParamEnabled; break;
    default: enabled = kParamDisabled; break;
  }
  return code::kOk;
}

// Shown to the user, never edited as parameters.
Result DisabledRule(RuleInputs&, int32_t& enabled) {
  enabled = kParamDisabled;
  return code::kOk;
}

// The first row naming a variable decides; names not listed are enabled.
struct EnabledRow {
  std::array<std::string_view, 11> names;  // exact spellings, unused places empty
  EnabledRule rule;
};

// clang-format off
constexpr EnabledRow kEnabledRules[] = {
    {{"ARF0", "ARF1"},                                                          AnalogFilterRule},
    {{"CmdInNullEnb"},                                                          CommandNullRule},
    {{"Command"},                                                               CommandRule},
    {{"CommMode"},                                                              CommutationRule},
    {{"I2TF0", "I2TTrip", "ILmtMinus", "ILmtPlus", "KIP", "DPoles"},            MotorParameterRule},
    {{"EncOut", "EncOutPPR"},                                                   EncoderOutputRule},
    {{"GearIn", "GearOut"},                                                     GearingRule},
    {{"KPP", "KVFF"},                                                           PositionLoopRule},
    {{"KVI"},                                                                   VelocityIntegralRule},
    {{"KVP"},                                                                   VelocityGainRule},
    {{"PosCmdSrc", "PosErrorMax"},                                              PositionLoopRule},
    {{"SelTRXParam", "TRXSpan", "TRXExtFaults", "TRXPosMT", "TRXDiag"},         TrxRule},
    {{"EnDatNumClks", "EnDatDistMT"},                                           EnDatRule},
    {{"AuxFBDivisor"},                                                          AuxDivisorRule},
    {{"EnDatPPR"},                                                              EnDatResolutionRule},
    {{"ISPConfig", "ISPEnable", "ISPErase", "ISPProgram", "ISPVerify"},         NotApplicableRule},
    {{"AuxFBType", "FBSrc", "AFBDivisorSrc", "AFBEnDatEnb", "AFBSrc", "AFBHallsDis", "AuxFBComAng", "AuxFBEnDatFlt", "AuxFBHallFlt", "AuxFBPTCFlt", "AuxFBSCDFlt"}, AuxFeedbackRule},
    {{"VerLW", "AuxFBMitFlt", "AuxFBMitAlrm", "FAULTHISPNTR", "FaultHistory"},  DisabledRule},
};

// Dynamic only on the network, where they change while the drive runs.
constexpr std::string_view kDynamicOnNetwork[] = {"Command", "OpMode", "SWEnable"};

// Dynamic on any connection: measurements, inputs and status.
constexpr std::string_view kDynamicVariables[] = {
    "HSOT", "CmdIn", "DInp1 (EnbHWInp)", "DInp2 (InhibitCW)", "DInp3 (InhibitCCW)", "DInp4 (MSInp1)",
    "DInp1", "DInp2", "DInp3", "DInp4", "HSInp1", "DriveOK", "EMUAI", "EMUBI", "Enabled", "ExtFaults",
    "FaultCode", "FoldBack", "HallInp", "HSTemp", "IdFB", "IFB", "LogicVer", "Model", "MTemp", "PosFB",
    "PosFBMTrn", "PWMLo", "SerialNum", "SetupS1", "SetupS2", "TRXExtFaults", "TRXPosMT", "SixStep",
    "SetupS2-1", "SetupS2-2", "VBus", "VelFB", "Velocity", "VerLW", "AuxFBComAng", "AuxFBEnDatFlt",
    "AuxFBHallFlt", "AuxFBPTCFlt", "AuxFBSCDFlt", "EnDatDistMT", "EnDatPPR",
};
// clang-format on

const EnabledRow* FindEnabledRule(std::string_view name) {
  for (const EnabledRow& row : kEnabledRules) {
    for (std::string_view listed : row.names) {
      if (listed.empty()) break;
      if (listed == name) return &row;
    }
  }
  return nullptr;
}

template <std::size_t N>
bool Lists(const std::string_view (&names)[N], std::string_view name) {
  for (std::string_view listed : names)
    if (listed == name) return true;
  return false;
}

}  // namespace

Result GetParamEnabled(LibraryContext& ctx, std::string_view name, int32_t node, int32_t& enabled) {
  if (node < 0 || node > static_cast<int32_t>(kMaxNode)) return code::kOutOfRange;
  RuleInputs inputs(ctx, name, static_cast<uint32_t>(node));
  const Result result = inputs.ReadConnectionAndMode();
  if (result != code::kOk) return result;
  enabled = kParamEnabled;
  const EnabledRow* row = FindEnabledRule(name);
  return row != nullptr ? row->rule(inputs, enabled) : code::kOk;
}

Result GetParamStaticOrDynamic(LibraryContext& ctx, std::string_view name, int32_t& dynamic) {
  const int32_t connection = ctx.transport.GetCommType();
  if (connection == kNetworkConnection && Lists(kDynamicOnNetwork, name)) {
    dynamic = 1;
    return code::kOk;
  }
  if (connection != kSerialConnection && connection != kNetworkConnection) return kUnknownConnectionType;
  dynamic = Lists(kDynamicVariables, name) ? 1 : 0;
  return code::kOk;
}

}  // namespace svodb
