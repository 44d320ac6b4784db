#include "drive/scaling_context.h"

#include "catalog/parameter_database.h"
#include "drive/online_values.h"
#include "drive/register_transfers.h"

namespace svodb {

namespace {

constexpr int32_t kDeadBandCode = 14;
constexpr int32_t kPowerBoardByte = 511;

}  // namespace

bool DependsOnLogicVersion(int32_t conversionCode) {
  switch (conversionCode) {
    case 26: case 27: case 28: case 29: case 32: return true;
    default: return false;
  }
}

ScalingInputs ScalingInputsFor(LibraryContext& ctx, uint32_t node, int32_t conversionCode) {
  ScalingInputs inputs;
  if (node == 0 || node > kMaxNode) {
    inputs.modelCode = ctx.db.connectedModelCode;
    inputs.commandUnits = ctx.db.connectedMode;
    double logicVersion = 0.0;
    if (DependsOnLogicVersion(conversionCode) && ReadVariableOnline(ctx, "LogicVer", logicVersion) == code::kOk) {
      inputs.logicVersion = static_cast<int32_t>(logicVersion);
    }
  } else {
    const NodeState& image = ctx.db.nodes[node];
    inputs.modelCode = image.modelCode;
    inputs.commandUnits = image.mode;
    inputs.logicVersion = image.logicVersion;
  }
  if (conversionCode == kDeadBandCode) {
    // The width depends on the power board; a byte that cannot be read
    // counts as 0.
    uint8_t board = 0;
    if (ReadMotorMemoryByte(ctx, kPowerBoardByte, board) != code::kOk) board = 0;
    inputs.deadBandWidth = SelectDeadBandLayout(ctx.registers, board);
  }
  return inputs;
}

}  // namespace svodb
