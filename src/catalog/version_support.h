// Which drive versions have which variables: one row per catalogue variable,
// twelve flags, one per drive version.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace svodb {

inline constexpr std::size_t kSupportFlagCount = 12;
using SupportFlags = std::array<uint8_t, kSupportFlagCount>;

// Flag 0: any drive of logic version 2 or less; flags 1-8: the version texts
// "2.0", "2.1", "S1.0", "S2.0", "3.0", "3.1", "3.2", "4.0"; flags 9-11:
// texts beginning "102.", "105.", "106.".
struct VersionSupportRow {
  int32_t number;    // nothing reads it
  const char* name;  // null only for the terminator
  SupportFlags flags;
};

consteval SupportFlags ParseSupportFlags(std::string_view digits) {
  SupportFlags flags{};
  std::size_t index = 0;
  for (char c : digits) {
    if (c == ' ') continue;
    if ((c != '0' && c != '1') || index >= kSupportFlagCount) throw "support flags are twelve 0/1 digits";
    flags[index++] = static_cast<uint8_t>(c - '0');
  }
  if (index != kSupportFlagCount) throw "support flags are twelve 0/1 digits";
  return flags;
}

inline constexpr std::size_t kVersionSupportRowCount = 160;  // 159 variables and the terminator
extern const std::array<VersionSupportRow, kVersionSupportRowCount> kVersionSupportTable;

// Whether a drive of this version text and logic version has the variable.
// The name is compared exactly, case and all.
bool IsSupportedByVersion(std::string_view name, std::string_view versionText, int32_t logicVersion);

// Whether a drive of this version text can run the Mitutoyo auxiliary
// feedback: version 3.2 or later (the text read as a number) whose build
// letter, the character two places after the first ".", is "J" or later.
bool SupportsMitutoyoFeedback(std::string_view versionText);

}  // namespace svodb
