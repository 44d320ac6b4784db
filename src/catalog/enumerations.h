// The enumerated values of the variables that hold a code rather than a
// quantity: for each value its position in the list (index), the label shown
// to the user and the label written to parameter files.
//
// A variable finds its table by exact, case-sensitive name: first among the
// plain bindings, then OpMode, then the analog monitors DM1Map and DM2Map,
// whose labels carry the scale factors of the node's model and mode. A few
// labels depend on the connected drive and are settled per call.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "context.h"

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

// What the lookups answer when they find nothing.
inline constexpr int32_t kNoEnumTable = -1;
inline constexpr int32_t kNoEnumEntry = -2;

// The operations below take the node whose model, mode and encoder-output
// flag decide the labels; node 0 is the connected drive, whose facts are
// read from it where a label depends on them. A node above 6 is taken as
// node 0, as the register transfers take it. Drive reads that fail give the
// conservative label.

// The table a name is bound to on the node, or null.
const EnumEntry* FindEnumTable(const LibraryContext& ctx, std::string_view name, uint32_t node);

// The display label of the entry with the value, or of the entry at the
// index. Only AuxFBMitFlt on node 0 can give more than 42 characters (up to
// 225): a value that is no entry's is shown as the labels of its fault bits.
std::optional<std::string> DisplayLabelByValue(LibraryContext& ctx, std::string_view name, int32_t value,
                                               uint32_t node);
std::optional<std::string> DisplayLabelByIndex(LibraryContext& ctx, std::string_view name, int32_t index,
                                               uint32_t node);

// The index of the entry with the value, and the value of the entry at the
// index; kNoEnumEntry or kNoEnumTable when there is none. No drive traffic.
int32_t ValueToIndex(const LibraryContext& ctx, std::string_view name, int32_t value, uint32_t node);
int32_t IndexToValue(const LibraryContext& ctx, std::string_view name, int32_t index, uint32_t node);

// For parameter files: the file label of a value (at most 42 characters,
// static storage), and the value whose file label is exactly the text, or
// kNoEnumEntry / kNoEnumTable. A file written for a drive without a
// programmable encoder output says "32768" for EncOut's programmable entry,
// and reads back as that entry while the connected drive has none.
std::optional<std::string_view> ValueToFileLabel(LibraryContext& ctx, std::string_view name, int32_t value,
                                                 uint32_t node);
int32_t FileLabelToValue(LibraryContext& ctx, std::string_view name, std::string_view fileLabel,
                         uint32_t node);

}  // namespace svodb
