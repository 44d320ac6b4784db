// The enumerated values of the variables that hold a code rather than a
// quantity, as plain tables: for each value its position in the list
// (index), the label shown to the user and the label written to parameter
// files. The lookups that settle a few labels by the connected drive live
// with the values (values/enumerations.h).
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace svodb {

// Label bounds, terminator included. Only the fault bits of AuxFBMitFlt,
// composed on node 0, need the larger one.
inline constexpr std::size_t kLabelSize = 43;
inline constexpr std::size_t kComposedLabelSize = 226;

struct EnumEntry {
  int32_t index;  // 0-based position in the table
  int32_t value;
  const char* fileLabel;     // null only for the terminator
  const char* displayLabel;  // null only for the terminator

  constexpr bool IsTerminator() const { return index == -1 && value == -1; }
};

inline constexpr EnumEntry kEnumTerminator{-1, -1, nullptr, nullptr};

// The entries in index order, then the terminator.
using EnumTable = std::span<const EnumEntry>;

struct EnumBinding {
  const char* name;
  EnumTable table;
};

inline constexpr std::size_t kPlainBindingCount = 71;
extern const std::array<EnumBinding, kPlainBindingCount> kPlainBindings;

inline constexpr std::size_t kOpModeEntryCount = 4;
extern const std::array<EnumEntry, kOpModeEntryCount + 1> kOpModeTable;

// The analog monitors: a column per model, eight entries each.
enum class Monitor { kDm1Map, kDm2Map };
inline constexpr std::size_t kMonitorColumnCount = 8;
inline constexpr std::size_t kMonitorEntryCount = 8;
// The model codes of the columns, in column order.
extern const std::array<uint32_t, kMonitorColumnCount> kMonitorColumnModels;
// The table of a column (0-7) for a mode: 0 torque, anything else velocity.
// Null for a column out of range.
const EnumEntry* MonitorTable(Monitor monitor, std::size_t column, uint32_t mode);

}  // namespace svodb
