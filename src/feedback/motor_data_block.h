// The fields of the motor data block, the list that finds them by name and
// keeps the last block shown, and the operations on the drive's copy of the
// block (read through the motor-data registers, no diagnostics mode).
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "catalog/result_codes.h"
#include "context.h"
#include "feedback/device_memory.h"
#include "feedback/feedback_context.h"
#include "feedback/field_list.h"

namespace svodb {

// Value types: 1 the byte, 2 the byte + 2000, 3 twice the byte, 11 a
// resistance limit 6810 / (128 / b - 1), 101 the compact floating value of
// the byte at the offset (exponent) and the one before it (mantissa), 201
// sixteen characters from the offset on.
struct MdbField {
  const char* name;
  uint32_t offset;
  uint32_t type;
  const char* unit;
};

// In ascending order of name without regard to case, closed by a row
// without a name. MotTLim and RLim are two views of byte 382; DPoles reads
// the checksum byte.
// clang-format off
inline constexpr std::array<MdbField, 21> kMdbFieldTable = {{
    {"DCWeek",  238,   1, "Weeks"},
    {"DCYear",  239,   2, "Years"},
    {"DPoles",  383,   1, "Pole Pairs"},
    {"JMtot",   119, 101, "Kg-cm2"},
    {"Kdv",     121, 101, "MN-m/kRPM"},
    {"Ke",      127, 101, "Vrms/rad/sec"},
    {"Kt",      125, 101, "N-m/Arms"},
    {"KVPAuto", 377, 101, "Arms/rad/sec"},
    {"Ldll",    379, 101, "Henry"},
    {"Lqll",    381, 101, "Henry"},
    {"MemSum",    1,   1, "   "},
    {"MemVer",    0,   1, "   "},
    {"MICont",  373, 101, "Arms"},
    {"MIPeak",  375, 101, "Arms"},
    {"MNum",    240, 201, "..."},
    {"MotTLim", 382,   1, "Counts"},
    {"MPoles",  256,   3, "Poles"},
    {"MTF0",    371, 101, "Hz"},
    {"RLim",    382,  11, "Ohs"},
    {"Rll",     123, 101, "Ohm"},
    {"",          0,   0, ""},
}};
// clang-format on

inline constexpr std::size_t kMdbTextLength = 16;         // type 201
inline constexpr std::size_t kMdbFieldTextCapacity = 47;  // the longest text, terminator included
inline constexpr std::size_t kMdbUnitCapacity = 14;

constexpr bool MdbFieldsFitTheBlock(std::span<const MdbField> table) {
  for (const MdbField& field : table.first(NamedRowCount(table))) {
    const bool usesByteBefore = field.type >= 100 && field.type < 200;
    const uint32_t last = field.type >= 200 ? field.offset + kMdbTextLength - 1 : field.offset;
    if (usesByteBefore && field.offset == 0) return false;
    if (last >= kMdbSize || std::string_view(field.unit).size() >= kMdbUnitCapacity) return false;
  }
  return true;
}
static_assert(IsFieldTableWellFormed<MdbField>(kMdbFieldTable));
static_assert(MdbFieldsFitTheBlock(kMdbFieldTable));

// The fields and the bytes of the block last loaded from the drive (0 until
// then).
class MdbFieldList {
 public:
  constexpr explicit MdbFieldList(std::span<const MdbField> table = kMdbFieldTable) noexcept
      : fields(table) {}

  FieldList<MdbField> fields;
  std::array<uint32_t, kMdbSize> values{};
};

// 2^e * (1 + m/128) for m below 128, -(2^e * (2 + (m - 128)/128)) above;
// e = -128 with m = 0 is 0.
double CompactFloat(uint8_t exponent, uint8_t mantissa);

// The field's text from the block's bytes (the low byte of each value).
// 99 for a type the table does not know, and for a resistance limit whose
// divisor 128 / b - 1 is 0 (b = 0 or 65-128): such a byte does not describe
// a limit, and the text is not written.
Result FormatMdbField(const MdbField& field, std::span<const uint32_t, kMdbSize> values, std::string& text);

// Loads every field's bytes from the drive's copy into the list, in table
// order; the first failing read ends it, the bytes before it stay.
Result LoadShowData(LibraryContext& ctx, MdbFieldList& list);
// 8 for an unknown name; otherwise FormatMdbField on the loaded bytes.
Result GetMotorData(MdbFieldList& list, std::string_view name, std::string& text);
Result GetDataUnit(MdbFieldList& list, std::string_view name, std::string& unit);

// The drive's copy, read slowly, with one more read after a pause when the
// checksum fails. out is written only on success.
Result ReadTrxMdb(LibraryContext& ctx, std::span<uint32_t, kMdbSize> out);

// Where a comparison or a word write went wrong; 99999 means "not set".
inline constexpr uint32_t kNotSet = 99999;
struct MdbMismatch {
  uint32_t retries = 0;
  uint32_t index = kNotSet;
  uint32_t valueRead = kNotSet;
  uint32_t valueExpected = kNotSet;
};

// Compares the drive's copy with the block, each differing byte read once
// more after a pause; 42 with the mismatch when it still differs.
Result CheckTrxMdb(LibraryContext& ctx, MdbValues block, MdbMismatch& mismatch);

// The three bytes behind the drive's logic version text: 509, 510, 511.
Result ReadTrxFpga(LibraryContext& ctx, std::array<uint32_t, 3>& out);

// Reads bytes 0-383 of the drive's copy, pausing before each read.
Result ReadDriveCopy(LibraryContext& ctx, std::array<uint8_t, kMdbSize>& bytes, uint32_t pause_ms);

}  // namespace svodb
