// The enumerated values of the variables that hold a code rather than a
// quantity: for each value its position in the list (index), the label shown
// to the user and the label written to parameter files.
//
// A variable finds its table by exact, case-sensitive name: first among the
// plain bindings, then OpMode, then the analog monitors DM1Map and DM2Map,
// whose labels carry the scale factors of the node's model and mode. A few
// labels depend on the connected drive and are settled per call.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "catalog/enumeration_tables.h"
#include "context.h"

namespace svodb {

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
