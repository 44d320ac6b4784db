#include "paramset/parameter_sets.h"

#include <algorithm>

#include "catalog/parameter_database.h"
#include "catalog/version_support.h"
#include "drive/drive_facts.h"
#include "drive/register_transfers.h"
#include "drive/transport.h"
#include "paramset/default_tables.h"
#include "paramset/online_strings.h"
#include "paramset/param_file.h"
#include "values/drive_identity.h"
#include "values/offline_values.h"
#include "values/online_values.h"

namespace svodb {
namespace {

constexpr int32_t kNetworkCommType = 2;

ParameterList SetOf(const Catalogue& catalogue, ParameterSet set) {
  ParameterList list;
  AppendParameterSet(catalogue, set, list);
  return list;
}

bool IsNode(uint32_t node) { return node <= kMaxNode; }

// An entry is moved only when the drive's logic is at least the variable's.
bool PassesLogicTest(const VariableRecord& record, int32_t driveLogic) {
  return record.minLogicVersion <= driveLogic;
}

// Values the drive may take from the motor's TRX device instead: a write of
// such a value that does not read back is no failure of the set.
bool MayComeFromTrx(const VariableRecord& record) {
  return record.Has(kTrxMotorFlag) || record.Has(kSelTrxFlag);
}

// Converting DeadBand needs the drive's power board (its field's width).
bool ConvertsDeadBand(const ParameterList& list) {
  return std::ranges::any_of(list, [](const VariableRecord* record) { return record->conversionCode == 14; });
}

// Steps 1 and 2 of both reads: the drive's model and mode become the node's.
Result ReadModelAndMode(LibraryContext& ctx, NodeState& image) {
  uint32_t model = 0;
  Result result = ReadModelOnline(ctx, model);
  if (result != code::kOk) return result;
  image.modelCode = model;
  uint32_t mode = 0;
  result = ReadModeOnline(ctx, false, mode);
  if (result != code::kOk) return result;
  image.mode = mode;
  return code::kOk;
}

// The values read now are in the drive's format, so the image takes its
// logic version.
Result ReadDriveLogic(LibraryContext& ctx, NodeState& image, int32_t& logic) {
  const Result result = ReadLogicVersionOfKnownModel(ctx, logic);
  if (result == code::kOk) image.logicVersion = logic;
  return result;
}

// The logic version whose formats the image's values are in. Node 0's
// values are converted with the connected drive's LogicVer wherever they are
// set or read (parameter files, defaults, offline values), so node 0 takes
// the drive's logic version, whatever it last took, and its values travel to
// the drive as they are.
int32_t ImageLogic(LibraryContext& ctx, uint32_t node, int32_t driveLogic) {
  NodeState& image = ctx.db.nodes[node];
  if (node == 0) image.logicVersion = driveLogic;
  return image.logicVersion;
}

using LoadOperation = Result (*)(LibraryContext&, std::string_view, int32_t);

Result LoadEntries(LibraryContext& ctx, const ParameterList& list, uint32_t node, int32_t logic,
                   LoadOperation load) {
  for (const VariableRecord* record : list) {
    if (!PassesLogicTest(*record, logic)) continue;
    const Result result = load(ctx, record->name, static_cast<int32_t>(node));
    if (result != code::kOk) return result;
  }
  return kSetSuccess + static_cast<Result>(list.size());
}

// The drive model's column; default texts exist for eight models only.
Result DefaultsModel(LibraryContext& ctx, uint32_t node, uint32_t& model) {
  if (node != 0) {
    model = ctx.db.nodes[node].modelCode;
    return code::kOk;
  }
  return ReadModelOnline(ctx, model);
}

enum class RowFailure { kWithRowIndex, kPlain };

// Node 0's defaults follow the drive's logic (table, formats, current-limit
// form). The manufacturing defaults hold DeadBand, whose width follows the
// drive's power board on every node, and begin with the drive's version
// text, which only logic 3 and later keep.
FactNeeds DefaultsNeed(uint32_t node, DefaultSet set) {
  const bool manufacturing = set == DefaultSet::kManufacturing;
  return {.logicVersion = node == 0 || manufacturing, .powerBoard = manufacturing, .driveOptional = node != 0};
}

// Both default loads: the table of the node's drive type and logic
// generation, row by row through the parameter-file setter under torque
// units, then the setter's closing step, which turns the command gain,
// offset and source the setter holds into the two PWM counts. The
// manufacturing tables set none of the three, so there the counts follow
// whatever the user defaults or a parameter file last gave.
Result ApplyDefaults(LibraryContext& ctx, uint32_t node, DefaultSet set, RowFailure failure) {
  if (!IsNode(node)) return code::kOutOfRange;
  OperationFacts facts(ctx);
  const Result known = facts.Read(DefaultsNeed(node, set), Context::kNone);
  if (known != code::kOk) return known;
  const int32_t driveType =
      node == 0 ? ctx.transport.GetCommType() : static_cast<int32_t>(ctx.db.nodes[node].driveType);
  if (driveType != 1 && driveType != 2) return driveType;
  const auto rows = DefaultTable(set, static_cast<uint32_t>(driveType), UsesLogicFourDefaults(ctx, node));
  uint32_t model = 0;
  const Result modelResult = DefaultsModel(ctx, node, model);
  if (modelResult != code::kOk) return modelResult;
  constexpr uint32_t kTorqueUnits = 0;
  const std::optional<std::size_t> column = DefaultColumn(model);
  for (const DefaultRow& row : rows) {
    if (!column) {
      // A model without defaults fails at the first row; the user defaults
      // name that row twice over: 100 * row + (100 * row + 9).
      const Result wrongModel = WithDetail(code::kWrongModel, row.index);
      return failure == RowFailure::kPlain ? code::kWrongModel : WithDetail(wrongModel, row.index);
    }
    const Result result = SetFromFileText(ctx, row.name, kTorqueUnits, model, row.texts[*column], node);
    if (result != code::kOk) return failure == RowFailure::kPlain ? result : WithDetail(result, row.index);
  }
  return SetFromFileText(ctx, "END", kTorqueUnits, model, {}, node);
}

// Defaults loaded into node 0 go on to the drive's NV memory; the entries
// no parameter uses are erased after them. The working registers are left
// alone: the drive takes the defaults at its next power-up.
Result StoreDefaultsInNv(LibraryContext& ctx, const ParameterList& list) {
  const Result written = WriteSetToNV(ctx, list, 0);
  if (written < kSetSuccess) return WithContext(Context::kSendToNv, written);
  const Result erased = EraseUnusedNv(ctx);
  if (erased != code::kOk) return WithContext(Context::kEraseNv, erased);
  return code::kOk;
}

// Reading VerLW keeps the drive's version text and the DeadBand layout of
// its power board up to date. Logic before 3 has no version text (11),
// which is no failure here, and an image worked on with no drive connected
// (its LogicVer unknown) does without; any other failure is one.
Result ReadVersionText(LibraryContext& ctx) {
  if (!KnownLogicVersion(ctx)) return code::kOk;
  std::string versionText;
  const Result result = GetStringOnline(ctx, "VerLW", versionText);
  if (result == code::kOk || result == code::kWrongLogicVersion) return code::kOk;
  return WithDetail(result, PositionOf(ctx.db.catalogue, "VerLW"));
}

// The current offsets have no defaults: node 0's NV write keeps the drive's
// own, so on node 0 a failed read fails the load instead of letting a stale
// value reach NV. Other nodes write no NV and read them as before.
Result LoadCurrentOffsets(LibraryContext& ctx, uint32_t node) {
  for (const char* name : {"IVOffset", "IUOffset"}) {
    const Result result = LoadFromDrive(ctx, name, 0);
    if (node == 0 && result != code::kOk) return WithDetail(result, PositionOf(ctx.db.catalogue, name));
  }
  return code::kOk;
}

// What set operations need of the drive's facts, read before anything else
// (the exports through WithDriveFacts, the transfers again inside, where a
// surrounding operation's facts are reused): reads the logic version,
// writes also the power board when they convert DeadBand.
constexpr FactNeeds kLogicOnly{.logicVersion = true};

FactNeeds WriteNeeds(const ParameterList& list) {
  return {.logicVersion = true, .powerBoard = ConvertsDeadBand(list)};
}

Result ReadModelFirst(LibraryContext& ctx) {
  uint32_t model = 0;
  const Result result = ReadModelOnline(ctx, model);
  return result == code::kOk ? result : WithContext(Context::kDriveModeOrModel, result);
}

}  // namespace

// ---- the sets ----------------------------------------------------------------

ParameterList DriveReadSet(const Catalogue& catalogue) { return SetOf(catalogue, ParameterSet::kDriveRead); }

ParameterList ManufacturingSet(const Catalogue& catalogue) {
  return SetOf(catalogue, ParameterSet::kManufacturing);
}

ParameterList ManufacturingFileSet(const Catalogue& catalogue) {
  return SetOf(catalogue, ParameterSet::kManufacturingFile);
}

ParameterList UserWriteSet(LibraryContext& ctx) {
  const bool network = ctx.transport.GetCommType() == kNetworkCommType;
  return SetOf(ctx.db.catalogue, network ? ParameterSet::kNetworkUserWrite : ParameterSet::kUserWrite);
}

DriveVersion ConnectedDriveVersion(LibraryContext& ctx) {
  DriveVersion version{ctx.db.driveVersion, 0};
  version.logicVersion = LogicVersionOrOldest(ctx);
  return version;
}

ParameterList UserFileSet(const Catalogue& catalogue, const std::optional<DriveVersion>& supportedBy) {
  ParameterList list = SetOf(catalogue, ParameterSet::kUserFile);
  if (supportedBy) {
    std::erase_if(list, [&](const VariableRecord* record) {
      return !IsSupportedByVersion(record->name, supportedBy->text, supportedBy->logicVersion);
    });
  }
  return list;
}

// ---- whole-set transfers --------------------------------------------------

Result ReadSetFromDrive(LibraryContext& ctx, const ParameterList& list, uint32_t node) {
  if (!IsNode(node)) return code::kOutOfRange;
  OperationFacts facts(ctx);
  Result result = facts.Read(kLogicOnly, Context::kNone);
  if (result != code::kOk) return result;
  NodeState& image = ctx.db.nodes[node];
  result = ReadModelAndMode(ctx, image);
  if (result != code::kOk) return result;
  int32_t setupS21 = 0;
  result = ReadRegisterOnline(ctx, "SetupS2-1", setupS21);
  if (result != code::kOk) return result;
  image.setupS21 = static_cast<uint32_t>(setupS21);
  int32_t logic = 0;
  result = ReadDriveLogic(ctx, image, logic);
  if (result != code::kOk) return result;
  return LoadEntries(ctx, list, node, logic, LoadFromDrive);
}

Result ReadSetFromNV(LibraryContext& ctx, const ParameterList& list, uint32_t node) {
  if (!IsNode(node)) return code::kOutOfRange;
  OperationFacts facts(ctx);
  Result result = facts.Read(kLogicOnly, Context::kNone);
  if (result != code::kOk) return result;
  NodeState& image = ctx.db.nodes[node];
  result = ReadModelAndMode(ctx, image);
  if (result != code::kOk) return result;
  int32_t logic = 0;
  result = ReadDriveLogic(ctx, image, logic);
  if (result != code::kOk) return result;
  return LoadEntries(ctx, list, node, logic, LoadFromNv);
}

// The conversions' own results are not examined: a value that cannot be put
// in the drive's format is written as the image holds it and the write's
// read-back decides. The image always gets its own format back, also when
// the write failed, so a stopped transfer leaves the image as it was.
Result WriteSetToDrive(LibraryContext& ctx, const ParameterList& list, uint32_t node) {
  if (!IsNode(node)) return code::kOutOfRange;
  OperationFacts facts(ctx);
  Result result = facts.Read(WriteNeeds(list), Context::kNone);
  if (result != code::kOk) return result;
  const int32_t driveRaw = *KnownLogicVersion(ctx);
  // Logic 2 and older answers by its own support column, whatever the text.
  const std::string versionText = driveRaw > 2 ? ctx.db.driveVersion : std::string();
  // Node 0's values scale with the drive's model: a model that cannot be
  // read fails the write rather than leaving the last one in place.
  uint32_t model = 0;
  result = ReadModelOnline(ctx, model);
  if (result != code::kOk) return WithDetail(result, PositionOf(ctx.db.catalogue, "Model"));
  int32_t logic = 0;
  result = ReadLogicVersionOfKnownModel(ctx, logic);
  if (result != code::kOk) return result;
  const int32_t nodeLogic = ImageLogic(ctx, node, driveRaw);

  Result written = 0;
  for (const VariableRecord* record : list) {
    if (!PassesLogicTest(*record, logic) || !IsSupportedByVersion(record->name, versionText, driveRaw))
      continue;
    ConvertToDriveVersion(ctx, record->name, node, nodeLogic, driveRaw);
    result = StoreToDrive(ctx, record->name, static_cast<int32_t>(node));
    ConvertBackToNodeVersion(ctx, record->name, node, nodeLogic, driveRaw);
    const bool tolerated = result == code::kTransferError && MayComeFromTrx(*record);
    if (result != code::kOk && !tolerated) return result;
    ++written;
  }
  return kSetSuccess + written;
}

Result WriteSetToNV(LibraryContext& ctx, const ParameterList& list, uint32_t node) {
  if (!IsNode(node)) return code::kOutOfRange;
  OperationFacts facts(ctx);
  Result result = facts.Read(WriteNeeds(list), Context::kNone);
  if (result != code::kOk) return result;
  const int32_t driveRaw = *KnownLogicVersion(ctx);
  int32_t logic = 0;
  result = ReadLogicVersionOfKnownModel(ctx, logic);
  if (result != code::kOk) return result;
  const int32_t nodeLogic = ImageLogic(ctx, node, driveRaw);

  Result convertedBack = code::kOk;
  for (const VariableRecord* record : list) {
    if (!PassesLogicTest(*record, logic)) continue;
    ConvertToDriveVersion(ctx, record->name, node, nodeLogic, driveRaw);
    result = StoreToNv(ctx, record->name, static_cast<int32_t>(node));
    convertedBack = ConvertBackToNodeVersion(ctx, record->name, node, nodeLogic, driveRaw);
    if (result != code::kOk) return result;
  }
  return convertedBack != code::kOk ? convertedBack : kSetSuccess + static_cast<Result>(list.size());
}

// ---- factory defaults -------------------------------------------------------

bool UsesLogicFourDefaults(LibraryContext& ctx, uint32_t node) {
  // Inside a default load node 0's LogicVer was read at the start, and a
  // failed read failed the load: no fault picks the older tables.
  int32_t logic = 0;
  const Result result =
      node == 0 ? ReadLogicVersionOfKnownModel(ctx, logic) : ReadImageLogicVersion(ctx, node, logic);
  return result == code::kOk && logic >= 4;
}

Result ApplyUserDefaults(LibraryContext& ctx, uint32_t node) {
  return ApplyDefaults(ctx, node, DefaultSet::kUser, RowFailure::kWithRowIndex);
}

Result ApplyMfgDefaults(LibraryContext& ctx, uint32_t node) {
  return ApplyDefaults(ctx, node, DefaultSet::kManufacturing, RowFailure::kPlain);
}

// ---- the exported operations ------------------------------------------------

Result ReadUserSetFromDrive(LibraryContext& ctx, uint32_t node) {
  return WithDriveFacts(ctx, kLogicOnly, Context::kLoadFromFpga, [&] {
    const Result model = ReadModelFirst(ctx);
    if (model != code::kOk) return model;
    const ParameterList list = DriveReadSet(ctx.db.catalogue);
    return ComposeSetResult(Context::kLoadFromFpga, ReadSetFromDrive(ctx, list, node));
  });
}

Result ReadMfgSetFromDrive(LibraryContext& ctx, uint32_t node) {
  return WithDriveFacts(ctx, kLogicOnly, Context::kLoadFromFpga, [&] {
    const ParameterList list = ManufacturingSet(ctx.db.catalogue);
    const Result model = ReadModelFirst(ctx);
    if (model != code::kOk) return model;
    return ComposeSetResult(Context::kLoadFromFpga, ReadSetFromDrive(ctx, list, node));
  });
}

Result WriteUserSetToDrive(LibraryContext& ctx, uint32_t node) {
  const ParameterList list = UserWriteSet(ctx);
  return WithDriveFacts(ctx, WriteNeeds(list), Context::kSendToFpga,
                        [&] { return ComposeSetResult(Context::kSendToFpga, WriteSetToDrive(ctx, list, node)); });
}

Result WriteMfgSetToDrive(LibraryContext& ctx, uint32_t node) {
  const ParameterList list = ManufacturingSet(ctx.db.catalogue);
  return WithDriveFacts(ctx, WriteNeeds(list), Context::kSendToFpga,
                        [&] { return ComposeSetResult(Context::kSendToFpga, WriteSetToDrive(ctx, list, node)); });
}

Result ReadUserSetFromNV(LibraryContext& ctx, uint32_t node) {
  const ParameterList list = DriveReadSet(ctx.db.catalogue);
  return WithDriveFacts(ctx, kLogicOnly, Context::kLoadFromNv,
                   [&] { return ComposeSetResult(Context::kLoadFromNv, ReadSetFromNV(ctx, list, node)); });
}

Result ReadMfgSetFromNV(LibraryContext& ctx, uint32_t node) {
  const ParameterList list = ManufacturingSet(ctx.db.catalogue);
  return WithDriveFacts(ctx, kLogicOnly, Context::kLoadFromNv,
                   [&] { return ComposeSetResult(Context::kLoadFromNv, ReadSetFromNV(ctx, list, node)); });
}

Result WriteUserSetToNV(LibraryContext& ctx, uint32_t node) {
  const ParameterList list = UserWriteSet(ctx);
  return WithDriveFacts(ctx, WriteNeeds(list), Context::kSendToNv,
                   [&] { return ComposeSetResult(Context::kSendToNv, WriteSetToNV(ctx, list, node)); });
}

Result WriteMfgSetToNV(LibraryContext& ctx, uint32_t node) {
  const ParameterList list = ManufacturingSet(ctx.db.catalogue);
  return WithDriveFacts(ctx, WriteNeeds(list), Context::kSendToNv,
                   [&] { return ComposeSetResult(Context::kSendToNv, WriteSetToNV(ctx, list, node)); });
}

// Node 0's defaults go on to NV, which needs the drive's logic as well.
Result LoadUserDefaults(LibraryContext& ctx, uint32_t node) {
  return WithDriveFacts(ctx, DefaultsNeed(node, DefaultSet::kUser), Context::kLoadDefault, [&] {
    const Result applied = ApplyUserDefaults(ctx, node);
    if (applied != code::kOk) return WithContext(Context::kLoadDefault, applied);
    if (node != 0) return code::kOk;
    return StoreDefaultsInNv(ctx, UserWriteSet(ctx));
  });
}

Result LoadMfgDefaults(LibraryContext& ctx, uint32_t node) {
  if (!IsNode(node)) return WithContext(Context::kLoadDefault, code::kOutOfRange);
  return WithDriveFacts(ctx, DefaultsNeed(node, DefaultSet::kManufacturing), Context::kLoadDefault, [&] {
    const Result versionRead = ReadVersionText(ctx);
    if (versionRead != code::kOk) return WithContext(Context::kLogicVersionCheck, versionRead);
    const Result offsets = LoadCurrentOffsets(ctx, node);
    if (offsets != code::kOk) return WithContext(Context::kLoadFromFpga, offsets);
    const ParameterList list = ManufacturingSet(ctx.db.catalogue);
    const Result applied = ApplyMfgDefaults(ctx, node);
    if (applied != code::kOk) return WithContext(Context::kLoadDefault, applied);
    if (node != 0) return code::kOk;
    return StoreDefaultsInNv(ctx, list);
  });
}

}  // namespace svodb
