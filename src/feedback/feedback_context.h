// The process-wide state of the motor feedback device's operations, beside
// the library's context: the bit-mode port's shadow and latch, the image of
// a generation-2 device's memory region and the two field lists.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "context.h"

namespace svodb {

class MdbFieldList;
class TrxFieldList;

// The motor data block: one byte per value, the low byte of their sum 255.
inline constexpr std::size_t kMdbSize = 384;

// The generation-2 device's memory region, 0x3BD00-0x3FFFF.
inline constexpr uint32_t kTrx2RegionStart = 0x3BD00;
inline constexpr std::size_t kTrx2ImageSize = 17152;
using Trx2Image = std::array<uint8_t, kTrx2ImageSize>;

// The bit-mode port: every line change is made on the shadow and the whole
// shadow is written, because the port register cannot be read back.
struct TrxLink {
  uint32_t output = 0;  // the line image last written to register 22
  uint32_t input = 0;   // register 24 as last sampled in bit mode
};

struct FeedbackState {
  TrxLink link;
  Trx2Image image{};
};

struct FeedbackContext {
  LibraryContext& lib;
  FeedbackState& state;
  MdbFieldList& mdbFields;
  TrxFieldList& trxFields;
};

}  // namespace svodb
