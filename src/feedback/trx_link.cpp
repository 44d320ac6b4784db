#include "feedback/trx_link.h"

#include "drive/one_repeat.h"
#include "drive/transport.h"
#include "platform/platform.h"

namespace svodb {
namespace {

Result ReadPort(Transport& transport, int32_t address, uint32_t& value) {
  return WithOneRepeat([&] { return ReadPortByte(transport, address, value); });
}

// Each line change writes the whole shadow; the result matters only where a
// caller says so.
Result WriteLines(LibraryContext& ctx, TrxLink& link) {
  return WritePort(ctx.transport, trx::kPortOutput, link.output);
}

void SetLine(TrxLink& link, uint32_t line, bool high) {
  link.output = high ? (link.output | line) : (link.output & ~line);
}

void Deselect(LibraryContext& ctx, TrxLink& link) {
  SetLine(link, trx::kChipSelect, false);
  link.input = 0;
  WriteLines(ctx, link);
}

// The device starts a frame only on a rising chip select. A failed frame
// leaves chip select set; without dropping it first, the next frame's
// header would be clocked in as data of the broken one (and the write
// disable that ends a failed write loop would be lost). The drive's own
// tools do not make this deselect: it is one port write more than they
// make, and only after a failure. We keep it because it lets the retried
// frame reach a real device intact; the codes of every failure path stay
// those of the failing step (the generation-1 write tests pin them).
void Select(LibraryContext& ctx, TrxLink& link) {
  if ((link.output & trx::kChipSelect) != 0) Deselect(ctx, link);
  SetLine(link, trx::kChipSelect, true);
  WriteLines(ctx, link);
}

void ClockPulse(LibraryContext& ctx, TrxLink& link) {
  SetLine(link, trx::kClock, true);
  WriteLines(ctx, link);
  SetLine(link, trx::kClock, false);
  WriteLines(ctx, link);
}

void SendHeader(LibraryContext& ctx, TrxLink& link, uint32_t header) {
  for (int bit = 10; bit >= 0; --bit) {
    SetLine(link, trx::kDataIn, ((header >> bit) & 1u) != 0);
    WriteLines(ctx, link);
    ClockPulse(ctx, link);
  }
}

void SpecialInstruction(LibraryContext& ctx, TrxLink& link, std::size_t index) {
  Select(ctx, link);
  SendHeader(ctx, link, trx::kSpecialHeader + trx::kSpecialInstructions[index]);
  Deselect(ctx, link);
}

// Reads register 58, applies change to its value and writes it back; the
// other bits belong to other variables and go back as they were.
template <typename Change>
Result RewriteDriveControl(LibraryContext& ctx, Change change) {
  uint32_t control = 0;
  Result result = ReadPort(ctx.transport, trx::kDriveControl, control);
  if (result != code::kOk) return result;
  return WritePort(ctx.transport, trx::kDriveControl, change(control));
}

}  // namespace

Result WritePort(Transport& transport, int32_t address, uint32_t value) {
  return WithOneRepeat([&] { return transport.PutVarToFPGA(address, static_cast<int32_t>(value)); });
}

Result ReadPortByte(Transport& transport, int32_t address, uint32_t& value) {
  int32_t data = 0, unused = 0;
  const Result result = transport.GetVarFromFPGA(address, &data, &unused);
  if (result == code::kOk) value = static_cast<uint32_t>(data) & 0xFFu;
  return result;
}

void BusyWaitMs(Platform& platform, uint32_t duration_ms) {
  const uint32_t start = platform.NowMs();
  while (static_cast<uint32_t>(platform.NowMs() - start) < duration_ms) {
  }
}

Result EnableTrxDiag(LibraryContext& ctx) {
  Result result =
      RewriteDriveControl(ctx, [](uint32_t control) { return control | trx::kDiagnosticsRequest; });
  if (result != code::kOk) return result;
  BusyWaitMs(ctx.platform, trx::kDiagnosticsSettleMs);
  uint32_t control = 0;
  result = ReadPort(ctx.transport, trx::kDriveControl, control);
  if (result != code::kOk) return result;
  return (control & trx::kDiagnosticsActive) != 0 ? code::kOk : code::kTrxDiagnosticsOn;
}

Result DisableTrxDiag(LibraryContext& ctx) {
  Result result =
      RewriteDriveControl(ctx, [](uint32_t control) { return control & ~trx::kDiagnosticsRequest; });
  if (result != code::kOk) return result;
  uint32_t control = 0;
  result = ReadPort(ctx.transport, trx::kDriveControl, control);
  if (result != code::kOk) return result;
  if ((control & trx::kDiagnosticsActive) != 0) return code::kTrxDiagnosticsOff;
  BusyWaitMs(ctx.platform, trx::kDiagnosticsSettleMs);
  return code::kOk;
}

bool ReadFastLinkFlag(LibraryContext& ctx) {
  uint32_t switches = 0;
  if (ReadPort(ctx.transport, trx::kSetupSwitches, switches) != code::kOk) switches = 0;
  return (switches & trx::kSlowLinkSwitch) == 0;
}

Result FlushStep(LibraryContext& ctx) {
  ctx.platform.SleepMs(trx::kFlushSettleMs);
  const Result result = ctx.transport.FlushPort();
  ctx.platform.SleepMs(trx::kFlushSettleMs);
  return result;
}

void SpeedStepUp(LibraryContext& ctx, bool fast) {
  if (fast) ctx.transport.ChangeBaudRate(trx::kFastBaud);
  FlushStep(ctx);
}

void SpeedStepBack(LibraryContext& ctx, bool fast) {
  if (fast) ctx.transport.ChangeBaudRate(trx::kNormalBaud);
  FlushStep(ctx);
}

Result SelectTrxBitMode(LibraryContext& ctx) {
  return ctx.transport.PutVarToFPGA(trx::kPortFunction, trx::kBitMode);
}

void OpenTrxLink(LibraryContext& ctx, TrxLink& link) {
  link.output = trx::kPortEnable;
  WriteLines(ctx, link);
  link.input = 0;
}

void CloseTrxLink(LibraryContext& ctx, TrxLink& link) {
  link.output = 0;
  WriteLines(ctx, link);
}

void EnableTrxWrite(LibraryContext& ctx, TrxLink& link) { SpecialInstruction(ctx, link, 0); }
void DisableTrxWrite(LibraryContext& ctx, TrxLink& link) { SpecialInstruction(ctx, link, 2); }

uint32_t ReadTrxWord(LibraryContext& ctx, TrxLink& link, uint32_t address) {
  uint32_t value = 0;
  Select(ctx, link);
  SendHeader(ctx, link, trx::kReadHeader + (address & 0xFFu));
  for (int bit = 0; bit < 16; ++bit) {
    value *= 2;
    ClockPulse(ctx, link);
    if (ReadPort(ctx.transport, trx::kPortInput, link.input) != code::kOk) return trx::kFailedWordRead;
    if ((link.input & trx::kDataOut) != 0) value += 1;
  }
  ClockPulse(ctx, link);
  Deselect(ctx, link);
  return value;
}

Result WriteTrxWord(LibraryContext& ctx, TrxLink& link, uint32_t address, uint32_t word) {
  Select(ctx, link);
  SendHeader(ctx, link, trx::kWriteHeader + (address & 0xFFu));
  for (int bit = 15; bit >= 0; --bit) {
    SetLine(link, trx::kDataIn, ((word >> bit) & 1u) != 0);
    const Result result = WriteLines(ctx, link);
    if (result != code::kOk) return result;
    ClockPulse(ctx, link);
  }
  Deselect(ctx, link);
  // The device programs the word while chip select is held; its ready
  // signal is not sampled, the caller reads the word back instead.
  Select(ctx, link);
  BusyWaitMs(ctx.platform, trx::kWordWriteCycleMs);
  Deselect(ctx, link);
  return code::kOk;
}

}  // namespace svodb
