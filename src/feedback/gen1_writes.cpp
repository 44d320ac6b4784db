#include "feedback/gen1_writes.h"

#include <cmath>
#include <limits>

#include "drive/one_repeat.h"
#include "drive/register_transfers.h"
#include "drive/transport.h"
#include "feedback/trx_link.h"
#include "platform/platform.h"

namespace svodb {
namespace {

constexpr uint32_t kMdbFirstWord = 64;
constexpr uint32_t kMdbWordCount = kMdbSize / 2;
constexpr uint32_t kRetryPauseMs = 2000;
constexpr uint32_t kReadBackPauseMs = 10;

uint32_t BlockWord(MdbValues block, uint32_t w) { return block[2 * w + 1] * 256 + block[2 * w]; }

uint32_t ParameterWord(uint32_t tag, uint32_t data) { return tag * 512 + 256 + data; }

void RetryPause(LibraryContext& ctx) {
  ctx.platform.SleepMs(kRetryPauseMs);
  ctx.transport.FlushPort();
  ctx.platform.SleepMs(kRetryPauseMs);
}

// Write disable and every line dropped: how a failed word loop leaves the
// device. Diagnostics mode and the speed stay as they are.
void Abandon(FeedbackContext& fc) {
  DisableTrxWrite(fc.lib, fc.state.link);
  CloseTrxLink(fc.lib, fc.state.link);
}

// The parameter value as a word's data: truncated toward zero and taken as
// unsigned, so negative values are out of range like values above max. A
// value no 32-bit integer holds is out of range too.
bool ParameterValue(double value, uint32_t max, uint32_t& v) {
  if (!std::isfinite(value)) return false;
  const double truncated = std::trunc(value);
  if (truncated < std::numeric_limits<int32_t>::min() || truncated > std::numeric_limits<int32_t>::max())
    return false;
  v = static_cast<uint32_t>(static_cast<int32_t>(truncated));
  return v <= max;
}

// Writes a parameter word and reads it back; the write's code or 10.
Result WriteParameterWord(FeedbackContext& fc, uint32_t address, uint32_t word, bool discardFirstRead) {
  LibraryContext& ctx = fc.lib;
  const Result result = WriteTrxWord(ctx, fc.state.link, address, word);
  if (result != code::kOk) {
    Abandon(fc);
    return result;
  }
  if (discardFirstRead) {
    ctx.platform.SleepMs(kReadBackPauseMs);
    ReadTrxWord(ctx, fc.state.link, address);
  }
  if (ReadTrxWord(ctx, fc.state.link, address) != word) {
    Abandon(fc);
    return code::kTransferError;
  }
  return code::kOk;
}

// Writes word w of the block and makes sure it holds; the code that ends
// the write, or 1.
Result WriteVerifiedWord(FeedbackContext& fc, MdbValues block, uint32_t w, uint32_t& retries,
                         MdbMismatch& mismatch) {
  LibraryContext& ctx = fc.lib;
  TrxLink& link = fc.state.link;
  const uint32_t value = BlockWord(block, w);
  const uint32_t address = kMdbFirstWord + w;
  const auto fail = [&](Result result) {
    Abandon(fc);
    mismatch.index = w;
    return result;
  };
  const auto readBack = [&] {
    mismatch.valueRead = ReadTrxWord(ctx, link, address);
    return mismatch.valueRead == value;
  };
  const auto retry = [&] {
    RetryPause(ctx);
    mismatch.retries = ++retries;
  };

  Result result = WithOneRepeat([&] { return WriteTrxWord(ctx, link, address, value); });
  if (result != code::kOk) return fail(WordWriteFailure(result, block[2 * w], w));
  if (readBack()) return code::kOk;

  retry();
  result = WriteTrxWord(ctx, link, address, value);
  if (result != code::kOk) return fail(WordWriteFailure(result + 1, block[2 * w], w));
  if (readBack()) return code::kOk;
  if (mismatch.valueRead != 0) {
    mismatch.valueExpected = value;
    return fail(code::kTransferError);
  }
  // A word that reads as 0 may still be in its write cycle: one more look.
  retry();
  if (readBack()) return code::kOk;
  mismatch.valueExpected = value;
  return fail(kTrx2VerifyMismatch);
}

}  // namespace

Result WordWriteFailure(Result c, uint32_t byte, uint32_t wordIndex) {
  const auto compose = [&](int64_t failing) { return (failing * 1000 + byte) * 1000 + wordIndex; };
  int64_t composite = compose(c);
  if (composite < std::numeric_limits<Result>::min() || composite > std::numeric_limits<Result>::max())
    composite = compose(code::kSystemError);
  return static_cast<Result>(composite);
}

Result WriteVerifyTrxMdb(FeedbackContext& fc, MdbValues block, MdbMismatch& mismatch) {
  LibraryContext& ctx = fc.lib;
  mismatch = MdbMismatch{};
  uint32_t retries = 0;
  // A bad block is refused before any traffic, the switch read included.
  Result result = ValidateMdb(block);
  if (result != code::kOk) return result;
  const bool fast = ReadFastLinkFlag(ctx);

  result = WithOneRepeat([&] { return EnableTrxDiag(ctx); });
  if (result != code::kOk) return result;
  SpeedStepUp(ctx, fast);
  std::array<uint8_t, kMdbSize> copy{};
  result = ReadDriveCopy(ctx, copy, 0);
  if (result != code::kOk) return result;
  result = SelectTrxBitMode(ctx);
  if (result != code::kOk) return result;
  OpenTrxLink(ctx, fc.state.link);
  EnableTrxWrite(ctx, fc.state.link);
  FlushStep(ctx);

  for (uint32_t w = 0; w < kMdbWordCount; ++w) {
    if (copy[2 * w] == block[2 * w] && copy[2 * w + 1] == block[2 * w + 1]) continue;
    result = WriteVerifiedWord(fc, block, w, retries, mismatch);
    if (result != code::kOk) return result;
  }

  DisableTrxWrite(ctx, fc.state.link);
  CloseTrxLink(ctx, fc.state.link);
  result = WithOneRepeat([&] { return DisableTrxDiag(ctx); });
  if (result != code::kOk) return result;
  SpeedStepBack(ctx, fast);
  return code::kOk;
}

Result WriteTrxMdb(FeedbackContext& fc, MdbValues block) {
  LibraryContext& ctx = fc.lib;
  Result result = ValidateMdb(block);
  if (result != code::kOk) return result;
  if ((result = EnableTrxDiag(ctx)) != code::kOk) return result;
  if ((result = SelectTrxBitMode(ctx)) != code::kOk) return result;
  OpenTrxLink(ctx, fc.state.link);
  EnableTrxWrite(ctx, fc.state.link);
  for (uint32_t w = 0; w < kMdbWordCount; ++w) {
    result = WriteTrxWord(ctx, fc.state.link, kMdbFirstWord + w, BlockWord(block, w));
    if (result != code::kOk) {
      Abandon(fc);
      return result;
    }
  }
  DisableTrxWrite(ctx, fc.state.link);
  CloseTrxLink(ctx, fc.state.link);
  if ((result = DisableTrxDiag(ctx)) != code::kOk) return result;
  // The drive has taken the device back and refreshed its copy.
  for (uint32_t k = 0; k < kMdbSize; ++k) {
    uint8_t byte = 0;
    result = ReadMotorDataByte(ctx, static_cast<int32_t>(k), byte);
    if (result != code::kOk) return result;
    if (byte != block[k]) return code::kTrxReadBack;
  }
  return code::kOk;
}

Result WriteTrx(FeedbackContext& fc, std::string_view name, double value) {
  LibraryContext& ctx = fc.lib;
  const TrxParameter* parameter = fc.trxFields.fields.Find(name);
  if (parameter == nullptr) return code::kInvalidParameter;
  const bool fast = ReadFastLinkFlag(ctx);
  Result result = EnableTrxDiag(ctx);
  if (result != code::kOk) return result;
  SpeedStepUp(ctx, fast);
  if ((result = SelectTrxBitMode(ctx)) != code::kOk) return result;
  OpenTrxLink(ctx, fc.state.link);
  EnableTrxWrite(ctx, fc.state.link);

  uint32_t v = 0;
  if (parameter->kind == 1) {
    if (!ParameterValue(value, 255, v)) return code::kOutOfRange;
    result = WriteParameterWord(fc, parameter->wordAddress, ParameterWord(parameter->tag, v), true);
    if (result != code::kOk) return result;
  } else if (parameter->kind == 2) {
    if (!ParameterValue(value, 1023, v)) return code::kOutOfRange;
    result = WriteParameterWord(fc, parameter->wordAddress, ParameterWord(parameter->tag, v / 4), false);
    if (result != code::kOk) return result;
    result = WriteParameterWord(fc, parameter->wordAddress - 1,
                                ParameterWord(parameter->tag - 1, (v % 4) * 64), false);
    if (result != code::kOk) return result;
  }

  DisableTrxWrite(ctx, fc.state.link);
  CloseTrxLink(ctx, fc.state.link);
  if ((result = DisableTrxDiag(ctx)) != code::kOk) return result;
  SpeedStepBack(ctx, fast);
  return code::kOk;
}

Result ReadTrx(FeedbackContext& fc, std::string_view name, double& value) {
  LibraryContext& ctx = fc.lib;
  const TrxParameter* parameter = fc.trxFields.fields.Find(name);
  if (parameter == nullptr) return code::kInvalidParameter;
  Result result = EnableTrxDiag(ctx);
  if (result != code::kOk) return result;
  if ((result = SelectTrxBitMode(ctx)) != code::kOk) return result;
  OpenTrxLink(ctx, fc.state.link);

  // The failed-read marker must never pass for data (its low byte is 208),
  // and a read after a failed one would start in the middle of a frame.
  bool readFailed = false;
  const auto read = [&](uint32_t address) {
    if (readFailed) return 0u;
    const uint32_t word = ReadTrxWord(ctx, fc.state.link, address);
    readFailed = word == trx::kFailedWordRead;
    return word;
  };
  double read_value = 0;
  bool haveValue = true;
  if (parameter->kind == 1) {
    read_value = read(parameter->wordAddress) % 256;
  } else if (parameter->kind == 2) {
    const uint32_t high = read(parameter->wordAddress) % 256;
    const uint32_t low = (read(parameter->wordAddress - 1) / 64) % 4;
    read_value = high * 4 + low;
  } else {
    haveValue = false;
  }

  CloseTrxLink(ctx, fc.state.link);
  result = DisableTrxDiag(ctx);
  if (readFailed) return code::kTransferError;
  if (haveValue) value = read_value;
  return result;
}

Result WriteVerifyTrxMdbV2(FeedbackContext& fc, MdbValues block, uint32_t a, uint32_t b) {
  if (a > 255 || b > 255) return code::kOutOfRange;
  // Both writers would refuse a bad block; refusing it here keeps the
  // device untouched by the generation check too, and does not report
  // success for a bad block on a device that is left alone.
  const Result valid = ValidateMdb(block);
  if (valid != code::kOk) return valid;
  uint32_t generation = 0, linkSpeed = 0, supported = 0;
  const Result checked = CheckGenOfTrx(fc.lib, generation, linkSpeed, supported);
  if (generation == kGeneration1 && supported == 1) {
    WriteTrx(fc, "RDSinOffset", b);
    MdbMismatch unused;
    return WriteVerifyTrxMdb(fc, block, unused);
  }
  if (generation == kGeneration2 && supported == 1) {
    if (b < 10) return code::kOutOfRange;
    return WriteVerifyTrx2Mdb(fc.lib, fc.state.image, block, static_cast<uint8_t>(a),
                              static_cast<uint8_t>(b - 10));
  }
  return checked;
}

}  // namespace svodb
