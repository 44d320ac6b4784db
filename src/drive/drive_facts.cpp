#include "drive/drive_facts.h"

#include "catalog/catalogue.h"
#include "catalog/parameter_database.h"
#include "drive/register_transfers.h"
#include "drive/transport.h"
#include "drive/unit_scaling.h"

namespace svodb {
namespace {

Result InContext(Context context, Result codeWithDetail) {
  return context == Context::kNone ? codeWithDetail : WithContext(context, codeWithDetail);
}

bool NoDriveConnected(Transport& transport) {
  const int32_t type = transport.GetCommType();
  return type != kSerialConnection && type != kNetworkConnection;
}

}  // namespace

OperationFacts::OperationFacts(LibraryContext& ctx) noexcept : ctx_(ctx), owner_(ctx.facts == nullptr) {
  if (owner_) ctx_.facts = &own_;
}

OperationFacts::~OperationFacts() {
  if (owner_) ctx_.facts = nullptr;
}

Result OperationFacts::Read(FactNeeds needs, Context context) {
  DriveFacts& facts = *ctx_.facts;
  if (needs.logicVersion && !facts.logicVersion) {
    int32_t raw = 0;
    const Result result = ReadLogicVersion(ctx_, raw);
    if (result == code::kOk) {
      facts.logicVersion = raw;
    } else if (!needs.driveOptional || !NoDriveConnected(ctx_.transport)) {
      return InContext(context == Context::kNone ? context : Context::kLogicVersionCheck, result);
    }
  }
  if (needs.powerBoard && !facts.powerBoard) {
    uint8_t board = 0;
    const Result result = ReadMotorMemoryByte(ctx_, kPowerBoardByte, board);
    if (result == code::kOk) {
      facts.powerBoard = board;
    } else if (!needs.driveOptional || !NoDriveConnected(ctx_.transport)) {
      return InContext(context, WithDetail(result, PositionOf(ctx_.db.catalogue, "DeadBand")));
    }
  }
  return code::kOk;
}

std::optional<int32_t> KnownLogicVersion(const LibraryContext& ctx) noexcept {
  return ctx.facts == nullptr ? std::nullopt : ctx.facts->logicVersion;
}

std::optional<uint8_t> KnownPowerBoard(const LibraryContext& ctx) noexcept {
  return ctx.facts == nullptr ? std::nullopt : ctx.facts->powerBoard;
}

Result ReadLogicVersion(LibraryContext& ctx, int32_t& logicVersion) {
  // The register read answers from the operation's facts when it has them.
  const Result result = ReadRegisterOnline(ctx, "LogicVer", logicVersion);
  if (result != code::kOk) logicVersion = 0;
  return result;
}

Result ReadLogicVersionOfKnownModel(LibraryContext& ctx, int32_t& logicVersion) {
  const Result result = ReadLogicVersion(ctx, logicVersion);
  if (result != code::kOk || FindModel(ctx.db.connectedModelCode) != nullptr) return result;
  logicVersion = 0;
  return code::kWrongModel;
}

int32_t LogicVersionOrOldest(LibraryContext& ctx) {
  int32_t logicVersion = 0;
  ReadLogicVersion(ctx, logicVersion);
  return logicVersion;
}

bool IsLogicVersionName(std::string_view name) { return FoldCase(name) == "logicver"; }

}  // namespace svodb
