// The catalogue queries whose answers depend on the connected drive: its
// connection type and its logic version.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "catalog/catalogue_table.h"
#include "context.h"

namespace svodb {

// Whether the connected drive's logic version has the variable; no answer
// when LogicVer cannot be read.
std::optional<bool> IsSupportedByDrive(LibraryContext& ctx, const VariableRecord& record);

// The logic version a node's values follow: node 0 the connected drive's
// (the oldest when LogicVer cannot be read), nodes 1-6 their image's.
int32_t NodeLogicVersion(LibraryContext& ctx, uint32_t node);

// The conversion code a variable's value takes on a node. The catalogue is
// constant; the current limits alone change form with the logic version, so
// every reader (values, properties, files, default tables) derives their
// code here from the node's logic instead of a code stored anywhere. Reads
// the logic version only for a current limit named in exactly its own
// spelling (as every rule about them); 9 for an unknown name.
int32_t EffectiveConversionCode(LibraryContext& ctx, std::string_view name, uint32_t node);

// Each returns the query's boolean result and sets out as the exported
// query does; out is left alone where the query gives no answer.
bool QueryReadOnly(LibraryContext& ctx, std::string_view name, uint8_t& out);
bool QueryForUser(LibraryContext& ctx, std::string_view name, uint8_t& out);
bool QueryUserNvParameter(LibraryContext& ctx, std::string_view name, uint8_t& out);
bool QueryMfgNvParameter(LibraryContext& ctx, std::string_view name, uint8_t& out);
// The unit text of the node's present unit column: for node 0 the
// connected drive's mode and its CmdSrc as read now, for nodes 1-6 the
// image's mode and CmdSrc. None for an unknown name or an unreadable CmdSrc.
std::optional<std::string> GetUnitText(LibraryContext& ctx, std::string_view name, uint32_t node);

// The plain flag queries: true and the flag for a known name.
bool QueryFlag(LibraryContext& ctx, std::string_view name, Flag flag, uint8_t& out);

}  // namespace svodb
