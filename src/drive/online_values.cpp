#include "drive/online_values.h"

#include <cmath>
#include <limits>

#include "catalog/drive_identity.h"
#include "catalog/parameter_database.h"
#include "drive/current_limits.h"
#include "drive/register_map.h"
#include "drive/register_transfers.h"
#include "drive/scaling_context.h"
#include "drive/transport.h"
#include "drive/unit_scaling.h"

namespace svodb {
namespace {

bool IsTextVariable(std::string_view name) { return name == "SerialNum" || name == "VerLW"; }
bool IsScaled(int32_t code) { return code >= 10 && code <= 599; }

double PercentOfStep(int32_t step) {
  switch (step) {
    case 3: return 100;
    case 2: return 67;
    case 1: return 33;
    default: return 0;
  }
}

// The drive reports one extended fault as its bit number + 1, several at
// once as 16 + the lowest bit number.
double ExtendedFaultValue(int32_t word) {
  if (word == 0) return 0;
  int lowest = 0;
  while (((word >> lowest) & 1) == 0) ++lowest;
  const bool single = (word & (word - 1)) == 0;
  return single ? lowest + 1 : 16 + lowest;
}

template <std::size_t N>
Result ReadRaws(LibraryContext& ctx, const char* const (&names)[N], int32_t (&raws)[N]) {
  for (std::size_t i = 0; i < N; ++i) {
    const Result result = ReadRegisterOnline(ctx, names[i], raws[i]);
    if (result != code::kOk) return result;
  }
  return code::kOk;
}

// PWMMinus, PWMPlus and CmdSrc: the analog command's two counts and scale.
struct CommandCounts {
  int32_t pwmMinus = 0, pwmPlus = 0;
  CommandSetup setup;
};

Result ReadCommandCounts(LibraryContext& ctx, CommandCounts& counts) {
  static const char* const kNames[] = {"PWMMinus", "PWMPlus", "CmdSrc"};
  int32_t raws[3] = {};
  const Result result = ReadRaws(ctx, kNames, raws);
  if (result != code::kOk) return result;
  counts.pwmMinus = raws[0];
  counts.pwmPlus = raws[1];
  counts.setup = CommandSetup{ctx.db.connectedModelCode, ctx.db.connectedMode, raws[2]};
  return code::kOk;
}

Result WriteCommandCounts(LibraryContext& ctx, int32_t pwmMinus, int32_t pwmPlus) {
  const uint32_t units = ctx.db.connectedMode;
  const Result result = WriteRegisterOnline(ctx, "PWMMinus", pwmMinus, static_cast<int32_t>(units));
  if (result != code::kOk) return result;
  return WriteRegisterOnline(ctx, "PWMPlus", pwmPlus, static_cast<int32_t>(units));
}

// ---- reads -------------------------------------------------------------------

// The current limits' layout and conversion code follow the connected drive.
void FollowDriveCurrentLimits(LibraryContext& ctx, std::string_view name) {
  int32_t logicVersion = 0;
  if (ReadRegisterOnline(ctx, "LogicVer", logicVersion) != code::kOk) return;
  ctx.db.catalogue.Find(name)->conversionCode = CurrentLimitCode(name, logicVersion);
  ctx.registers.SetCurrentLimitLayout(logicVersion);
}

Result ReadAuxFbType(LibraryContext& ctx, double& value) {
  static const char* const kNames[] = {"AFBHallsDis", "AFBDivisorSrc", "AFBEnDatEnb", "AFBSrc", "AFBMitEn"};
  int32_t raws[5] = {};
  const Result result = ReadRaws(ctx, kNames, raws);
  if (result != code::kOk) return result;
  value = ComposeAuxFBType(AuxFbBits{raws[4], raws[0], raws[1], raws[2], raws[3]});
  return code::kOk;
}

Result ReadScaled(LibraryContext& ctx, std::string_view registerName, int32_t conversionCode, double& value) {
  int32_t raw = 0;
  const Result result = ReadRegisterOnline(ctx, registerName, raw);
  if (result != code::kOk) return result;
  return RawToUser(conversionCode, raw, ScalingInputsFor(ctx, 0, conversionCode), value);
}

Result ReadCommandScaling(LibraryContext& ctx, int32_t conversionCode, double& value) {
  CommandCounts counts;
  const Result result = ReadCommandCounts(ctx, counts);
  if (result != code::kOk) return result;
  return conversionCode == 601 ? CommandGainFromPwm(counts.setup, counts.pwmPlus, counts.pwmMinus, value)
                               : CommandOffsetFromPwm(counts.setup, counts.pwmPlus, counts.pwmMinus, value);
}

Result ReadExtendedFaults(LibraryContext& ctx, double& value) {
  static const char* const kNames[] = {"ExtFaults1", "ExtFaults2"};
  int32_t raws[2] = {};
  const Result result = ReadRaws(ctx, kNames, raws);
  if (result != code::kOk) return result;
  value = ExtendedFaultValue(raws[1] * 256 + raws[0]);
  return code::kOk;
}

// ---- writes ------------------------------------------------------------------

Result WriteAuxFbType(LibraryContext& ctx, double value) {
  AuxFbBits bits;
  const Result split = SplitAuxFBType(value, bits);
  if (split != code::kOk) return split;
  for (const auto& [name, raw] : AuxFbWrites(bits)) {
    const Result result = WriteRegisterOnline(ctx, name, raw, static_cast<int32_t>(ctx.db.connectedMode));
    if (result != code::kOk) return result;
  }
  return code::kOk;
}

Result WriteScaled(LibraryContext& ctx, std::string_view name, int32_t conversionCode, double value) {
  int32_t raw = 0;
  const Result result = UserToRaw(conversionCode, value, ScalingInputsFor(ctx, 0, conversionCode), raw);
  if (result != code::kOk) return result;
  return WriteRegisterOnline(ctx, name, raw, static_cast<int32_t>(ctx.db.connectedMode));
}

// A new gain keeps the present offset and a new offset the present gain;
// both counts are rewritten, PWMMinus first.
Result WriteCommandScaling(LibraryContext& ctx, int32_t conversionCode, double value) {
  CommandCounts counts;
  Result result = ReadCommandCounts(ctx, counts);
  if (result != code::kOk) return result;
  double gain = value, offset = value;
  result = conversionCode == 601 ? CommandOffsetFromPwm(counts.setup, counts.pwmPlus, counts.pwmMinus, offset)
                                 : CommandGainFromPwm(counts.setup, counts.pwmPlus, counts.pwmMinus, gain);
  if (result != code::kOk) return result;
  int32_t pwmPlus = 0, pwmMinus = 0;
  result = PwmPlusFromCommand(counts.setup, gain, offset, pwmPlus);
  if (result != code::kOk) return result;
  result = PwmMinusFromCommand(counts.setup, gain, offset, pwmMinus);
  if (result != code::kOk) return result;
  return WriteCommandCounts(ctx, pwmMinus, pwmPlus);
}

// Either count alone: the other is rewritten with its present value, in the
// drive's order PWMMinus then PWMPlus.
Result WritePwmCount(LibraryContext& ctx, int32_t conversionCode, double value) {
  int32_t count = 0;
  Result result = UserToRaw(conversionCode, value, ScalingInputsFor(ctx, 0, conversionCode), count);
  if (result != code::kOk) return result;
  const bool minus = conversionCode == 603;
  int32_t other = 0;
  result = ReadRegisterOnline(ctx, minus ? "PWMPlus" : "PWMMinus", other);
  if (result != code::kOk) return result;
  return minus ? WriteCommandCounts(ctx, count, other) : WriteCommandCounts(ctx, other, count);
}

// ---- whole-set version conversions --------------------------------------------

Result ReformatScaled(LibraryContext& ctx, std::string_view name, uint32_t node, int32_t conversionCode,
                      int32_t newLogicVersion) {
  const auto nodeIndex = static_cast<int32_t>(node);
  int32_t raw = 0;
  Result result = ctx.registers.GetRawValue(name, nodeIndex, raw);
  if (result != code::kOk) return result;
  NodeState& image = ctx.db.nodes[node];
  // The image's own model and units, also for node 0: the node's facts were
  // just read, and the drive's LogicVer is no concern of an image's format.
  ScalingInputs inputs = ImageScalingInputs(ctx, node, conversionCode);
  double value = 0.0;
  result = RawToUser(conversionCode, raw, inputs, value);
  if (result != code::kOk) return result;
  image.logicVersion = newLogicVersion;
  inputs.logicVersion = newLogicVersion;
  result = UserToRaw(conversionCode, value, inputs, raw);
  if (result != code::kOk) return result;
  return ctx.registers.SetRawValue(name, raw, static_cast<int32_t>(image.mode), nodeIndex);
}

int32_t& RememberedLimit(LibraryContext& ctx, std::string_view name) {
  return name == "ILmtPlus" ? ctx.db.rememberedCurrentLimits.plus : ctx.db.rememberedCurrentLimits.minus;
}

Result CurrentLimitToDriveVersion(LibraryContext& ctx, std::string_view name, uint32_t node, int32_t nodeLogic,
                                  int32_t driveLogic) {
  const auto nodeIndex = static_cast<int32_t>(node);
  const NodeState& image = ctx.db.nodes[node];
  int32_t raw = 0;
  const Result result = ctx.registers.GetRawValue(name, nodeIndex, raw);
  if (result != code::kOk) return result;
  if (nodeLogic < 3 && driveLogic >= 3) {
    RememberedLimit(ctx, name) = raw;
    ctx.registers.SetCurrentLimitLayout(3);
    ScalingInputs inputs{image.modelCode, image.mode, image.logicVersion, 5};
    int32_t percentRaw = 0;
    const Result converted = UserToRaw(CurrentLimitCode(name, 3), PercentOfStep(raw), inputs, percentRaw);
    if (converted != code::kOk) return converted;
    return ctx.registers.SetRawValue(name, percentRaw, static_cast<int32_t>(image.mode), nodeIndex);
  }
  if (nodeLogic >= 3 && driveLogic < 3) {
    RememberedLimit(ctx, name) = raw;
    ctx.registers.SetCurrentLimitLayout(2);
    return ctx.registers.SetRawValue(name, CurrentLimitStep(name, raw), static_cast<int32_t>(image.mode),
                                     nodeIndex);
  }
  return code::kOk;
}

Result CurrentLimitBackToNodeVersion(LibraryContext& ctx, std::string_view name, uint32_t node, int32_t nodeLogic,
                                     int32_t driveLogic) {
  const bool raised = nodeLogic < 3 && driveLogic >= 3;
  const bool lowered = nodeLogic >= 3 && driveLogic < 3;
  if (!raised && !lowered) return code::kOk;
  ctx.registers.SetCurrentLimitLayout(raised ? 2 : 3);
  return ctx.registers.SetRawValue(name, RememberedLimit(ctx, name),
                                   static_cast<int32_t>(ctx.db.nodes[node].mode), static_cast<int32_t>(node));
}

// Both conversions start from the node's model and command units.
Result ReadNodeFacts(LibraryContext& ctx, uint32_t node) {
  if (node > kMaxNode) return code::kOutOfRange;
  uint32_t mode = 0;
  const Result result = GetNodeMode(ctx, node, mode);
  return result == code::kOk ? result : WithContext(Context::kDriveModeOrModel, result);
}

}  // namespace

Result ReadVariableOnline(LibraryContext& ctx, std::string_view name, double& value) {
  if (IsCurrentLimit(name)) FollowDriveCurrentLimits(ctx, name);
  const VariableRecord* record = ctx.db.catalogue.Find(name);
  if (record == nullptr) return code::kInvalidParameter;
  const int32_t c = record->conversionCode;
  if (c == 0 || c == 1 || c == 2) {
    int32_t raw = 0;
    const Result result = ReadRegisterOnline(ctx, name, raw);
    if (result == code::kOk) value = raw;
    return result;
  }
  if (c == 3) return ReadAuxFbType(ctx, value);
  if (IsScaled(c) || c == 603 || c == 604 || c == 752) return ReadScaled(ctx, name, c, value);
  if (c == 601 || c == 602) return ReadCommandScaling(ctx, c, value);
  if (c == 701) return ReadExtendedFaults(ctx, value);
  if (c == 751) return ReadScaled(ctx, "HstSet", 51, value);
  return code::kWrongDataType;
}

Result WriteVariableOnline(LibraryContext& ctx, std::string_view name, double value) {
  if (IsCurrentLimit(name)) {
    double logicVersion = 0.0;
    if (ReadVariableOnline(ctx, "LogicVer", logicVersion) == code::kOk && logicVersion < 3.0) {
      ctx.db.catalogue.Find(name)->conversionCode = 1;
    }
  }
  const VariableRecord* record = ctx.db.catalogue.Find(name);
  if (record == nullptr) return code::kInvalidParameter;
  const int32_t c = record->conversionCode;
  if (c == 0 || c == 1 || c == 2) {
    return WriteRegisterOnline(ctx, name, TruncateToRaw(value), static_cast<int32_t>(ctx.db.connectedMode));
  }
  if (c == 3) return WriteAuxFbType(ctx, value);
  if (IsScaled(c) || c == 752) return WriteScaled(ctx, name, c, value);
  if (c == 601 || c == 602) return WriteCommandScaling(ctx, c, value);
  if (c == 603 || c == 604) return WritePwmCount(ctx, c, value);
  return code::kWrongDataType;
}

Result GetVariableOnline(LibraryContext& ctx, std::string_view name, double& value) {
  if (IsTextVariable(name)) return code::kInvalidParameter;
  if (name == "FTPass" || name == "FTFail") {
    // The factory test results are read from their NV entries as they are,
    // whatever register the entries name.
    int32_t fpgaRegister = 0, data = 0;
    const Result result = ctx.transport.GetVarFromEEPROM(name == "FTPass" ? 42 : 43, &fpgaRegister, &data);
    if (result == code::kOk) value = static_cast<double>(static_cast<uint32_t>(data));
    return result;
  }
  return ReadVariableOnline(ctx, name, value);
}

Result PutVariableOnline(LibraryContext& ctx, std::string_view name, double value) {
  if (IsTextVariable(name)) return code::kInvalidParameter;
  if (name == "OpMode") return SetOpModeOnline(ctx, TruncateToRaw(value));
  return WriteVariableOnline(ctx, name, value);
}

namespace {

// Both conversions start from the node's facts; current limits of images
// change form only across the logic-3 line, and other scaled values take
// the target's gain format.
Result ConvertForWrite(LibraryContext& ctx, std::string_view name, uint32_t node, int32_t nodeLogic,
                       int32_t driveLogic, bool toDrive) {
  const Result facts = ReadNodeFacts(ctx, node);
  if (facts != code::kOk) return facts;
  const VariableRecord* record = ctx.db.catalogue.Find(name);
  if (record == nullptr) return code::kInvalidParameter;
  if (IsCurrentLimit(name)) {
    if (node == 0) return code::kOk;
    return toDrive ? CurrentLimitToDriveVersion(ctx, name, node, nodeLogic, driveLogic)
                   : CurrentLimitBackToNodeVersion(ctx, name, node, nodeLogic, driveLogic);
  }
  if (!IsScaled(record->conversionCode)) return code::kOk;
  return ReformatScaled(ctx, name, node, record->conversionCode, toDrive ? driveLogic : nodeLogic);
}

}  // namespace

Result ConvertToDriveVersion(LibraryContext& ctx, std::string_view name, uint32_t node, int32_t nodeLogic,
                             int32_t driveLogic) {
  return ConvertForWrite(ctx, name, node, nodeLogic, driveLogic, true);
}

Result ConvertBackToNodeVersion(LibraryContext& ctx, std::string_view name, uint32_t node, int32_t nodeLogic,
                                int32_t driveLogic) {
  return ConvertForWrite(ctx, name, node, nodeLogic, driveLogic, false);
}

}  // namespace svodb
