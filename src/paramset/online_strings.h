// The two catalogue variables that are texts: the drive's serial number,
// kept one character per NV entry from entry 255 downwards, and the version
// of its logic (VerLW), three bytes at the top of the motor-data memory.
// Both always address the connected drive.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "catalog/result_codes.h"
#include "context.h"

namespace svodb {

// The longest text either variable holds; callers' buffers take one more
// byte for the terminator.
inline constexpr std::size_t kOnlineTextLength = 24;

// The serial number's characters all go through this FPGA register's NV
// entries, and the entries below the last character hold this filler.
inline constexpr int32_t kSerialNumberRegister = 127;
inline constexpr int32_t kSerialNumberFiller = 255;

// Reads SerialNum or VerLW (exact spelling) into text; any other name reads
// as an empty text with result 1. Reading VerLW also picks the DeadBand
// layout for the power board and becomes the drive's version text. 11 for
// logic older than 3.0; transport and online codes unchanged. text changes
// only on success.
Result GetStringOnline(LibraryContext& ctx, std::string_view name, std::string& text);

// Writes SerialNum (exact spelling); any other name is accepted and writes
// nothing. 11 for logic older than 3.0, 12 for a text over 24 characters
// (nothing written). A failing entry stops the write; the entries before it
// stay written.
Result PutStringOnline(LibraryContext& ctx, std::string_view name, std::string_view text);

// The VerLW text of the bytes at 511 (power board), 510 and 509.
std::string FormatLogicVersionText(uint8_t powerBoard, uint8_t minor, uint8_t revision);

}  // namespace svodb
