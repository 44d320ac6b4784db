#include "values/drive_identity.h"

#include "catalog/parameter_database.h"
#include "drive/drive_facts.h"
#include "drive/register_map.h"
#include "drive/register_transfers.h"
#include "values/online_values.h"

namespace svodb {
namespace {

bool IsNode(uint32_t node) { return node <= kMaxNode; }

Result StoredOpMode(LibraryContext& ctx, uint32_t node, int32_t& opMode) {
  return ctx.registers.GetRawValue("OpMode", static_cast<int32_t>(node), opMode);
}

}  // namespace

Result DeriveMode(int32_t opMode, uint32_t setupS21, bool guiView, uint32_t& mode) {
  switch (opMode) {
    case 0: mode = kTorqueMode; return code::kOk;
    case 1: mode = kVelocityMode; return code::kOk;
    case 3: mode = guiView ? kPositionMode : kVelocityMode; return code::kOk;
    case 2:
      if (setupS21 > 1) return code::kOutOfRange;
      mode = setupS21 == 1 ? kTorqueMode : kVelocityMode;
      return code::kOk;
    default: return code::kOutOfRange;
  }
}

Result GetNodeMode(LibraryContext& ctx, uint32_t node, uint32_t& mode) {
  if (!IsNode(node)) return code::kOutOfRange;
  int32_t opMode = 0;
  Result result = StoredOpMode(ctx, node, opMode);
  if (result != code::kOk) return result;
  NodeState& image = ctx.db.nodes[node];
  result = DeriveMode(opMode, image.setupS21, false, image.mode);
  if (result == code::kOk) mode = image.mode;
  return result;
}

Result SetNodeOpMode(LibraryContext& ctx, uint32_t node, int32_t opMode) {
  if (!IsNode(node)) return code::kOutOfRange;
  NodeState& image = ctx.db.nodes[node];
  const Result stored =
      ctx.registers.SetRawValue("OpMode", opMode, static_cast<int32_t>(image.mode), static_cast<int32_t>(node));
  if (stored != code::kOk) return stored;
  return DeriveMode(opMode, image.setupS21, false, image.mode);
}

Result SetNodeSetupS21(LibraryContext& ctx, uint32_t node, int32_t setupS21) {
  if (!IsNode(node)) return code::kOutOfRange;
  int32_t opMode = 0;
  const Result result = StoredOpMode(ctx, node, opMode);
  if (result != code::kOk) return result;
  if (setupS21 != 0 && setupS21 != 1) return code::kOutOfRange;
  NodeState& image = ctx.db.nodes[node];
  image.setupS21 = static_cast<uint32_t>(setupS21);
  return DeriveMode(opMode, image.setupS21, false, image.mode);
}

Result SetNodeDriveType(LibraryContext& ctx, uint32_t node, int32_t driveType) {
  if (!IsNode(node) || (driveType != 1 && driveType != 2)) return code::kOutOfRange;
  ctx.db.nodes[node].driveType = static_cast<uint32_t>(driveType);
  return code::kOk;
}

Result CheckNodeModel(LibraryContext& ctx, uint32_t node) {
  if (!IsNode(node)) return code::kOutOfRange;
  uint32_t connected = 0;
  const Result result = ReadModelOnline(ctx, connected);
  if (result != code::kOk) return result;
  return ctx.db.nodes[node].modelCode == connected ? code::kOk : code::kWrongModel;
}

Result ReadModelOnline(LibraryContext& ctx, uint32_t& model) {
  int32_t raw = 0;
  const Result result = ReadRegisterOnline(ctx, "Model", raw);
  if (result != code::kOk) return result;
  ctx.db.connectedModelCode = static_cast<uint32_t>(raw);
  ctx.db.nodes[0].modelCode = static_cast<uint32_t>(raw);
  model = static_cast<uint32_t>(raw);
  return code::kOk;
}

Result ReadModeOnline(LibraryContext& ctx, bool guiView, uint32_t& mode) {
  int32_t opMode = 0, setupS21 = 0;
  Result result = ReadRegisterOnline(ctx, "OpMode", opMode);
  if (result != code::kOk) return result;
  result = ReadRegisterOnline(ctx, "SetupS2-1", setupS21);
  if (result != code::kOk) return result;
  uint32_t units = 0, reported = 0;
  result = DeriveMode(opMode, static_cast<uint32_t>(setupS21), false, units);
  if (result != code::kOk) return result;
  DeriveMode(opMode, static_cast<uint32_t>(setupS21), guiView, reported);
  ctx.db.connectedMode = units;
  mode = reported;
  return code::kOk;
}

Result SetOpModeOnline(LibraryContext& ctx, int32_t opMode) {
  Result result = WriteRegisterOnline(ctx, "OpMode", opMode, static_cast<int32_t>(ctx.db.connectedMode));
  if (result != code::kOk) return result;
  int32_t setupS21 = 0;
  result = ReadRegisterOnline(ctx, "SetupS2-1", setupS21);
  if (result != code::kOk) return result;
  return DeriveMode(opMode, static_cast<uint32_t>(setupS21), false, ctx.db.connectedMode);
}

Result CheckLogicVersion(LibraryContext& ctx, uint8_t& atLeastTwo) {
  int32_t logicVersion = 0;
  const Result result = ReadLogicVersionOfKnownModel(ctx, logicVersion);
  atLeastTwo = result == code::kOk && logicVersion >= 2 ? 1 : 0;
  return result;
}

Result SetModeFromFile(LibraryContext& ctx, uint32_t node, int32_t mode) {
  if (!IsNode(node)) return code::kOutOfRange;
  if (mode != 0 && mode != 1) return code::kWrongOpMode;
  NodeState& image = ctx.db.nodes[node];
  image.mode = static_cast<uint32_t>(mode);
  image.setupS21 = mode == 0 ? 1 : 0;
  return code::kOk;
}

Result GetCommandSourceClass(LibraryContext& ctx, uint32_t node, uint32_t& commandSourceClass) {
  if (!IsNode(node)) return code::kOutOfRange;
  int32_t raw = 0;
  const Result result = ctx.registers.GetRawValue("cmdsrc", static_cast<int32_t>(node), raw);
  if (result != code::kOk) return result;
  if (raw < 0 || raw > 2) return code::kOutOfRange;
  ctx.db.nodes[node].commandSourceClass = static_cast<uint32_t>(raw);
  commandSourceClass = static_cast<uint32_t>(raw);
  return code::kOk;
}

}  // namespace svodb
