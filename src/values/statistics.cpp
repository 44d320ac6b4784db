#include "values/statistics.h"

#include <cmath>

#include "drive/unit_scaling.h"
#include "platform/platform.h"
#include "values/catalogue_queries.h"
#include "values/online_values.h"

namespace svodb {
namespace {

// The low eight bits of the value truncated toward zero; values that no
// byte register can hold read as 0 rather than overflowing the conversion.
uint8_t LowByte(double value) {
  if (!std::isfinite(value) || std::fabs(value) >= 2147483648.0) return 0;
  return static_cast<uint8_t>(static_cast<int32_t>(value) & 0xFF);
}

}  // namespace

uint8_t ReadFaultHistoryByte(LibraryContext& ctx, int32_t record, int32_t byte) {
  // Computed wide so that any record number reaches the register's range
  // check instead of wrapping into a valid address.
  const double address = static_cast<double>(int64_t{kFaultRecordSize} * record + byte);
  if (WriteVariableOnline(ctx, "MTRAddress", address) != code::kOk) return 0;
  double value = 0.0;
  if (ReadVariableOnline(ctx, "FaultHistory", value) != code::kOk) return 0;
  return LowByte(value);
}

Result SampleVariable(LibraryContext& ctx, std::string_view name, int32_t count, int32_t digits,
                      SampleStatistics& out) {
  double sum = 0.0;
  double sumOfSquares = 0.0;
  for (int32_t i = 0; i < count; ++i) {
    double value = 0.0;
    const Result result = ReadVariableOnline(ctx, name, value);
    if (result != code::kOk) return result;
    sum += value;
    sumOfSquares += value * value;
    // A long run keeps the caller's window alive; its handlers may re-enter
    // the library between two samples.
    ctx.platform.PumpOneMessage();
  }
  if (count < 0) {
    out = SampleStatistics{};
    return code::kOk;
  }
  const double n = count;
  double variance = RoundToDigits(sumOfSquares / n - sum * sum / n / n, kFullStatisticsDigits);
  // Cancellation can leave a constant signal a hair below zero, and its
  // rounding a negative zero; both are no spread at all.
  if (variance <= 0.0) variance = 0.0;
  out.mean = RoundToDigits(sum / n, digits);
  out.spread = RoundToDigits(std::sqrt(variance), digits);
  return code::kOk;
}

Result SampleVariableWithUnit(LibraryContext& ctx, std::string_view name, int32_t count,
                              SampleStatistics& out, std::optional<std::string>& unit) {
  const Result result = SampleVariable(ctx, name, count, kFullStatisticsDigits, out);
  if (result != code::kOk) return result;
  unit = GetUnitText(ctx, name, 0);
  return code::kOk;
}

}  // namespace svodb
