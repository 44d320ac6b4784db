#include "values/catalogue_queries.h"

#include "catalog/parameter_database.h"
#include "drive/current_limits.h"
#include "drive/drive_facts.h"
#include "drive/register_map.h"
#include "drive/register_transfers.h"
#include "drive/transport.h"

namespace svodb {

std::optional<bool> IsSupportedByDrive(LibraryContext& ctx, const VariableRecord& record) {
  int32_t logicVersion = 0;
  if (ReadLogicVersion(ctx, logicVersion) != code::kOk) return std::nullopt;
  return record.minLogicVersion <= logicVersion;
}

int32_t NodeLogicVersion(LibraryContext& ctx, uint32_t node) {
  if (node == 0 || node > kMaxNode) return LogicVersionOrOldest(ctx);
  return ctx.db.nodes[node].logicVersion;
}

int32_t EffectiveConversionCode(LibraryContext& ctx, std::string_view name, uint32_t node) {
  if (IsCurrentLimit(name)) return CurrentLimitCode(name, NodeLogicVersion(ctx, node));
  return ctx.db.catalogue.GetConversionCode(name);
}

bool QueryReadOnly(LibraryContext& ctx, std::string_view name, uint8_t& out) {
  VariableRecord* record = ctx.db.catalogue.Find(name);
  if (record == nullptr) return false;
  // Command is writable over a serial port only. The rule applies to the
  // exact spelling, and the record keeps what it last set.
  if (name == "Command") {
    const int32_t type = ctx.transport.GetCommType();
    if (type == kSerialConnection) record->flags[kReadOnlyFlag] = 0;
    if (type == kNetworkConnection) record->flags[kReadOnlyFlag] = 1;
  }
  out = record->flags[kReadOnlyFlag];
  return true;
}

bool QueryForUser(LibraryContext& ctx, std::string_view name, uint8_t& out) {
  const VariableRecord* record = ctx.db.catalogue.Find(name);
  out = 0;
  if (record == nullptr) return false;
  const int32_t type = ctx.transport.GetCommType();
  bool offered = false;
  if (type == kSerialConnection) offered = record->Has(kSerialOfferFlag);
  if (type == kNetworkConnection) offered = record->Has(kNetworkOfferFlag);
  const bool inner = offered && record->Has(kUserFlag) && record->Has(kPresentedFlag);
  out = inner && record->Has(kListedFlag) ? 1 : 0;
  return type != 0;
}

bool QueryUserNvParameter(LibraryContext& ctx, std::string_view name, uint8_t& out) {
  const VariableRecord* record = ctx.db.catalogue.Find(name);
  out = 0;
  if (record == nullptr) return false;
  const std::optional<bool> supported = IsSupportedByDrive(ctx, *record);
  const bool inner = supported.value_or(false) && record->Has(kNvFlag) && record->Has(kUserFlag) &&
                     record->Has(kPresentedFlag);
  out = record->Has(kListedFlag) && inner ? 1 : 0;
  return true;
}

bool QueryMfgNvParameter(LibraryContext& ctx, std::string_view name, uint8_t& out) {
  const VariableRecord* record = ctx.db.catalogue.Find(name);
  if (record == nullptr) return false;
  const std::optional<bool> supported = IsSupportedByDrive(ctx, *record);
  if (!supported) return false;
  out = *supported && record->Has(kNvFlag) && !record->Has(kUserFlag) && record->Has(kPresentedFlag) ? 1 : 0;
  return true;
}

std::optional<std::string> GetUnitText(LibraryContext& ctx, std::string_view name, uint32_t node) {
  const VariableRecord* record = ctx.db.catalogue.Find(name);
  if (record == nullptr || node > kMaxNode) return std::nullopt;
  int32_t commandSource = 0;
  uint32_t mode = 0;
  if (node == 0) {
    mode = ctx.db.connectedMode;
    if (ReadRegisterOnline(ctx, "CmdSrc", commandSource) != code::kOk) return std::nullopt;
  } else {
    mode = ctx.db.nodes[node].mode;
    if (ctx.registers.GetRawValue("CmdSrc", static_cast<int32_t>(node), commandSource) != code::kOk) {
      return std::nullopt;
    }
  }
  return std::string(record->units[static_cast<std::size_t>(UnitColumn(commandSource, mode))]);
}

bool QueryFlag(LibraryContext& ctx, std::string_view name, Flag flag, uint8_t& out) {
  const VariableRecord* record = ctx.db.catalogue.Find(name);
  if (record == nullptr) return false;
  out = record->flags[flag];
  return true;
}

}  // namespace svodb
