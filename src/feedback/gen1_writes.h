// Writes to a generation-1 device's EEPROM: the motor data block in words
// 64-255, in full or only the words that differ from the drive's copy with
// read-back and retries; the two device parameters in words 0-2; and the
// version-aware entry point that picks the writer for either generation.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string_view>

#include "catalog/result_codes.h"
#include "feedback/device_memory.h"
#include "feedback/feedback_context.h"
#include "feedback/field_list.h"
#include "feedback/motor_data_block.h"

namespace svodb {

// A device parameter word: tag in bits 15-9, bit 8 set, data in bits 7-0.
// Kind 1 keeps an 8-bit value in one word; kind 2 a 10-bit value, the
// upper 8 bits at the word address and the lower 2 in bits 7-6 of the word
// below it, which carries tag - 1.
struct TrxParameter {
  const char* name;
  uint32_t tag;
  uint32_t wordAddress;
  uint32_t kind;
};

// clang-format off
inline constexpr std::array<TrxParameter, 3> kTrxParameterTable = {{
    {"RDSINOffset", 2, 0, 1},
    {"SINGain",     4, 2, 2},
    {"",            0, 0, 0},
}};
// clang-format on
static_assert(IsFieldTableWellFormed<TrxParameter>(kTrxParameterTable));

class TrxFieldList {
 public:
  constexpr explicit TrxFieldList(std::span<const TrxParameter> table = kTrxParameterTable) noexcept
      : fields(table) {}

  FieldList<TrxParameter> fields;
};

// The code of a word that could not be written at all:
// (c * 1000 + b) * 1000 + w, with c the failing code (plus 1 when the
// failure came on the rewrite after a mismatch), b the block byte 2w and w
// the word's index 0-191. A c that would not fit is reported as 99.
Result WordWriteFailure(Result c, uint32_t byte, uint32_t wordIndex);

// Writes only the words whose bytes differ from the drive's copy, each read
// back and retried; mismatch.index is a word index 0-191 here.
Result WriteVerifyTrxMdb(FeedbackContext& fc, MdbValues block, MdbMismatch& mismatch);
// Writes all 192 words at the present speed and verifies through the
// drive's copy (42 on a differing byte).
Result WriteTrxMdb(FeedbackContext& fc, MdbValues block);
// 8 for an unknown name, 23 for a value outside the parameter's range.
Result WriteTrx(FeedbackContext& fc, std::string_view name, double value);
// 8 for an unknown name. A word that cannot be read ends the reading with
// 10 ("Error during data transfer"), value untouched, after the port is
// closed and diagnostics mode is left; otherwise the code of leaving
// diagnostics mode.
Result ReadTrx(FeedbackContext& fc, std::string_view name, double& value);
// 23 when a or b is above 255, or when b - 10 does not fit a byte on a
// generation-2 device; 40 or 41 for a bad block before any traffic;
// otherwise the chosen writer's code, or the generation check's code when
// the device is not recognised or supported.
Result WriteVerifyTrxMdbV2(FeedbackContext& fc, MdbValues block, uint32_t a, uint32_t b);

}  // namespace svodb
