// The variable catalogue: every drive variable the library knows, in the
// order the drive's tools list them.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "catalog/name_index.h"

namespace svodb {

inline constexpr std::size_t kFlagCount = 16;
using Flags = std::array<uint8_t, kFlagCount>;
using Units = std::array<const char*, 4>;

// What each of the sixteen flags means.
enum Flag : std::size_t {
  kReadOnlyFlag = 0,
  kUserFlag = 1,             // 0 = manufacturing-only
  kNvFlag = 2,               // kept in the drive's NV memory
  kNetworkWriteFlag = 3,     // written in user transfers over the network
  kSerialOfferFlag = 4,      // offered to the user on a serial port
  kNetworkOfferFlag = 5,     // offered to the user on the network
  kStatusFlag = 6,
  kTrxMotorFlag = 7,         // motor parameter that can come from the TRX device
  kSelTrxFlag = 8,           // set only for SelTRXParam
  kUnchangeableFlag = 9,     // cannot change while the drive is enabled
  kListedFlag = 11,          // set for every variable
  kPresentedFlag = 12,       // shown in parameter lists and files
  kStoredRegisterFlag = 13,  // moved by whole-set transfers
};

struct VariableRecord {
  int32_t number;  // not unique: the BiQuad coefficients all carry 0
  const char* name;  // null only for the terminator
  Flags flags;
  int32_t minLogicVersion;
  int32_t conversionCode;
  Units units;  // one per unit column; null only for the terminator
  const char* description;

  bool Has(Flag flag) const { return flags[flag] != 0; }
};

// Reads flags written as the drive's tools document them: sixteen digits
// 0/1 in groups of four, flag 0 first.
consteval Flags ParseFlags(std::string_view digits) {
  Flags flags{};
  std::size_t index = 0;
  for (char c : digits) {
    if (c == ' ') continue;
    if ((c != '0' && c != '1') || index >= kFlagCount) throw "flags are sixteen 0/1 digits";
    flags[index++] = static_cast<uint8_t>(c - '0');
  }
  if (index != kFlagCount) throw "flags are sixteen 0/1 digits";
  return flags;
}

// 159 variables and the terminator. Both tables are constant data, checked
// and indexed when the library is compiled.
inline constexpr std::size_t kCatalogueRecordCount = 160;
inline constexpr std::size_t kCatalogueVariableCount = kCatalogueRecordCount - 1;
extern const std::array<VariableRecord, kCatalogueRecordCount> kCatalogueTable;
// The variables' rows (0-based) by name, without regard to case.
extern const NameIndex<kCatalogueVariableCount> kCatalogueNameIndex;

}  // namespace svodb
