#include "feedback/trx2_engine.h"

#include <algorithm>

#include "drive/transport.h"
#include "feedback/trx_link.h"
#include "platform/platform.h"

namespace svodb {
namespace {

// Selects a function and passes its byte; the first write that fails twice
// ends it with its code.
Result Function(LibraryContext& ctx, int32_t function, uint32_t byte) {
  const Result result = WritePort(ctx.transport, trx::kPortFunction, static_cast<uint32_t>(function));
  if (result != code::kOk) return result;
  return WritePort(ctx.transport, trx::kPortOutput, byte);
}

// Reads of the engine's output are single attempts.
Result FetchByte(LibraryContext& ctx, int32_t function, uint32_t& byte) {
  const Result result = Function(ctx, function, 0);
  if (result != code::kOk) return result;
  return ReadPortByte(ctx.transport, trx::kPortInput, byte);
}

// Runs poll until it answers false; false when the bound came first.
template <typename Poll>
bool PollWithin(Platform& platform, uint32_t bound_ms, Poll poll) {
  const uint32_t start = platform.NowMs();
  while (poll()) {
    if (static_cast<uint32_t>(platform.NowMs() - start) >= bound_ms) return false;
  }
  return true;
}

constexpr EngineResult Stalled(Result code) { return EngineResult{code, true}; }

}  // namespace

Result SendTrx2Command(LibraryContext& ctx, uint8_t instruction) {
  return Function(ctx, trx2::kSendInstruction, instruction);
}

Result SetTrx2Address(LibraryContext& ctx, uint32_t address) {
  struct Part {
    int32_t load;
    int32_t readBack;
    int shift;
  };
  constexpr Part kParts[] = {{trx2::kLoadAddressHigh, trx2::kReadAddressHigh, 16},
                             {trx2::kLoadAddressMiddle, trx2::kReadAddressMiddle, 8},
                             {trx2::kLoadAddressLow, trx2::kReadAddressLow, 0}};
  for (const Part& part : kParts) {
    const Result result = Function(ctx, part.load, (address >> part.shift) & 0xFFu);
    if (result != code::kOk) return result;
  }
  Result result = code::kOk;
  for (const Part& part : kParts) {
    result = Function(ctx, part.readBack, 0);
    if (result != code::kOk) return result;
    uint32_t byte = 0;
    result = ReadPortByte(ctx.transport, trx::kPortInput, byte);
    if (result == code::kOk && byte != ((address >> part.shift) & 0xFFu)) return trx2::kAddressMismatch;
  }
  return result;
}

uint32_t ReadTrx2Status(LibraryContext& ctx) {
  uint32_t status = 0;
  return FetchByte(ctx, trx2::kReadStatus, status) == code::kOk ? status : 0;
}

void WriteTrx2Byte(LibraryContext& ctx, uint8_t byte) { Function(ctx, trx2::kWriteData, byte); }

Result ReadTrx2FirstByte(LibraryContext& ctx, uint32_t& byte) {
  return FetchByte(ctx, trx2::kReadData, byte);
}

Result ReadTrx2NextByte(LibraryContext& ctx, uint32_t& byte) {
  const Result result = WritePort(ctx.transport, trx::kPortOutput, 0);
  if (result != code::kOk) return result;
  return ReadPortByte(ctx.transport, trx::kPortInput, byte);
}

EngineResult ReadTrx2Region(LibraryContext& ctx, Trx2Image& image) {
  SetTrx2Address(ctx, kTrx2RegionStart);
  SendTrx2Command(ctx, trx2::kRead);
  const bool ready = PollWithin(ctx.platform, trx2::kDataReadyTimeoutMs,
                                [&] { return (ReadTrx2Status(ctx) & trx2::kDataReady) == 0; });
  if (!ready) return Stalled(code::kTrxNotReady);
  Result result = code::kOk;
  for (std::size_t offset = 0; offset < image.size(); ++offset) {
    uint32_t byte = 0;
    result = offset == 0 ? ReadTrx2FirstByte(ctx, byte) : ReadTrx2NextByte(ctx, byte);
    image[offset] = result == code::kOk ? static_cast<uint8_t>(byte) : 0;
  }
  return EngineResult{result, false};
}

EngineResult EraseTrx2Sector(LibraryContext& ctx) {
  SendTrx2Command(ctx, trx2::kWriteEnable);
  SetTrx2Address(ctx, trx2::kEraseAddress);
  SendTrx2Command(ctx, trx2::kWriteEnable);
  SendTrx2Command(ctx, trx2::kSectorErase);
  ctx.platform.SleepMs(trx2::kEraseSettleMs);
  const bool done = PollWithin(ctx.platform, trx2::kEraseTimeoutMs, [&] {
    SendTrx2Command(ctx, trx2::kReadFlashStatus);
    return (ReadTrx2Status(ctx) & trx2::kBusy) != 0;
  });
  if (!done) return Stalled(code::kTrxEepromReady);
  SendTrx2Command(ctx, trx2::kWriteDisable);
  SendTrx2Command(ctx, trx2::kCloseSequence);
  uint32_t unused = 0;
  const Result result = ReadTrx2FirstByte(ctx, unused);
  ctx.platform.SleepMs(trx2::kEraseSettleMs);
  return EngineResult{result, false};
}

EngineResult ProgramTrx2Pages(LibraryContext& ctx, const Trx2Image& image) {
  Result result = trx2::kEveryPageBlank;
  for (uint32_t page = 0; page < trx2::kPageCount; ++page) {
    const auto first = image.begin() + static_cast<std::ptrdiff_t>(page * trx2::kPageSize);
    const auto last = first + trx2::kPageSize;
    if (std::all_of(first, last, [](uint8_t byte) { return byte == 0xFF; })) continue;
    SendTrx2Command(ctx, trx2::kWriteEnable);
    ctx.platform.SleepMs(trx2::kWriteEnableSettleMs);
    SetTrx2Address(ctx, kTrx2RegionStart + page * trx2::kPageSize);
    WriteTrx2Byte(ctx, *first);
    SendTrx2Command(ctx, trx2::kPageProgram);
    for (auto byte = first + 1; byte != last; ++byte) WriteTrx2Byte(ctx, *byte);
    SendTrx2Command(ctx, trx2::kCloseSequence);
    uint32_t unused = 0;
    ReadTrx2FirstByte(ctx, unused);
    SendTrx2Command(ctx, trx2::kReadFlashStatus);
    const bool done = PollWithin(ctx.platform, trx2::kProgramTimeoutMs, [&] {
      const uint32_t status = ReadTrx2Status(ctx);
      return (status & trx2::kBusy) != 0 && (status & trx2::kWriteEnabled) != 0;
    });
    if (!done) return Stalled(code::kTrxEepromReady);
    result = SendTrx2Command(ctx, trx2::kWriteDisable);
  }
  return EngineResult{result, false};
}

void BeginTrx2Exchange(LibraryContext& ctx) {
  if (EnableTrxDiag(ctx) == code::kOk) ctx.transport.ChangeBaudRate(trx::kFastBaud);
}

Result EndTrx2Exchange(LibraryContext& ctx) {
  const Result result = DisableTrxDiag(ctx);
  if (result != code::kOk) return result;
  return ctx.transport.ChangeBaudRate(trx::kNormalBaud);
}

}  // namespace svodb
