#include "feedback/device_memory.h"

#include <numeric>
#include <string>

#include "drive/transport.h"
#include "feedback/trx2_engine.h"
#include "feedback/trx_link.h"
#include "paramset/online_strings.h"
#include "platform/platform.h"

namespace svodb {
namespace {

uint32_t MdbSumInImage(const Trx2Image& image) {
  return std::accumulate(image.begin() + kMdbImageOffset, image.begin() + kMdbChecksumImageOffset, 0u);
}

// The region as the device holds it now; a stalled read leaves the image
// zeroed.
EngineResult FreshRead(LibraryContext& ctx, Trx2Image& image) {
  image.fill(0);
  return ReadTrx2Region(ctx, image);
}

// Erase, program and read back what was programmed. A stalled step ends
// the sequence with its code; otherwise valid and differ say what the read
// found.
struct Rewrite {
  EngineResult stall;
  bool valid = false;
  bool differ = false;
};

Rewrite RewriteRegion(LibraryContext& ctx, Trx2Image& image) {
  const Trx2Image written = image;
  Rewrite outcome;
  EngineResult step = EraseTrx2Sector(ctx);
  if (!step.stalled) step = ProgramTrx2Pages(ctx, image);
  if (!step.stalled) step = FreshRead(ctx, image);
  if (step.stalled) {
    outcome.stall = step;
    return outcome;
  }
  outcome.valid = Trx2ChecksumValid(image);
  outcome.differ = image != written;
  return outcome;
}

// The end of every whole-memory operation: diagnostics mode off, normal
// speed, a flush; what went wrong on the device is reported before the
// exchange's own code.
Result Finish(LibraryContext& ctx, const Rewrite& outcome) {
  const Result ended = EndTrx2Exchange(ctx);
  FlushStep(ctx);
  if (outcome.stall.stalled) return outcome.stall.code;
  if (!outcome.valid) return code::kTrxChecksum;
  if (outcome.differ) return kTrx2VerifyMismatch;
  return ended;
}

void Start(LibraryContext& ctx) {
  BeginTrx2Exchange(ctx);
  FlushStep(ctx);
}

// One engine address byte read back without loading; 255 when it cannot be
// read. A function write that fails twice ends the check with its code.
Result ReadBackAddressByte(LibraryContext& ctx, int32_t function, uint32_t& byte) {
  Result result = WritePort(ctx.transport, trx::kPortFunction, static_cast<uint32_t>(function));
  if (result == code::kOk) result = WritePort(ctx.transport, trx::kPortOutput, 0);
  if (result != code::kOk) return result;
  if (ReadPortByte(ctx.transport, trx::kPortInput, byte) != code::kOk) byte = 255;
  return code::kOk;
}

uint32_t GenerationOf(uint32_t high, uint32_t middle, uint32_t low) {
  if (low != 0) return kGenerationUnknown;
  if (middle == 254 && high == 3) return kGeneration2;
  if (middle == 0 && high == 0) return kGeneration1;
  return kGenerationUnknown;
}

}  // namespace

Result ValidateMdb(MdbValues block) {
  uint32_t sum = 0;
  for (const uint32_t value : block) {
    if (value > 255) return code::kWrongTrxData;
    sum += value;
  }
  return (sum & 0xFFu) == 0xFFu ? code::kOk : code::kTrxChecksum;
}

bool Trx2ChecksumValid(const Trx2Image& image) {
  return (MdbSumInImage(image) & 0xFFu) + image[kMdbChecksumImageOffset] == 255;
}

void ComputeTrx2Checksum(Trx2Image& image) {
  image[kMdbChecksumImageOffset] = static_cast<uint8_t>(~MdbSumInImage(image) & 0xFFu);
}

bool LogicVersionNewEnough(std::string_view versionText) {
  const auto at = [&](std::size_t i) {
    return static_cast<int8_t>(i < versionText.size() ? versionText[i] : 0);
  };
  const int8_t c0 = at(0), c2 = at(2), c3 = at(3);
  if (c0 > '3') return true;
  if (c0 != '3') return false;
  return c2 > '2' || (c2 == '2' && c3 >= 'N');
}

Result CheckGenOfTrx(LibraryContext& ctx, uint32_t& generation, uint32_t& linkSpeed, uint32_t& supported) {
  std::string version;
  const bool newEnough =
      GetStringOnline(ctx, "VerLW", version) == code::kOk && LogicVersionNewEnough(version);
  const bool fast = ReadFastLinkFlag(ctx) && newEnough;
  linkSpeed = fast ? kFastLinkCode : kNormalLinkCode;

  Result result = EnableTrxDiag(ctx);
  if (result != code::kOk) return result;
  if (fast) ctx.transport.ChangeBaudRate(trx::kFastBaud);
  FlushStep(ctx);

  uint32_t high = 0, middle = 0, low = 0;
  for (const auto& [function, byte] :
       {std::pair{trx2::kReadAddressHigh, &high}, std::pair{trx2::kReadAddressMiddle, &middle},
        std::pair{trx2::kReadAddressLow, &low}}) {
    result = ReadBackAddressByte(ctx, function, *byte);
    if (result != code::kOk) return result;
  }
  generation = GenerationOf(high, middle, low);
  switch (generation) {
    case kGeneration1: supported = newEnough ? 1 : 0; break;
    case kGeneration2: supported = fast ? 1 : 0; break;
    default: supported = 0; break;
  }

  result = DisableTrxDiag(ctx);
  if (result != code::kOk) return result;
  if (fast) ctx.transport.ChangeBaudRate(trx::kNormalBaud);
  return FlushStep(ctx);
}

Result ReadTrx2Memory(LibraryContext& ctx, Trx2Image& image, std::span<uint32_t, kTrx2ImageSize> out) {
  Start(ctx);
  Rewrite outcome;
  outcome.stall = FreshRead(ctx, image);
  outcome.valid = Trx2ChecksumValid(image);
  std::copy(image.begin(), image.end(), out.begin());
  return Finish(ctx, outcome);
}

Result CorrectTrx2Checksum(LibraryContext& ctx, Trx2Image& image) {
  Start(ctx);
  Rewrite outcome;
  outcome.stall = FreshRead(ctx, image);
  if (!outcome.stall.stalled) {
    ComputeTrx2Checksum(image);
    outcome = RewriteRegion(ctx, image);
  }
  return Finish(ctx, outcome);
}

Result WriteVerifyTrx2Mdb(LibraryContext& ctx, Trx2Image& image, MdbValues block, uint8_t a, uint8_t b) {
  const Result valid = ValidateMdb(block);
  if (valid != code::kOk) return valid;
  Start(ctx);
  Rewrite outcome;
  outcome.stall = FreshRead(ctx, image);
  // A memory that fails the rule is not built upon: the bytes carried over
  // could be anything. Correct_chs is the way to repair it first.
  if (!outcome.stall.stalled && Trx2ChecksumValid(image)) {
    for (std::size_t i = 0; i + 1 < kMdbSize; ++i)
      image[kMdbImageOffset + i] = static_cast<uint8_t>(block[i]);
    image[kOffsetByteImageOffset] = b;
    image[kSecondByteImageOffset] = a;
    ComputeTrx2Checksum(image);
    outcome = RewriteRegion(ctx, image);
  }
  return Finish(ctx, outcome);
}

}  // namespace svodb
