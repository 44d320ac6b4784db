// What a variable's conversion code makes of it, decided in one place: how
// its engineering value is read from and written to a store (a node's image
// or the connected drive), and which kind of value it is for the callers
// that need to know (properties, parameter files, whole-set conversions).
#pragma once

#include <cstdint>
#include <string_view>

#include "catalog/result_codes.h"
#include "values/value_store.h"

namespace svodb {

inline constexpr int32_t kAuxFbTypeCode = 3;
inline constexpr int32_t kCmdGainCode = 601;
inline constexpr int32_t kCmdOffsetCode = 602;
inline constexpr int32_t kPwmMinusCode = 603;
inline constexpr int32_t kPwmPlusCode = 604;
inline constexpr int32_t kExtendedFaultsCode = 701;
inline constexpr int32_t kHoldStepCode = 751;
inline constexpr int32_t kBiquadCode = 752;

enum class ValueKind {
  kRaw,             // 0, 1: the register's raw value
  kModelCode,       // 2
  kAuxFbType,       // 3: composed of five bits
  kUnitScaled,      // 10-599 and 752: a unit conversion of one register
  kCommandScaling,  // 601 gain, 602 offset: from both command counts
  kPwmCount,        // 603, 604: one command count, unit-scaled
  kExtendedFaults,  // 701: the drive's two fault words
  kHoldStep,        // 751: HstSet in the units of code 51
  kNone,            // any other code: not a number
};

ValueKind KindOf(int32_t conversionCode);

// Whether the code is one of the unit tables' conversions (10-599), whose
// result follows the model, the command units and, for the gain formats,
// the logic version.
inline bool IsUnitTableConversion(int32_t conversionCode) {
  return conversionCode >= 10 && conversionCode <= 599;
}

// The variable's engineering value with the conversion code it has now; 8
// for a code that gives no number on this store. value is written only on
// success.
Result ReadValue(ValueStore& store, std::string_view name, int32_t conversionCode, double& value);
Result WriteValue(ValueStore& store, std::string_view name, int32_t conversionCode, double value);

}  // namespace svodb
