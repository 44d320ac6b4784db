#include "paramset/online_strings.h"

#include <utility>

#include "catalog/parameter_database.h"
#include "drive/drive_facts.h"
#include "drive/one_repeat.h"
#include "drive/register_transfers.h"
#include "drive/transport.h"
#include "drive/unit_scaling.h"
#include "values/online_values.h"

namespace svodb {
namespace {

constexpr int32_t kOldestTextLogic = 3;
constexpr int32_t kPowerBoardAddress = 511;
constexpr int32_t kMinorAddress = 510;
constexpr int32_t kRevisionAddress = 509;
// Power-board codes from 128 up name a special board by a letter stored
// 80 above its character code.
constexpr int kSpecialBoardFirst = 128;
constexpr int kSpecialBoardLast = 254;
constexpr int kSpecialBoardOffset = 80;

// Drives before logic 3 keep neither text where this library looks.
Result CheckLogicVersion(LibraryContext& ctx) {
  int32_t logic = 0;
  const Result result = ReadLogicVersionOfKnownModel(ctx, logic);
  if (result != code::kOk) return result;
  return logic < kOldestTextLogic ? code::kWrongLogicVersion : code::kOk;
}

// A stored 0 or 255 ends the number: entries after a short serial number
// hold the filler, and an erased entry reads as 255.
Result ReadSerialNumber(LibraryContext& ctx, std::string& text) {
  for (std::size_t i = 0; i < kOnlineTextLength; ++i) {
    int32_t fpgaRegister = 0;
    int32_t data = 0;
    const auto entry = static_cast<int32_t>(kSerialNumberTopEntry - i);
    const Result result = ctx.transport.GetVarFromEEPROM(entry, &fpgaRegister, &data);
    if (result != code::kOk) return result;
    const auto byte = static_cast<uint8_t>(data & 0xFF);
    if (byte == 0 || byte == kSerialNumberFiller) break;
    text.push_back(static_cast<char>(byte));
  }
  return code::kOk;
}

// The DeadBand field's width follows the power board; switching only on a
// change keeps a layout that something else chose since the last read.
void NotePowerBoard(LibraryContext& ctx, uint8_t board) {
  if (board == ctx.db.powerBoardCode) return;
  SelectDeadBandLayout(ctx.registers, board);
  ctx.db.powerBoardCode = board;
}

// The version bytes are reached through the motor-data address register,
// which the caller may be using: its value is put back afterwards.
Result ReadLogicVersionText(LibraryContext& ctx, std::string& text) {
  double keptAddress = 0.0;
  Result result = ReadVariableOnline(ctx, "MTRAddress", keptAddress);
  if (result != code::kOk) return result;
  uint8_t bytes[3] = {};
  const int32_t addresses[3] = {kPowerBoardAddress, kMinorAddress, kRevisionAddress};
  for (std::size_t k = 0; k < 3 && result == code::kOk; ++k) {
    result = ReadMotorMemoryByte(ctx, addresses[k], bytes[k]);
    if (result == code::kOk && addresses[k] == kPowerBoardAddress) NotePowerBoard(ctx, bytes[k]);
  }
  // The address goes back also after a failed read, with one more try; the
  // first failure is the one reported.
  const Result restored = WithOneRepeat([&] { return WriteVariableOnline(ctx, "MTRAddress", keptAddress); });
  if (result != code::kOk) return result;
  if (restored != code::kOk) return restored;
  text = FormatLogicVersionText(bytes[0], bytes[1], bytes[2]);
  ctx.db.driveVersion = text;
  return code::kOk;
}

}  // namespace

std::string FormatLogicVersionText(uint8_t powerBoard, uint8_t minor, uint8_t revision) {
  std::string text;
  if (powerBoard >= kSpecialBoardFirst && powerBoard <= kSpecialBoardLast) {
    text.push_back('S');
    text.push_back(static_cast<char>(powerBoard - kSpecialBoardOffset));
  } else {
    text = std::to_string(powerBoard);
  }
  text.push_back('.');
  // Both characters are 8-bit sums, so out-of-range bytes wrap as the drive's
  // tools show them.
  text.push_back(static_cast<char>(static_cast<uint8_t>('0' + minor)));
  text.push_back(static_cast<char>(static_cast<uint8_t>('A' + revision)));
  return text;
}

Result GetStringOnline(LibraryContext& ctx, std::string_view name, std::string& text) {
  Result result = CheckLogicVersion(ctx);
  if (result != code::kOk) return result;
  std::string read;
  if (name == "SerialNum") {
    result = ReadSerialNumber(ctx, read);
  } else if (name == "VerLW") {
    result = ReadLogicVersionText(ctx, read);
  }
  if (result != code::kOk) return result;
  text = std::move(read);
  return code::kOk;
}

Result PutStringOnline(LibraryContext& ctx, std::string_view name, std::string_view text) {
  Result result = CheckLogicVersion(ctx);
  if (result != code::kOk) return result;
  if (text.size() > kOnlineTextLength) return code::kTooLong;
  if (name != "SerialNum") return code::kOk;
  for (std::size_t i = 0; i < kOnlineTextLength; ++i) {
    const auto entry = static_cast<int32_t>(kSerialNumberTopEntry - i);
    // Characters travel as signed bytes: codes above 127 go out negative.
    const int32_t data = i < text.size() ? int32_t{static_cast<int8_t>(text[i])} : kSerialNumberFiller;
    result = ctx.transport.PutVarToEEPROM(entry, kSerialNumberRegister, data);
    if (result != code::kOk) return result;
  }
  return code::kOk;
}

}  // namespace svodb
