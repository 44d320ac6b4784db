// The feedback device's memory as the library uses it: the motor data
// block and its checksum, the test that tells the two device generations
// apart, and the whole-memory operations on a generation-2 device.
//
// Generation 1 keeps the block in words 64-255 of its EEPROM, byte 2w in
// bits 7-0 and byte 2w + 1 in bits 15-8 of word 64 + w. Generation 2 keeps
// it at image offsets 16768-17151 of its flash region.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "catalog/result_codes.h"
#include "context.h"
#include "feedback/feedback_context.h"

namespace svodb {

using MdbValues = std::span<const uint32_t, kMdbSize>;

inline constexpr std::size_t kMdbImageOffset = 16768;
inline constexpr std::size_t kMdbChecksumImageOffset = kMdbImageOffset + kMdbSize - 1;
// The device byte written from the RDSinOffset value less 10, and the one
// written from the caller's other value unchanged.
inline constexpr std::size_t kOffsetByteImageOffset = 16642;
inline constexpr std::size_t kSecondByteImageOffset = 16692;

// Generation codes and link-speed codes of Check_gen_of_TRX.
inline constexpr uint32_t kGeneration1 = 1;
inline constexpr uint32_t kGeneration2 = 2;
inline constexpr uint32_t kGenerationUnknown = 255;
inline constexpr uint32_t kNormalLinkCode = 19;
inline constexpr uint32_t kFastLinkCode = 115;

// Code 13 when the memory read back after programming is not what was
// programmed; it has no message of its own.
inline constexpr Result kTrx2VerifyMismatch = 13;

// 40 at the first value outside 0-255, 41 when the low byte of the sum is
// not 255, else 1.
Result ValidateMdb(MdbValues block);

// Whether the image's block satisfies the checksum rule.
bool Trx2ChecksumValid(const Trx2Image& image);
// Sets the image's checksum byte so that it does.
void ComputeTrx2Checksum(Trx2Image& image);

// Logic 3.2N and later; looks only at the characters at positions 0, 2
// and 3, compared as signed 8-bit values.
bool LogicVersionNewEnough(std::string_view versionText);

// Finds the device's generation from the engine's address register. The
// outputs are written as the steps reach them; the early returns (a failed
// enable, a port write that fails twice, a failed disable) leave the rest
// as they were.
Result CheckGenOfTrx(LibraryContext& ctx, uint32_t& generation, uint32_t& linkSpeed, uint32_t& supported);

// The device's region into the image and out, one value per byte; out is
// filled also when the checksum fails (41).
Result ReadTrx2Memory(LibraryContext& ctx, Trx2Image& image, std::span<uint32_t, kTrx2ImageSize> out);
// Rewrites the region with its checksum byte repaired: 41 when the block
// read back still fails the rule, 13 when the read-back differs.
Result CorrectTrx2Checksum(LibraryContext& ctx, Trx2Image& image);
// Writes block bytes 0-382 and the two device bytes into the region,
// carrying every other byte over; refused with 41 when the device's memory
// fails the checksum before the write.
Result WriteVerifyTrx2Mdb(LibraryContext& ctx, Trx2Image& image, MdbValues block, uint8_t a, uint8_t b);

}  // namespace svodb
