// Two small online services on top of the single-variable reads and writes:
// one byte of the drive's fault log, and the mean and spread of a live
// variable sampled many times while the caller's message queue keeps
// moving.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "catalog/result_codes.h"
#include "context.h"

namespace svodb {

// The fault log is 64 records of this many bytes behind MTRAddress.
inline constexpr int32_t kFaultRecordSize = 8;

// Byte `byte` of record `record`: the fault log at address 8 * record +
// byte. Never fails: an address the drive refuses or a failed transfer
// reads as 0.
uint8_t ReadFaultHistoryByte(LibraryContext& ctx, int32_t record, int32_t byte);

// Digits the mean and spread are rounded to: full for the form that also
// reports the unit, short for the other.
inline constexpr int32_t kFullStatisticsDigits = 6;
inline constexpr int32_t kShortStatisticsDigits = 3;

struct SampleStatistics {
  double mean = 0.0;
  double spread = 0.0;  // population standard deviation
};

// Reads the variable `count` times, handling at most one of the caller's
// messages after each read. A failed read returns its code at once and
// leaves out alone. A count of 0 gives NaN for both (nothing to average),
// a negative count zeros.
Result SampleVariable(LibraryContext& ctx, std::string_view name, int32_t count, int32_t digits,
                      SampleStatistics& out);

// SampleVariable with full digits, then the variable's unit text for the
// connected drive; unit is none when the drive's CmdSrc does not read.
Result SampleVariableWithUnit(LibraryContext& ctx, std::string_view name, int32_t count,
                              SampleStatistics& out, std::optional<std::string>& unit);

}  // namespace svodb
