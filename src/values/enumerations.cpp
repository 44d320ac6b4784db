#include "values/enumerations.h"

#include <algorithm>

#include "catalog/parameter_database.h"
#include "catalog/version_support.h"
#include "drive/drive_facts.h"
#include "values/online_values.h"

namespace svodb {
namespace {

constexpr std::string_view kEncOut = "EncOut";
constexpr int32_t kProgrammableLineCount = 14;
// What a drive without a programmable encoder output calls that entry.
constexpr std::string_view kPlainLineCountLabel = "32768";

constexpr std::string_view kFaultCode = "FaultCode";
constexpr int32_t kMotorShortFault = 8;
constexpr std::string_view kRegenShortLabel = "Motor or Regen Short or HW OT";

constexpr std::string_view kAuxFbMitFlt = "AuxFBMitFlt";
constexpr std::string_view kAuxFbType = "AuxFBType";
constexpr int32_t kMitutoyoIndex = 6;

uint32_t NodeOf(uint32_t node) { return node > kMaxNode ? 0 : node; }

const EnumEntry* ByValue(const EnumEntry* table, int32_t value) {
  for (; !table->IsTerminator(); ++table) {
    if (table->value == value) return table;
  }
  return nullptr;
}

const EnumEntry* ByIndex(const EnumEntry* table, int32_t index) {
  for (; !table->IsTerminator(); ++table) {
    if (table->index == index) return table;
  }
  return nullptr;
}

const EnumEntry* ByFileLabel(const EnumEntry* table, std::string_view label) {
  for (; !table->IsTerminator(); ++table) {
    if (table->fileLabel == label) return table;
  }
  return nullptr;
}

std::optional<std::size_t> ColumnOfModel(uint32_t modelCode) {
  const auto found = std::find(kMonitorColumnModels.begin(), kMonitorColumnModels.end(), modelCode);
  if (found == kMonitorColumnModels.end()) return std::nullopt;
  return static_cast<std::size_t>(found - kMonitorColumnModels.begin());
}

const EnumEntry* MonitorTableOfModel(Monitor monitor, uint32_t modelCode, uint32_t mode) {
  if (const auto column = ColumnOfModel(modelCode)) return MonitorTable(monitor, *column, mode);
  // A model code outside the columns takes column 1 in torque mode and the
  // torque labels of column 7 in velocity mode: it has no velocity labels.
  constexpr std::size_t kUnknownTorqueColumn = 0;
  constexpr std::size_t kUnknownVelocityColumn = 6;
  return MonitorTable(monitor, mode == 0 ? kUnknownTorqueColumn : kUnknownVelocityColumn, 0);
}

// Whether the connected drive has EncOutPPR. Its logic version is read each
// time; a failed read counts as version 0, which has none.
bool DriveHasProgrammableEncoderOutput(LibraryContext& ctx) {
  return IsSupportedByVersion("EncOutPPR", ctx.db.driveVersion, LogicVersionOrOldest(ctx));
}

bool IsProgrammableEncoderOutput(std::string_view name, const EnumEntry& entry) {
  return name == kEncOut && entry.value == kProgrammableLineCount;
}

// An image offers the programmable entry when its file carried EncOutPPR.
bool OffersProgrammableEncoderOutput(LibraryContext& ctx, uint32_t node) {
  if (node == 0) return DriveHasProgrammableEncoderOutput(ctx);
  return ctx.db.nodes[node].encoderOutputFlag != 0;
}

// Logic 4.0 reuses fault 8 for the regeneration short and the hardware
// over-temperature as well.
bool DriveReportsRegenShort(LibraryContext& ctx) {
  int32_t logicVersion = 0;
  ReadLogicVersionOfKnownModel(ctx, logicVersion);
  return logicVersion >= 4;
}

// The drive sets one bit per Mitutoyo fault and may set several at once.
std::string FaultBitLabels(const EnumEntry* table, int32_t value) {
  std::string text;
  for (; !table->IsTerminator(); ++table) {
    if ((table->value & value) == 0) continue;
    if (!text.empty()) text += ';';
    text += table->displayLabel;
  }
  return text;
}

std::optional<std::string> DisplayLabelOf(LibraryContext& ctx, std::string_view name, const EnumEntry& entry,
                                          uint32_t node) {
  if (IsProgrammableEncoderOutput(name, entry) && !OffersProgrammableEncoderOutput(ctx, node)) {
    return std::string(kPlainLineCountLabel);
  }
  return std::string(entry.displayLabel);
}

}  // namespace

const EnumEntry* FindEnumTable(const LibraryContext& ctx, std::string_view name, uint32_t node) {
  for (const EnumBinding& binding : kPlainBindings) {
    if (name == binding.name) return binding.table.data();
  }
  if (name == "OpMode") return kOpModeTable.data();
  const bool dm1 = name == "DM1Map";
  if (!dm1 && name != "DM2Map") return nullptr;
  node = NodeOf(node);
  const uint32_t modelCode = node == 0 ? ctx.db.connectedModelCode : ctx.db.nodes[node].modelCode;
  const uint32_t mode = node == 0 ? ctx.db.connectedMode : ctx.db.nodes[node].mode;
  return MonitorTableOfModel(dm1 ? Monitor::kDm1Map : Monitor::kDm2Map, modelCode, mode);
}

std::optional<std::string> DisplayLabelByValue(LibraryContext& ctx, std::string_view name, int32_t value,
                                               uint32_t node) {
  node = NodeOf(node);
  const EnumEntry* table = FindEnumTable(ctx, name, node);
  if (table == nullptr) return std::nullopt;
  const EnumEntry* entry = ByValue(table, value);
  if (entry == nullptr) {
    if (name == kAuxFbMitFlt && node == 0 && value != 0) return FaultBitLabels(table, value);
    return std::nullopt;
  }
  if (name == kFaultCode && value == kMotorShortFault && node == 0 && DriveReportsRegenShort(ctx)) {
    return std::string(kRegenShortLabel);
  }
  return DisplayLabelOf(ctx, name, *entry, node);
}

std::optional<std::string> DisplayLabelByIndex(LibraryContext& ctx, std::string_view name, int32_t index,
                                               uint32_t node) {
  node = NodeOf(node);
  const EnumEntry* table = FindEnumTable(ctx, name, node);
  if (table == nullptr) return std::nullopt;
  const EnumEntry* entry = ByIndex(table, index);
  if (entry == nullptr) return std::nullopt;
  // The connected drive's logic decides whether it can run a Mitutoyo
  // encoder; an image may describe any drive.
  if (name == kAuxFbType && index == kMitutoyoIndex && node == 0 &&
      !SupportsMitutoyoFeedback(ctx.db.driveVersion)) {
    return std::nullopt;
  }
  return DisplayLabelOf(ctx, name, *entry, node);
}

int32_t ValueToIndex(const LibraryContext& ctx, std::string_view name, int32_t value, uint32_t node) {
  const EnumEntry* table = FindEnumTable(ctx, name, node);
  if (table == nullptr) return kNoEnumTable;
  const EnumEntry* entry = ByValue(table, value);
  return entry == nullptr ? kNoEnumEntry : entry->index;
}

int32_t IndexToValue(const LibraryContext& ctx, std::string_view name, int32_t index, uint32_t node) {
  const EnumEntry* table = FindEnumTable(ctx, name, node);
  if (table == nullptr) return kNoEnumTable;
  const EnumEntry* entry = ByIndex(table, index);
  return entry == nullptr ? kNoEnumEntry : entry->value;
}

std::optional<std::string_view> ValueToFileLabel(LibraryContext& ctx, std::string_view name, int32_t value,
                                                 uint32_t node) {
  node = NodeOf(node);
  const EnumEntry* table = FindEnumTable(ctx, name, node);
  if (table == nullptr) return std::nullopt;
  const EnumEntry* entry = ByValue(table, value);
  if (entry == nullptr) return std::nullopt;
  if (IsProgrammableEncoderOutput(name, *entry) && !OffersProgrammableEncoderOutput(ctx, node)) {
    return kPlainLineCountLabel;
  }
  return std::string_view(entry->fileLabel);
}

int32_t FileLabelToValue(LibraryContext& ctx, std::string_view name, std::string_view fileLabel,
                         uint32_t node) {
  const EnumEntry* table = FindEnumTable(ctx, name, node);
  if (table == nullptr) return kNoEnumTable;
  // Whatever image the file is read into, the connected drive decides
  // whether "32768" means its programmable entry.
  if (name == kEncOut && fileLabel == kPlainLineCountLabel && !DriveHasProgrammableEncoderOutput(ctx)) {
    fileLabel = ByValue(table, kProgrammableLineCount)->fileLabel;
  }
  const EnumEntry* entry = ByFileLabel(table, fileLabel);
  return entry == nullptr ? kNoEnumEntry : entry->value;
}

}  // namespace svodb
