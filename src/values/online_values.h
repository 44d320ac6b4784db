// Reading and writing one catalogue variable of the connected drive in
// engineering units: plain register values, scaled values, values composed
// from several registers, and the current limits whose format follows the
// drive's logic version.
#pragma once

#include <cstdint>
#include <string_view>

#include "catalog/result_codes.h"
#include "context.h"

namespace svodb {

// The online read used throughout the library (names without regard to
// case). The value is written only on success.
Result ReadVariableOnline(LibraryContext& ctx, std::string_view name, double& value);

// Its write twin. A value that is not finite or lies outside the 32-bit
// range is refused by the register's range check (23).
Result WriteVariableOnline(LibraryContext& ctx, std::string_view name, double value);

// What GetVariableOnline_SVODB and PutVariableOnline_SVODB do: the two text
// variables are refused (8), FTPass and FTFail are read straight from their
// NV entries, and OpMode is written as SetOpModeOnline_SVODB writes it.
Result GetVariableOnline(LibraryContext& ctx, std::string_view name, double& value);
Result PutVariableOnline(LibraryContext& ctx, std::string_view name, double value);

// Around each variable of a whole-set write from node `node` (logic version
// nodeLogic) to a drive of logic version driveLogic: the node's raw value is
// put in the drive's format before the write and back afterwards.
Result ConvertToDriveVersion(LibraryContext& ctx, std::string_view name, uint32_t node, int32_t nodeLogic,
                             int32_t driveLogic);
Result ConvertBackToNodeVersion(LibraryContext& ctx, std::string_view name, uint32_t node, int32_t nodeLogic,
                                int32_t driveLogic);

}  // namespace svodb
