#include "values/online_values.h"

#include "catalog/parameter_database.h"
#include "drive/current_limits.h"
#include "drive/drive_facts.h"
#include "drive/register_map.h"
#include "drive/transport.h"
#include "drive/unit_scaling.h"
#include "values/catalogue_queries.h"
#include "values/conversion_dispatch.h"
#include "values/drive_identity.h"
#include "values/scaling_context.h"

namespace svodb {
namespace {

bool IsTextVariable(std::string_view name) { return name == "SerialNum" || name == "VerLW"; }

double PercentOfStep(int32_t step) {
  switch (step) {
    case 3: return 100;
    case 2: return 67;
    case 1: return 33;
    default: return 0;
  }
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

Result CurrentLimitToDriveVersion(LibraryContext& ctx, std::string_view name, uint32_t node,
                                  int32_t nodeLogic, int32_t driveLogic) {
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

Result CurrentLimitBackToNodeVersion(LibraryContext& ctx, std::string_view name, uint32_t node,
                                     int32_t nodeLogic, int32_t driveLogic) {
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
  if (ctx.db.catalogue.Find(name) == nullptr) return code::kInvalidParameter;
  DriveStore drive(ctx);
  return ReadValue(drive, name, EffectiveConversionCode(ctx, name, 0), value);
}

Result WriteVariableOnline(LibraryContext& ctx, std::string_view name, double value) {
  if (ctx.db.catalogue.Find(name) == nullptr) return code::kInvalidParameter;
  DriveStore drive(ctx);
  return WriteValue(drive, name, EffectiveConversionCode(ctx, name, 0), value);
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
  if (!IsUnitTableConversion(record->conversionCode)) return code::kOk;
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
