#include "feedback/motor_data_block.h"

#include <cmath>
#include <cstdio>
#include <numeric>

#include "drive/register_transfers.h"
#include "drive/transport.h"
#include "platform/platform.h"

namespace svodb {
namespace {

constexpr uint32_t kReadPauseMs = 10;
constexpr uint32_t kRetryPauseMs = 2000;
constexpr uint32_t kCheckSettleMs = 100;

void PauseFlushPause(LibraryContext& ctx, uint32_t pause_ms) {
  ctx.platform.SleepMs(pause_ms);
  ctx.transport.FlushPort();
  ctx.platform.SleepMs(pause_ms);
}

std::string Printed(const char* format, double value) {
  char text[64];
  std::snprintf(text, sizeof text, format, value);
  return text;
}

std::string Decimal(uint32_t value) { return std::to_string(value); }

// Rounded to five decimals, halves upward; a value that rounds to nothing
// prints without a minus sign.
std::string FiveDecimals(double value) {
  const double x = value * 100000.0;
  const double f = std::floor(x);
  const double rounded = x - f >= 0.5 ? std::ceil(x) : f;
  return Printed("%0.5f", rounded / 100000.0 + 0.0);
}

bool ByteSumValid(const std::array<uint8_t, kMdbSize>& bytes) {
  return (std::accumulate(bytes.begin(), bytes.end(), 0u) & 0xFFu) == 0xFFu;
}

}  // namespace

double CompactFloat(uint8_t exponent, uint8_t mantissa) {
  const int e = static_cast<int8_t>(exponent);
  if (e == -128 && mantissa == 0) return 0.0;
  if (mantissa < 128) return std::ldexp(1.0 + mantissa / 128.0, e);
  return -std::ldexp(2.0 + (mantissa - 128) / 128.0, e);
}

Result FormatMdbField(const MdbField& field, std::span<const uint32_t, kMdbSize> values, std::string& text) {
  const auto byte = [&](uint32_t offset) { return static_cast<uint8_t>(values[offset] & 0xFFu); };
  const uint32_t b = byte(field.offset);
  switch (field.type) {
    case 1: text = Decimal(b); return code::kOk;
    case 2: text = Decimal(b + 2000); return code::kOk;
    case 3: text = Decimal(2 * b); return code::kOk;
    case 11: {
      if (b == 0) return code::kSystemError;
      const uint32_t divisor = 128u / b - 1u;  // wraps for bytes above 128, giving 0
      if (divisor == 0) return code::kSystemError;
      text = Decimal(6810u / divisor);
      return code::kOk;
    }
    case 101: text = FiveDecimals(CompactFloat(byte(field.offset), byte(field.offset - 1))); return code::kOk;
    case 201: {
      std::string characters;
      for (uint32_t i = 0; i < kMdbTextLength && byte(field.offset + i) != 0; ++i)
        characters += static_cast<char>(byte(field.offset + i));
      text = characters;
      return code::kOk;
    }
    default: return code::kSystemError;
  }
}

Result LoadShowData(LibraryContext& ctx, MdbFieldList& list) {
  const auto load = [&](uint32_t offset) {
    uint8_t byte = 0;
    const Result result = ReadMotorDataByte(ctx, static_cast<int32_t>(offset), byte);
    if (result == code::kOk) list.values[offset] = byte;
    return result;
  };
  for (const MdbField& field : list.fields.Rows()) {
    Result result = code::kOk;
    if (field.type < 100) {
      result = load(field.offset);
    } else if (field.type >= 200) {
      for (uint32_t i = 0; i < kMdbTextLength && result == code::kOk; ++i) result = load(field.offset + i);
    } else {
      result = load(field.offset);
      if (result == code::kOk) result = load(field.offset - 1);
    }
    if (result != code::kOk) return result;
  }
  return code::kOk;
}

Result GetMotorData(MdbFieldList& list, std::string_view name, std::string& text) {
  const MdbField* field = list.fields.Find(name);
  if (field == nullptr) return code::kInvalidParameter;
  return FormatMdbField(*field, list.values, text);
}

Result GetDataUnit(MdbFieldList& list, std::string_view name, std::string& unit) {
  const MdbField* field = list.fields.Find(name);
  if (field == nullptr) return code::kInvalidParameter;
  unit = field->unit;
  return code::kOk;
}

Result ReadDriveCopy(LibraryContext& ctx, std::array<uint8_t, kMdbSize>& bytes, uint32_t pause_ms) {
  for (std::size_t k = 0; k < kMdbSize; ++k) {
    if (pause_ms != 0) ctx.platform.SleepMs(pause_ms);
    const Result result = ReadMotorDataByte(ctx, static_cast<int32_t>(k), bytes[k]);
    if (result != code::kOk) return result;
  }
  return code::kOk;
}

Result ReadTrxMdb(LibraryContext& ctx, std::span<uint32_t, kMdbSize> out) {
  PauseFlushPause(ctx, kReadPauseMs);
  // Bytes come out of the transfer masked to 0-255, so only the checksum
  // can fail the block here.
  std::array<uint8_t, kMdbSize> bytes{};
  Result result = ReadDriveCopy(ctx, bytes, kReadPauseMs);
  if (result != code::kOk) return result;
  if (!ByteSumValid(bytes)) {
    PauseFlushPause(ctx, kRetryPauseMs);
    result = ReadDriveCopy(ctx, bytes, kReadPauseMs);
    if (result != code::kOk) return result;
    if (!ByteSumValid(bytes)) return code::kTrxChecksum;
  }
  std::copy(bytes.begin(), bytes.end(), out.begin());
  PauseFlushPause(ctx, kReadPauseMs);
  return code::kOk;
}

Result CheckTrxMdb(LibraryContext& ctx, MdbValues block, MdbMismatch& mismatch) {
  mismatch = MdbMismatch{};
  const Result valid = ValidateMdb(block);
  if (valid != code::kOk) return valid;
  PauseFlushPause(ctx, kCheckSettleMs);
  for (uint32_t k = 0; k < kMdbSize; ++k) {
    uint8_t byte = 0;
    Result result = ReadMotorDataByte(ctx, static_cast<int32_t>(k), byte);
    if (result != code::kOk) return result;
    if (byte == block[k]) continue;
    PauseFlushPause(ctx, kRetryPauseMs);
    ++mismatch.retries;
    result = ReadMotorDataByte(ctx, static_cast<int32_t>(k), byte);
    if (result != code::kOk) return result;
    if (byte != block[k]) {
      mismatch.index = k;
      mismatch.valueRead = byte;
      mismatch.valueExpected = block[k];
      return code::kTrxReadBack;
    }
  }
  return code::kOk;
}

Result ReadTrxFpga(LibraryContext& ctx, std::array<uint32_t, 3>& out) {
  std::array<uint8_t, 3> bytes{};
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const Result result = ReadMotorMemoryByte(ctx, static_cast<int32_t>(509 + i), bytes[i]);
    if (result != code::kOk) return result;
  }
  // The transfer hands out bytes, so the range check of the block (40)
  // cannot fail here.
  std::copy(bytes.begin(), bytes.end(), out.begin());
  return code::kOk;
}

}  // namespace svodb
