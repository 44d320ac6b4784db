// Exports of the drive's identity and operating mode, on the current node
// unless the name says online.
#include "api/global_state.h"
#include "api/guard.h"
#include "catalog/parameter_database.h"
#include "catalog/version_support.h"
#include "svodb/svodb.h"
#include "values/drive_identity.h"

using svodb::LibraryContext;
using svodb::NodeState;
using svodb::api::CurrentNode;
namespace code = svodb::code;

namespace {

// Runs an operation on the context; an internal failure is 99.
template <typename Body>
int32_t Run(Body body) {
  return svodb::api::OnContext(code::kSystemError, [&](LibraryContext& ctx) {
    return body(ctx);
  });
}

// Outputs a stored fact of the current node.
template <typename Field>
int32_t GetNodeFact(int32_t* out, Field field) {
  if (out == nullptr) return code::kInvalidParameter;
  return Run([&](LibraryContext& ctx) {
    *out = static_cast<int32_t>(field(ctx.db.nodes[CurrentNode()]));
    return code::kOk;
  });
}

// Outputs what an operation found, when it found it.
template <typename Body>
int32_t Output(int32_t* out, Body body) {
  if (out == nullptr) return code::kInvalidParameter;
  return Run([&](LibraryContext& ctx) {
    uint32_t value = 0;
    const int32_t result = body(ctx, value);
    if (result == code::kOk) *out = static_cast<int32_t>(value);
    return result;
  });
}

}  // namespace

extern "C" {

SVODB_API int32_t SVODB_CALL GetModel_SVODB(int32_t* model) {
  return GetNodeFact(model, [](const NodeState& node) { return node.modelCode; });
}

SVODB_API int32_t SVODB_CALL SetModel_SVODB(int32_t model) {
  return Run([&](LibraryContext& ctx) {
    ctx.db.nodes[CurrentNode()].modelCode = static_cast<uint32_t>(model);
    return code::kOk;
  });
}

SVODB_API int32_t SVODB_CALL GetModelOnline_SVODB(int32_t* model) {
  return Output(model, [](LibraryContext& ctx, uint32_t& value) { return svodb::ReadModelOnline(ctx, value); });
}

SVODB_API int32_t SVODB_CALL CKModel_SVODB(void) {
  return Run([](LibraryContext& ctx) { return svodb::CheckNodeModel(ctx, CurrentNode()); });
}

SVODB_API int32_t SVODB_CALL GetMode_SVODB(int32_t* mode) {
  return Output(mode, [](LibraryContext& ctx, uint32_t& value) { return svodb::GetNodeMode(ctx, CurrentNode(), value); });
}

SVODB_API int32_t SVODB_CALL SetOpMode_SVODB(int32_t opMode) {
  return Run([&](LibraryContext& ctx) { return svodb::SetNodeOpMode(ctx, CurrentNode(), opMode); });
}

SVODB_API int32_t SVODB_CALL GetModeOnline_SVODB(int32_t* mode) {
  return Output(mode, [](LibraryContext& ctx, uint32_t& value) { return svodb::ReadModeOnline(ctx, false, value); });
}

SVODB_API int32_t SVODB_CALL GetModeOnline_GUI_SVODB(int32_t* mode) {
  return Output(mode, [](LibraryContext& ctx, uint32_t& value) { return svodb::ReadModeOnline(ctx, true, value); });
}

SVODB_API int32_t SVODB_CALL SetOpModeOnline_SVODB(int32_t opMode) {
  return Run([&](LibraryContext& ctx) { return svodb::SetOpModeOnline(ctx, opMode); });
}

SVODB_API int32_t SVODB_CALL GetSetupS21_SVODB(int32_t* setupS21) {
  return GetNodeFact(setupS21, [](const NodeState& node) { return node.setupS21; });
}

SVODB_API int32_t SVODB_CALL SetSetupS21_SVODB(int32_t setupS21) {
  return Run([&](LibraryContext& ctx) { return svodb::SetNodeSetupS21(ctx, CurrentNode(), setupS21); });
}

SVODB_API int32_t SVODB_CALL GetDriveType_SVODB(int32_t* driveType) {
  return GetNodeFact(driveType, [](const NodeState& node) { return node.driveType; });
}

SVODB_API int32_t SVODB_CALL SetDriveType_SVODB(int32_t driveType) {
  return Run([&](LibraryContext& ctx) { return svodb::SetNodeDriveType(ctx, CurrentNode(), driveType); });
}

SVODB_API int32_t SVODB_CALL CKLogicVersion_SVODB(uint8_t* atLeastTwo) {
  if (atLeastTwo == nullptr) return code::kInvalidParameter;
  return Run([&](LibraryContext& ctx) { return svodb::CheckLogicVersion(ctx, *atLeastTwo); });
}

SVODB_API int32_t SVODB_CALL ParamSupportedByVersion_SVODB(const char* name, const char* versionText,
                                                           int32_t logicVersion, uint8_t* supported) {
  // The drive tools' answer is the output alone; the result is always 0.
  if (name == nullptr || versionText == nullptr || supported == nullptr) return 0;
  svodb::api::GuardedVoid(
      [&] { *supported = svodb::IsSupportedByVersion(name, versionText, logicVersion) ? 1 : 0; });
  return 0;
}

}  // extern "C"
