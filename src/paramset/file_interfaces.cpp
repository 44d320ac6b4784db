#include "paramset/file_interfaces.h"

#include <optional>

#include "catalog/catalogue.h"
#include "catalog/parameter_database.h"
#include "drive/drive_facts.h"
#include "drive/register_transfers.h"
#include "paramset/param_file.h"
#include "paramset/parameter_sets.h"
#include "values/drive_identity.h"

namespace svodb {
namespace {

// What a file's header says about the image it holds.
struct NodeIdentity {
  uint32_t modelCode = 0;
  uint32_t mode = 0;
  uint32_t driveType = 0;
  uint32_t commandSourceClass = 0;
};

Result ReadNodeIdentity(LibraryContext& ctx, uint32_t node, NodeIdentity& identity) {
  Result result = GetNodeMode(ctx, node, identity.mode);
  if (result == code::kOk) result = GetCommandSourceClass(ctx, node, identity.commandSourceClass);
  if (result != code::kOk) return WithContext(Context::kDriveModeOrModel, result);
  identity.modelCode = ctx.db.nodes[node].modelCode;
  identity.driveType = ctx.db.nodes[node].driveType;
  return code::kOk;
}

// The user file set; an image of the connected drive (node 0) lists only
// what the drive's version supports, as the NV save always does.
ParameterList UserFileList(LibraryContext& ctx, bool versionChecked) {
  return UserFileSet(ctx.db.catalogue, versionChecked ? std::optional(ConnectedDriveVersion(ctx)) : std::nullopt);
}

ParameterList MfgFileList(LibraryContext& ctx, bool versionChecked) {
  ParameterList list = UserFileList(ctx, versionChecked);
  AppendParameterSet(ctx.db.catalogue, ParameterSet::kManufacturingFile, list);
  return list;
}

Result WriteFile(LibraryContext& ctx, uint32_t node, const std::string& fileName, ParameterList list,
                 bool manufacturing) {
  NodeIdentity identity;
  const Result identified = ReadNodeIdentity(ctx, node, identity);
  if (identified != code::kOk) return identified;
  constexpr int32_t kFileVersion = 3;
  return ComposeSetResult(Context::kWriteFile,
                          WriteParameterFile(ctx, fileName, std::move(list), manufacturing, identity.modelCode,
                                             identity.mode, identity.driveType, identity.commandSourceClass,
                                             kFileVersion, false, node));
}

bool IsKnownFileVersion(int32_t version) { return version >= 2 && version <= 4; }

// Loads a file into the node: 1, the reader's code + 50000, or 33 for a
// user file of a version no drive has (its values stay loaded).
Result LoadFile(LibraryContext& ctx, uint32_t node, const std::string& fileName, bool manufacturing) {
  uint32_t model = 0, mode = 0;
  int32_t version = 0;
  const Result read = ReadParameterFile(ctx, fileName, manufacturing, manufacturing, model, mode, version, node);
  if (read < kSetSuccess) return WithContext(Context::kReadFile, read);
  if (!manufacturing && !IsKnownFileVersion(version)) return code::kWrongFileVersion;
  return code::kOk;
}

Result CheckModelAgainstDrive(LibraryContext& ctx, uint32_t node) {
  const Result checked = CheckNodeModel(ctx, node);
  return checked == code::kOk ? checked : WithContext(Context::kDriveModeOrModel, checked);
}

Result ReadNvIntoNode(LibraryContext& ctx, uint32_t node) {
  return ComposeSetResult(Context::kLoadFromNv, ReadSetFromNV(ctx, DriveReadSet(ctx.db.catalogue), node));
}

// What a file operation reads of the drive before anything else: node 0's
// values follow the drive's logic (formats, the current limits' label or
// number, the version the file states); manufacturing files hold DeadBand,
// whose width follows the drive's power board for every node. A failed read
// fails the operation before a file or a store is touched.
FactNeeds FileNeeds(bool driveLogic, bool manufacturing) {
  return {.logicVersion = driveLogic, .powerBoard = manufacturing};
}

// An offline image's file needs a drive only for DeadBand's width.
FactNeeds ImageFileNeeds(uint32_t node, bool manufacturing) {
  return {.logicVersion = node == 0, .powerBoard = manufacturing, .driveOptional = node != 0};
}

}  // namespace

Result WriteUserFile(LibraryContext& ctx, uint32_t node, const std::string& fileName) {
  if (node > kMaxNode) return code::kOutOfRange;
  return WithDriveFacts(ctx, ImageFileNeeds(node, false), Context::kWriteFile,
                        [&] { return WriteFile(ctx, node, fileName, UserFileList(ctx, node == 0), false); });
}

Result WriteMfgFile(LibraryContext& ctx, uint32_t node, const std::string& fileName) {
  if (node > kMaxNode) return code::kOutOfRange;
  return WithDriveFacts(ctx, ImageFileNeeds(node, true), Context::kWriteFile,
                        [&] { return WriteFile(ctx, node, fileName, MfgFileList(ctx, node == 0), true); });
}

Result ReadUserFile(LibraryContext& ctx, uint32_t node, const std::string& fileName) {
  if (node > kMaxNode) return code::kOutOfRange;
  return WithDriveFacts(ctx, ImageFileNeeds(node, false), Context::kReadFile,
                        [&] { return LoadFile(ctx, node, fileName, false); });
}

Result ReadMfgFile(LibraryContext& ctx, uint32_t node, const std::string& fileName) {
  if (node > kMaxNode) return code::kOutOfRange;
  return WithDriveFacts(ctx, ImageFileNeeds(node, true), Context::kReadFile,
                        [&] { return LoadFile(ctx, node, fileName, true); });
}

Result CopyUserFileToNv(LibraryContext& ctx, uint32_t& currentNode, const std::string& fileName) {
  constexpr uint32_t kStagingNode = 1;
  // The facts serve the NV write; they are read before the file.
  return WithDriveFacts(ctx, FileNeeds(true, false), Context::kSendToNv, [&] {
    currentNode = kStagingNode;
    Result result = LoadFile(ctx, kStagingNode, fileName, false);
    if (result == code::kOk) result = CheckModelAgainstDrive(ctx, kStagingNode);
    if (result == code::kOk) result = WriteUserSetToNV(ctx, kStagingNode);
    if (result == code::kOk) currentNode = 0;
    return result;
  });
}

Result CopyMfgFileToNv(LibraryContext& ctx, uint32_t node, const std::string& fileName) {
  if (node > kMaxNode) return code::kOutOfRange;
  return WithDriveFacts(ctx, FileNeeds(true, true), Context::kSendToNv, [&] {
    Result result = LoadFile(ctx, node, fileName, true);
    if (result == code::kOk) result = CheckModelAgainstDrive(ctx, node);
    if (result != code::kOk) return result;
    result = ComposeSetResult(Context::kSendToNv,
                              WriteSetToNV(ctx, ManufacturingFileSet(ctx.db.catalogue), node));
    if (result != code::kOk) return result;
    const Result erased = EraseUnusedNv(ctx);
    return erased == code::kOk ? erased : WithContext(Context::kEraseNv, erased);
  });
}

Result SaveNvAsUserFile(LibraryContext& ctx, uint32_t node, const std::string& fileName) {
  if (node > kMaxNode) return code::kOutOfRange;
  return WithDriveFacts(ctx, FileNeeds(true, false), Context::kLoadFromNv, [&] {
    const Result read = ReadNvIntoNode(ctx, node);
    if (read != code::kOk) return read;
    return WriteFile(ctx, node, fileName, UserFileList(ctx, true), false);
  });
}

Result SaveNvAsMfgFile(LibraryContext& ctx, uint32_t node, const std::string& fileName) {
  if (node > kMaxNode) return code::kOutOfRange;
  return WithDriveFacts(ctx, FileNeeds(true, true), Context::kLoadFromNv, [&] {
    const Result read = ReadNvIntoNode(ctx, node);
    if (read != code::kOk) return read;
    return WriteFile(ctx, node, fileName, ManufacturingSet(ctx.db.catalogue), true);
  });
}

Result LoadDefaultsIntoImage(LibraryContext& ctx, uint32_t node) {
  if (node > kMaxNode) return code::kOutOfRange;
  return WithDriveFacts(ctx, ImageFileNeeds(node, true), Context::kLoadDefault, [&] {
    std::vector<std::string>& names = ctx.db.parameterFileNames[node];
    names.clear();
    for (const VariableRecord* record : UserFileList(ctx, node == 0)) names.emplace_back(record->name);
    // The tables' own failures are not reported: what loaded stays loaded.
    ApplyUserDefaults(ctx, node);
    ApplyMfgDefaults(ctx, node);
    return code::kOk;
  });
}

}  // namespace svodb
