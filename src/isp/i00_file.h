// I00 configuration files: a three-line header ("#IT:", any text, and
// "#LogicVer:<n>" or any text) followed by records in the Intel HEX layout,
// which fill a 512-Kbyte flash image.
//
// Records are read as the drive's tools write them: type "04" only as the
// first record, then "00" data records whose bytes are stored one after
// another from the base, whatever their load offsets say, until a type "01"
// record or the end of the file; other types are skipped and checksums are
// not read.
//
// Refused before anything is sent, as "Wrong file format" (32): a line
// longer than 99 characters, and a data record whose line ends before the
// bytes its count announces.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "catalog/result_codes.h"
#include "context.h"
#include "isp/isp_protocol.h"
#include "platform/line_reader.h"

namespace svodb::isp {

inline constexpr std::size_t kI00ImageSize = 0x80000;
inline constexpr std::size_t kI00BlockSize = 256;
inline constexpr std::size_t kI00BlockCount = kI00ImageSize / kI00BlockSize;
inline constexpr std::size_t kI00MaxLineLength = 99;
inline constexpr int32_t kI00ProgressTotal = 2058;
inline constexpr int32_t kUnknownFileVersion = -1;

// The logic version a file is for, judged by its name: 3 for an extension
// "isc"; for "i00", the digits at 7-9 of a 13-character stem with '-' at 3
// and 10 (ABC-DEF004-GH.i00 is 4); else -1. Extensions are compared without
// regard to case.
int32_t VersionFromFileName(std::string_view fileName);

// Lines 1-3: 32 when one is missing or line 1 does not begin with "#IT:".
// fileVersion comes from "#LogicVer:" on line 3, else from the name.
Result ReadI00Header(LineReader& lines, std::string_view fileName, int32_t& fileVersion);

// The records from line 4 on into image (kI00ImageSize bytes, which the
// caller presets): 1, 32, or 43 for data beyond the image.
Result ReadI00Records(LineReader& lines, std::span<uint8_t> image);

// HandleI00File_SVODB: reads the file, checks its version against the
// drive's (33), then programs (or verifies) the whole image in 2048 blocks,
// posting 2058 progress steps.
Result ProgramI00File(LibraryContext& ctx, const char* fileName, Function function, uintptr_t window);

}  // namespace svodb::isp
