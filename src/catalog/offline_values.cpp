#include "catalog/offline_values.h"

#include <cmath>
#include <limits>

#include "catalog/parameter_database.h"
#include "catalog/version_support.h"
#include "drive/current_limits.h"
#include "drive/online_values.h"
#include "drive/register_map.h"
#include "drive/register_transfers.h"
#include "drive/scaling_context.h"
#include "drive/unit_scaling.h"

namespace svodb {
namespace {

bool IsScaled(int32_t code) { return (code >= 10 && code <= 599) || code == 603 || code == 604 || code == 752; }

// The connected drive's LogicVer as a raw register value; 0 when it cannot
// be read.
int32_t DriveLogicVersion(LibraryContext& ctx) {
  int32_t logicVersion = 0;
  return ReadRegisterOnline(ctx, "LogicVer", logicVersion) == code::kOk ? logicVersion : 0;
}

int32_t NodeLogicVersion(LibraryContext& ctx, uint32_t node) {
  return node == 0 ? DriveLogicVersion(ctx) : ctx.db.nodes[node].logicVersion;
}

// The image's model and units; node 0's logic version is the drive's.
ScalingInputs ValueScalingInputs(LibraryContext& ctx, uint32_t node, int32_t conversionCode) {
  ScalingInputs inputs = ImageScalingInputs(ctx, node, conversionCode);
  if (node == 0) inputs.logicVersion = DependsOnLogicVersion(conversionCode) ? DriveLogicVersion(ctx) : 0;
  return inputs;
}

int32_t NodeUnits(LibraryContext& ctx, uint32_t node) { return static_cast<int32_t>(ctx.db.nodes[node].mode); }

Result ReadCommandCounts(LibraryContext& ctx, uint32_t node, int32_t& pwmMinus, int32_t& pwmPlus,
                         CommandSetup& setup) {
  const auto n = static_cast<int32_t>(node);
  int32_t commandSource = 0;
  Result result = ctx.registers.GetRawValue("PWMMinus", n, pwmMinus);
  if (result == code::kOk) result = ctx.registers.GetRawValue("PWMPlus", n, pwmPlus);
  if (result == code::kOk) result = ctx.registers.GetRawValue("CmdSrc", n, commandSource);
  const NodeState& image = ctx.db.nodes[node];
  setup = CommandSetup{image.modelCode, image.mode, commandSource};
  return result;
}

// The Mitutoyo selection needs a logic that has it; older drives read the
// AFBMitEn bit as set.
Result GetAuxFbType(LibraryContext& ctx, uint32_t node, double& value) {
  const auto n = static_cast<int32_t>(node);
  AuxFbBits bits;
  Result result = ctx.registers.GetRawValue("AFBMitEn", n, bits.mitEn);
  if (result != code::kOk) return result;
  if (!SupportsMitutoyoFeedback(ctx.db.driveVersion)) bits.mitEn = 1;
  const std::pair<const char*, int32_t*> reads[] = {{"AFBHallsDis", &bits.hallsDis},
                                                    {"AFBDivisorSrc", &bits.divisorSrc},
                                                    {"AFBEnDatEnb", &bits.enDatEnb},
                                                    {"AFBSrc", &bits.src}};
  for (const auto& [name, field] : reads) {
    result = ctx.registers.GetRawValue(name, n, *field);
    if (result != code::kOk) return result;
  }
  value = ComposeAuxFBType(bits);
  return code::kOk;
}

Result GetCommandScaling(LibraryContext& ctx, uint32_t node, int32_t conversionCode, double& value) {
  int32_t pwmMinus = 0, pwmPlus = 0;
  CommandSetup setup;
  const Result result = ReadCommandCounts(ctx, node, pwmMinus, pwmPlus, setup);
  if (result != code::kOk) return result;
  return conversionCode == 601 ? CommandGainFromPwm(setup, pwmPlus, pwmMinus, value)
                               : CommandOffsetFromPwm(setup, pwmPlus, pwmMinus, value);
}

Result PutAuxFbType(LibraryContext& ctx, uint32_t node, double value) {
  AuxFbBits bits;
  Result result = SplitAuxFBType(value, bits);
  if (result != code::kOk) return result;
  for (const auto& [name, raw] : AuxFbWrites(bits)) {
    result = ctx.registers.SetRawValue(name, raw, NodeUnits(ctx, node), static_cast<int32_t>(node));
    if (result != code::kOk) return result;
  }
  return code::kOk;
}

// A new gain keeps the present offset and a new offset the present gain.
Result PutCommandScaling(LibraryContext& ctx, uint32_t node, int32_t conversionCode, double value) {
  int32_t pwmMinus = 0, pwmPlus = 0;
  CommandSetup setup;
  Result result = ReadCommandCounts(ctx, node, pwmMinus, pwmPlus, setup);
  if (result != code::kOk) return result;
  double gain = value, offset = value;
  result = conversionCode == 601 ? CommandOffsetFromPwm(setup, pwmPlus, pwmMinus, offset)
                                 : CommandGainFromPwm(setup, pwmPlus, pwmMinus, gain);
  if (result == code::kOk) result = PwmPlusFromCommand(setup, gain, offset, pwmPlus);
  if (result == code::kOk) result = PwmMinusFromCommand(setup, gain, offset, pwmMinus);
  const auto n = static_cast<int32_t>(node);
  if (result == code::kOk) result = ctx.registers.SetRawValue("PWMMinus", pwmMinus, NodeUnits(ctx, node), n);
  if (result == code::kOk) result = ctx.registers.SetRawValue("PWMPlus", pwmPlus, NodeUnits(ctx, node), n);
  return result;
}

// ---- properties ----------------------------------------------------------------

// A register's range for the command units and its node-0 raw value, which
// holds the factory default until node 0 is written.
bool RangeAndDefault(LibraryContext& ctx, std::string_view name, uint32_t units, RawRange& range) {
  range = units != 0 ? ctx.registers.GetVelocityRange(name) : ctx.registers.GetTorqueRange(name);
  return range.found;
}

Result ScaledProperties(int32_t conversionCode, const RawRange& range, const ScalingInputs& inputs,
                        VariableProperties& properties) {
  Result result = RawToUser(conversionCode, range.min, inputs, properties.minimum);
  if (result == code::kOk) result = RawToUser(conversionCode, range.max, inputs, properties.maximum);
  if (result == code::kOk) result = RawToUser(conversionCode, range.driveRaw, inputs, properties.defaultValue);
  properties.conversionCode = conversionCode;
  return result;
}

Result CurrentLimitProperties(LibraryContext& ctx, std::string_view name, uint32_t node,
                              VariableProperties& properties) {
  VariableRecord& record = *ctx.db.catalogue.Find(name);
  const int32_t logicVersion = NodeLogicVersion(ctx, node);
  ctx.registers.SetCurrentLimitLayout(logicVersion);
  record.conversionCode = CurrentLimitCode(name, logicVersion);
  if (node != 0) {
    const double percent = logicVersion < 3 ? 3 : 100;
    properties = VariableProperties{record.conversionCode, 0, percent, percent};
    return code::kOk;
  }
  RawRange range;
  if (!RangeAndDefault(ctx, name, ctx.db.connectedMode, range)) return code::kInvalidParameter;
  if (logicVersion < 3) {
    range.min = 0;
    range.max = 3;
    range.driveRaw = std::min(range.driveRaw, 3);
  }
  if (record.conversionCode == 1) {
    properties = VariableProperties{1, double(range.min), double(range.max), double(range.driveRaw)};
    return code::kOk;
  }
  return ScaledProperties(record.conversionCode, range, ScalingInputsFor(ctx, 0, record.conversionCode),
                          properties);
}

// The present command source, gain and offset that bound a new gain or
// offset.
struct CommandState {
  int32_t commandSource = 0;
  double gain = 0.0;
  double offset = 0.0;
};

Result ReadCommandState(LibraryContext& ctx, uint32_t node, CommandState& state) {
  if (node == 0) {
    Result result = ReadRegisterOnline(ctx, "CmdSrc", state.commandSource);
    if (result == code::kOk) result = ReadVariableOnline(ctx, "CmdGain", state.gain);
    if (result == code::kOk) result = ReadVariableOnline(ctx, "CmdOffset", state.offset);
    return result;
  }
  Result result = ctx.registers.GetRawValue("CmdSrc", static_cast<int32_t>(node), state.commandSource);
  if (result == code::kOk) result = GetOfflineValue(ctx, "CmdGain", node, state.gain);
  if (result == code::kOk) result = GetOfflineValue(ctx, "CmdOffset", node, state.offset);
  return result;
}

// A drive whose command source reads 3 is set to the command variable (2).
Result RepairDriveCommandSource(LibraryContext& ctx) {
  int32_t commandSource = 0;
  const Result result = ReadRegisterOnline(ctx, "CmdSrc", commandSource);
  if (result != code::kOk || commandSource != 3) return result;
  return WriteVariableOnline(ctx, "CmdSrc", 2);
}

Result CommandProperties(LibraryContext& ctx, int32_t conversionCode, const CommandSetup& setup,
                         const CommandState& state, VariableProperties& properties) {
  RawRange plus, minus;
  if (!RangeAndDefault(ctx, "PWMPlus", setup.commandUnits, plus) ||
      !RangeAndDefault(ctx, "PWMMinus", setup.commandUnits, minus)) {
    return code::kInvalidParameter;
  }
  properties.conversionCode = conversionCode;
  if (conversionCode == 601) {
    double gainLimit = 0.0;
    Result result = CommandGainLimit(setup, state.offset, plus.max, gainLimit);
    if (result != code::kOk) return result;
    properties.minimum = -gainLimit;
    properties.maximum = gainLimit;
    return CommandGainFromPwm(setup, plus.driveRaw, minus.driveRaw, properties.defaultValue);
  }
  OffsetBounds bounds;
  Result result = CommandOffsetLimits(setup, state.gain, plus.max, bounds);
  if (result != code::kOk) return result;
  properties.minimum = bounds.minimum;
  properties.maximum = bounds.maximum;
  return CommandOffsetFromPwm(setup, plus.driveRaw, minus.driveRaw, properties.defaultValue);
}

Result PropertiesByCode(LibraryContext& ctx, std::string_view name, uint32_t node, const CommandState& state,
                        VariableProperties& properties) {
  const int32_t c = ctx.db.catalogue.Find(name)->conversionCode;
  const uint32_t units = node == 0 ? ctx.db.connectedMode : ctx.db.nodes[node].mode;
  const uint32_t model = node == 0 ? ctx.db.connectedModelCode : ctx.db.nodes[node].modelCode;
  RawRange range;
  if (c == 0 || c == 1 || c == 2) {
    if (!RangeAndDefault(ctx, name, units, range)) return code::kInvalidParameter;
    properties = VariableProperties{c, double(range.min), double(range.max), double(range.driveRaw)};
    return code::kOk;
  }
  if (c == 3) {
    properties = VariableProperties{3, 0, 6, 1};
    return code::kOk;
  }
  if (c == 701) {
    properties = VariableProperties{1, 0, 31, 0};
    return code::kOk;
  }
  if (c == 601 || c == 602) {
    return CommandProperties(ctx, c, CommandSetup{model, units, state.commandSource}, state, properties);
  }
  // The scaling follows the node's facts; for node 0 the connected drive's.
  ScalingInputs inputs = ScalingInputsFor(ctx, node, c == 751 ? 51 : c);
  inputs.modelCode = model;
  inputs.commandUnits = units;
  if (c == 751) {
    if (!RangeAndDefault(ctx, "HstSet", units, range)) return code::kInvalidParameter;
    return ScaledProperties(51, range, inputs, properties);
  }
  if (!IsScaled(c)) return code::kWrongDataType;
  if (!RangeAndDefault(ctx, name, units, range)) return code::kInvalidParameter;
  return ScaledProperties(c, range, inputs, properties);
}

}  // namespace

Result GetOfflineValue(LibraryContext& ctx, std::string_view name, uint32_t node, double& value) {
  if (node > kMaxNode) return code::kOutOfRange;
  VariableRecord* record = ctx.db.catalogue.Find(name);
  if (record != nullptr && IsCurrentLimit(name)) {
    record->conversionCode = CurrentLimitCode(name, NodeLogicVersion(ctx, node));
  }
  if (record == nullptr) return code::kInvalidParameter;
  const int32_t c = record->conversionCode;
  if (c == 0 || c == 1) {
    int32_t raw = 0;
    const Result result = ctx.registers.GetRawValue(name, static_cast<int32_t>(node), raw);
    if (result == code::kOk) value = raw;
    return result;
  }
  if (c == 2) {
    value = ctx.db.nodes[node].modelCode;
    return code::kOk;
  }
  if (c == 3) return GetAuxFbType(ctx, node, value);
  if (c == 601 || c == 602) return GetCommandScaling(ctx, node, c, value);
  if (!IsScaled(c)) return code::kWrongDataType;
  int32_t raw = 0;
  const Result result = ctx.registers.GetRawValue(name, static_cast<int32_t>(node), raw);
  if (result != code::kOk) return result;
  return RawToUser(c, raw, ValueScalingInputs(ctx, node, c), value);
}

Result PutOfflineValue(LibraryContext& ctx, std::string_view name, uint32_t node, double value) {
  if (node > kMaxNode) return code::kOutOfRange;
  const VariableRecord* record = ctx.db.catalogue.Find(name);
  if (record == nullptr) return code::kInvalidParameter;
  const int32_t c = record->conversionCode;
  const auto n = static_cast<int32_t>(node);
  if (c == 0 || c == 1) return ctx.registers.SetRawValue(name, TruncateToRaw(value), NodeUnits(ctx, node), n);
  if (c == 2) {
    ctx.db.nodes[node].modelCode = static_cast<uint32_t>(TruncateToRaw(value));
    return code::kOk;
  }
  if (c == 3) return PutAuxFbType(ctx, node, value);
  if (c == 601 || c == 602) return PutCommandScaling(ctx, node, c, value);
  if (!IsScaled(c)) return code::kWrongDataType;
  int32_t raw = 0;
  const Result result = UserToRaw(c, value, ValueScalingInputs(ctx, node, c), raw);
  if (result != code::kOk) return result;
  return ctx.registers.SetRawValue(name, raw, NodeUnits(ctx, node), n);
}

Result GetOfflineProperties(LibraryContext& ctx, std::string_view name, uint32_t node,
                            VariableProperties& properties) {
  if (node > kMaxNode) return code::kOutOfRange;
  if (ctx.db.catalogue.Find(name) == nullptr) return code::kInvalidParameter;
  if (IsCurrentLimit(name)) return CurrentLimitProperties(ctx, name, node, properties);
  if (node == 0 && name == "CmdSrc") {
    const Result result = RepairDriveCommandSource(ctx);
    if (result != code::kOk) return result;
  }
  CommandState state;
  if (name == "CmdGain" || name == "CmdOffset") {
    const Result result = ReadCommandState(ctx, node, state);
    if (result != code::kOk) return result;
  }
  VariableProperties answer;
  const Result result = PropertiesByCode(ctx, name, node, state, answer);
  if (result == code::kOk) properties = answer;
  return result;
}

}  // namespace svodb
