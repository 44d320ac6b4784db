// Whether the setup tool shows a parameter as editable, greyed out or hidden
// in a node's present configuration, and whether a variable's value changes
// by itself while the drive runs (so the tool polls it) or only when written.
#pragma once

#include <cstdint>
#include <string_view>

#include "catalog/result_codes.h"
#include "context.h"

namespace svodb {

// The enabled state of a parameter.
inline constexpr int32_t kParamEnabled = 1;
inline constexpr int32_t kParamDisabled = 0;
inline constexpr int32_t kParamNotApplicable = -1;  // this kind of drive has no such parameter

// The enabled state of `name` (exact spelling; unlisted names are enabled)
// on node 0-6, else 23 with nothing written. Node 0 reads its configuration
// from the drive, an image takes its stored raw values and state. A failed
// read of OpMode returns its code with nothing written; once OpMode is known
// `enabled` is 1, and a later failed read leaves it there and returns its
// code. Besides the codes of reads: 5 when SelTRXParam needs a drive version
// text shorter than 3 characters, 0 for ARF0 and ARF1 on a drive that is on
// neither a serial port nor the network.
Result GetParamEnabled(LibraryContext& ctx, std::string_view name, int32_t node, int32_t& enabled);

// 1 (dynamic) or 0 (static) for `name` (exact spelling) on the connection the
// transport reports; 25 with nothing written when it reports neither a
// serial port nor the network.
Result GetParamStaticOrDynamic(LibraryContext& ctx, std::string_view name, int32_t& dynamic);

}  // namespace svodb
