// The current limits ILmtPlus and ILmtMinus change form with the drive's
// logic: before version 3 each is one of four steps in a two-bit field
// (a plain enumeration, conversion code 1); from version 3 on each is an
// 8-bit limit in percent (codes 44 and 43). The rules about them recognise
// the two names only in exactly this spelling.
#pragma once

#include <cstdint>
#include <string_view>

namespace svodb {

inline bool IsCurrentLimit(std::string_view name) { return name == "ILmtPlus" || name == "ILmtMinus"; }

// The catalogue conversion code of a current limit on a drive of this logic.
inline int32_t CurrentLimitCode(std::string_view name, int32_t logicVersion) {
  if (logicVersion < 3) return 1;
  return name == "ILmtPlus" ? 44 : 43;
}

// The two-bit step an 8-bit limit falls in. ILmtMinus counts down from 255.
inline int32_t CurrentLimitStep(std::string_view name, int32_t raw) {
  if (name == "ILmtMinus") {
    if (raw >= 218 && raw <= 255) return 0;
    if (raw >= 180 && raw <= 217) return 1;
    if (raw >= 142 && raw <= 179) return 2;
    return 3;
  }
  if (raw >= 0 && raw <= 38) return 0;
  if (raw >= 39 && raw <= 77) return 1;
  if (raw >= 78 && raw <= 114) return 2;
  return 3;
}

}  // namespace svodb
