#include "values/scaling_context.h"

#include "catalog/parameter_database.h"
#include "drive/drive_facts.h"
#include "drive/register_transfers.h"
#include "values/online_values.h"

namespace svodb {

namespace {

constexpr int32_t kDeadBandCode = 14;

// The DeadBand width depends on the power board. A whole-set or file
// operation read the byte once at its start; a single conversion reads it
// now, and a byte that cannot be read counts as 0.
void FollowPowerBoard(LibraryContext& ctx, int32_t conversionCode, ScalingInputs& inputs) {
  if (conversionCode != kDeadBandCode) return;
  uint8_t board = 0;
  if (const auto known = KnownPowerBoard(ctx)) {
    board = *known;
  } else if (ReadMotorMemoryByte(ctx, kPowerBoardByte, board) != code::kOk) {
    board = 0;
  }
  inputs.deadBandWidth = SelectDeadBandLayout(ctx.registers, board);
}

}  // namespace

bool DependsOnLogicVersion(int32_t conversionCode) {
  switch (conversionCode) {
    case 26: case 27: case 28: case 29: case 32: return true;
    default: return false;
  }
}

ScalingInputs ScalingInputsFor(LibraryContext& ctx, uint32_t node, int32_t conversionCode) {
  if (node != 0 && node <= kMaxNode) return ImageScalingInputs(ctx, node, conversionCode);
  ScalingInputs inputs;
  inputs.modelCode = ctx.db.connectedModelCode;
  inputs.commandUnits = ctx.db.connectedMode;
  if (DependsOnLogicVersion(conversionCode)) inputs.logicVersion = LogicVersionOrOldest(ctx);
  FollowPowerBoard(ctx, conversionCode, inputs);
  return inputs;
}

ScalingInputs ImageScalingInputs(LibraryContext& ctx, uint32_t node, int32_t conversionCode) {
  const NodeState& image = ctx.db.nodes[node <= kMaxNode ? node : 0];
  ScalingInputs inputs;
  inputs.modelCode = image.modelCode;
  inputs.commandUnits = image.mode;
  inputs.logicVersion = image.logicVersion;
  FollowPowerBoard(ctx, conversionCode, inputs);
  return inputs;
}

}  // namespace svodb
