#include "values/offline_values.h"

#include <algorithm>

#include "catalog/parameter_database.h"
#include "drive/current_limits.h"
#include "drive/drive_facts.h"
#include "drive/register_map.h"
#include "drive/register_transfers.h"
#include "drive/unit_scaling.h"
#include "values/catalogue_queries.h"
#include "values/conversion_dispatch.h"
#include "values/online_values.h"
#include "values/scaling_context.h"
#include "values/value_store.h"

namespace svodb {
namespace {

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
  if (result == code::kOk)
    result = RawToUser(conversionCode, range.driveRaw, inputs, properties.defaultValue);
  properties.conversionCode = conversionCode;
  return result;
}

Result CurrentLimitProperties(LibraryContext& ctx, std::string_view name, uint32_t node,
                              VariableProperties& properties) {
  const int32_t logicVersion = NodeLogicVersion(ctx, node);
  const int32_t conversionCode = CurrentLimitCode(name, logicVersion);
  if (node != 0) {
    const double percent = logicVersion < 3 ? 3 : 100;
    properties = VariableProperties{conversionCode, 0, percent, percent};
    return code::kOk;
  }
  RawRange range = ctx.registers.GetCurrentLimitRange(name, logicVersion);
  if (!range.found) return code::kInvalidParameter;
  if (logicVersion < 3) {
    range.min = 0;
    range.max = 3;
    range.driveRaw = std::min(range.driveRaw, 3);
  }
  if (conversionCode == 1) {
    properties = VariableProperties{1, double(range.min), double(range.max), double(range.driveRaw)};
    return code::kOk;
  }
  return ScaledProperties(conversionCode, range, ScalingInputsFor(ctx, 0, conversionCode), properties);
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
  const ValueKind kind = KindOf(c);
  RawRange range;
  switch (kind) {
    case ValueKind::kRaw:
    case ValueKind::kModelCode:
      if (!RangeAndDefault(ctx, name, units, range)) return code::kInvalidParameter;
      properties = VariableProperties{c, double(range.min), double(range.max), double(range.driveRaw)};
      return code::kOk;
    case ValueKind::kAuxFbType: properties = VariableProperties{kAuxFbTypeCode, 0, 6, 1}; return code::kOk;
    // The fault value is offered as a plain number up to 31.
    case ValueKind::kExtendedFaults: properties = VariableProperties{1, 0, 31, 0}; return code::kOk;
    case ValueKind::kCommandScaling:
      return CommandProperties(ctx, c, CommandSetup{model, units, state.commandSource}, state, properties);
    case ValueKind::kNone: return code::kWrongDataType;
    case ValueKind::kUnitScaled:
    case ValueKind::kPwmCount:
    case ValueKind::kHoldStep: break;
  }
  // The scaling follows the node's facts; for node 0 the connected drive's.
  const bool holdStep = kind == ValueKind::kHoldStep;
  const int32_t scalingCode = holdStep ? 51 : c;
  ScalingInputs inputs = ScalingInputsFor(ctx, node, scalingCode);
  inputs.modelCode = model;
  inputs.commandUnits = units;
  if (!RangeAndDefault(ctx, holdStep ? "HstSet" : name, units, range)) return code::kInvalidParameter;
  return ScaledProperties(scalingCode, range, inputs, properties);
}

}  // namespace

Result GetOfflineValue(LibraryContext& ctx, std::string_view name, uint32_t node, double& value) {
  if (node > kMaxNode) return code::kOutOfRange;
  if (ctx.db.catalogue.Find(name) == nullptr) return code::kInvalidParameter;
  ImageStore image(ctx, node);
  return ReadValue(image, name, EffectiveConversionCode(ctx, name, node), value);
}

Result ReadImageLogicVersion(LibraryContext& ctx, uint32_t node, int32_t& logicVersion) {
  double value = 0.0;
  const Result result = GetOfflineValue(ctx, "LogicVer", node, value);
  // LogicVer passes its raw integer through unscaled.
  logicVersion = result == code::kOk ? static_cast<int32_t>(value) : 0;
  return result;
}

Result PutOfflineValue(LibraryContext& ctx, std::string_view name, uint32_t node, double value) {
  if (node > kMaxNode) return code::kOutOfRange;
  if (ctx.db.catalogue.Find(name) == nullptr) return code::kInvalidParameter;
  ImageStore image(ctx, node);
  return WriteValue(image, name, EffectiveConversionCode(ctx, name, node), value);
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
