#include "isp/isp_protocol.h"

#include "drive/drive_facts.h"
#include "drive/register_transfers.h"
#include "drive/transport.h"
#include "platform/platform.h"

namespace svodb::isp {

namespace {

constexpr int32_t kSpiEnableLogicVersion = 4;

}  // namespace

void Progress::Post() {
  // A window that cannot take the message does not stop the programming.
  platform_.PostWindowMessage(window_, kProgressMessage, static_cast<uintptr_t>(step_), total_);
  ++step_;
}

IspSession::IspSession(LibraryContext& ctx)
    : transport_(ctx.transport), platform_(ctx.platform), linkType_(ctx.transport.GetCommType()) {}

Result IspSession::WriteUnlockKey() { return transport_.PutVarToFPGA(kIspRegister, kUnlockKey1); }

Result IspSession::WriteFunction(Function function) {
  const Result result = transport_.PutVarToFPGA(kIspRegister, kUnlockKey2);
  if (result != code::kOk) return result;
  return transport_.PutVarToFPGA(kIspRegister, static_cast<int32_t>(function));
}

Result IspSession::RaiseLinkSpeed() {
  return IsSerial() ? transport_.ChangeBaudRate(kFastBaudRate) : code::kOk;
}

Result IspSession::RestoreLinkSpeed() {
  return IsSerial() ? transport_.ChangeBaudRate(kNormalBaudRate) : code::kOk;
}

Result IspSession::SendClosingByte() {
  int32_t reply = lastStatus_;
  const Result result = transport_.SendISPByte(kClosingByte, &reply);
  if (result == code::kOk) lastStatus_ = reply;
  return result;
}

Result IspSession::Abort(Result code) {
  SendClosingByte();
  RestoreLinkSpeed();
  return code;
}

Result IspSession::ReadStatus(int32_t timeout_ms) {
  // A failed read leaves the status as last seen: the transport gives no
  // status then.
  int32_t reply = lastStatus_;
  const Result result = transport_.GetISPStatus(&reply, timeout_ms);
  if (result == code::kOk) lastStatus_ = reply;
  return result;
}

bool IspSession::WaitFor(int32_t awaited, bool& readFailed) {
  readFailed = false;
  const uint32_t start = platform_.NowMs();
  uint32_t busyReplies = 0;
  for (int attempts = 0; attempts < kWaitAttempts;) {
    if (ReadStatus(kWaitTimeoutMs) != code::kOk) {
      readFailed = true;
      return false;
    }
    if (lastStatus_ == status::kBusy) {
      if (++busyReplies >= kBusyReplyLimit || platform_.NowMs() - start >= kBusyLimitMs) return false;
      continue;
    }
    ++attempts;
    if (lastStatus_ == awaited) return true;
  }
  return false;
}

std::optional<Result> IspSession::WaitReady() {
  bool readFailed = false;
  if (WaitFor(status::kReady, readFailed)) return std::nullopt;
  return Abort(kNotReady);
}

void IspSession::PollUntilTaken() {
  for (int poll = 0; poll < kNetworkPolls; ++poll) {
    if (ReadStatus(kUnitTimeoutMs) != code::kOk || lastStatus_ != status::kNotYetTaken) return;
  }
}

std::optional<Result> IspSession::StreamUnit(std::span<const uint8_t> unit, bool lastUnit) {
  const bool network = IsNetwork();
  for (const uint8_t byte : unit) {
    int32_t reply = lastStatus_;
    if (transport_.SendISPByte(byte, &reply) != code::kOk) {
      // What the caller learns is whether the drive took the closing byte.
      const Result closing = SendClosingByte();
      RestoreLinkSpeed();
      return closing;
    }
    lastStatus_ = reply;
    if (network && reply == status::kNotYetTaken) PollUntilTaken();
  }
  if (IsSerial()) {
    ReadStatus(kUnitTimeoutMs);
    if (!lastUnit && lastStatus_ != status::kReady) return Abort(kNotFinished);
  }
  return std::nullopt;
}

std::optional<Result> IspSession::WaitDone(Result readFailure) {
  if (lastStatus_ == status::kFinished) return std::nullopt;
  bool readFailed = false;
  if (WaitFor(status::kFinished, readFailed)) return std::nullopt;
  return Abort(readFailed ? readFailure : kNotFinished);
}

namespace {

// The start that erase and configure share: link type, the drive's logic
// version, SPI_EN for logic 4, the unlock and the link speed. A result means
// the operation ended there.
std::optional<Result> BeginDirectOperation(LibraryContext& ctx, IspSession& session, Function function,
                                           bool& spiEnabled) {
  int32_t logicVersion = 0;
  const Result read = ReadLogicVersion(ctx, logicVersion);
  if (read != code::kOk) return read;
  spiEnabled = logicVersion == kSpiEnableLogicVersion;
  if (spiEnabled) ctx.transport.PutVarToFPGA(kSpiEnableRegister, kSpiEnableOn);
  Result result = session.WriteUnlockKey();
  if (result == code::kOk) result = session.WriteFunction(function);
  if (result != code::kOk) return result;
  if (session.RaiseLinkSpeed() != code::kOk) return session.SendClosingByte();
  return std::nullopt;
}

}  // namespace

std::optional<Result> StreamImage(IspSession& session, Progress& progress, Function function,
                                  std::span<const uint8_t> image, std::size_t unitSize, Result doneReadFailure) {
  session.WriteUnlockKey();
  progress.Post();
  session.WriteFunction(function);
  progress.Post();
  session.RaiseLinkSpeed();
  if (const auto ended = session.WaitReady()) return *ended;
  progress.Post();
  progress.Post();
  const std::size_t units = image.size() / unitSize;
  for (std::size_t unit = 0; unit < units; ++unit) {
    if (const auto ended = session.StreamUnit(image.subspan(unit * unitSize, unitSize), unit + 1 == units)) {
      return *ended;
    }
    progress.Post();
  }
  progress.Post();
  if (const auto ended = session.WaitDone(doneReadFailure)) return *ended;
  progress.Post();
  session.SendClosingByte();
  session.RestoreLinkSpeed();
  return std::nullopt;
}

Result EraseFlash(LibraryContext& ctx) {
  IspSession session(ctx);
  bool spiEnabled = false;
  if (const auto ended = BeginDirectOperation(ctx, session, Function::kErase, spiEnabled)) return *ended;
  int32_t reply = status::kNotYetTaken;
  if (ctx.transport.GetISPStatus(&reply, kEraseTimeoutMs) != code::kOk) return session.Abort(kNotReady);
  if (reply != status::kFinished) return session.Abort(kEraseNotDone);
  Result result = session.SendClosingByte();
  session.RestoreLinkSpeed();
  if (spiEnabled) result = ctx.transport.PutVarToFPGA(kSpiEnableRegister, 0);
  return result;
}

Result ConfigureFlash(LibraryContext& ctx) {
  IspSession session(ctx);
  bool spiEnabled = false;
  if (const auto ended = BeginDirectOperation(ctx, session, Function::kConfigure, spiEnabled)) return *ended;
  ctx.platform.SleepMs(kConfigureSettleMs);
  return spiEnabled ? ctx.transport.PutVarToFPGA(kSpiEnableRegister, 0) : code::kOk;
}

}  // namespace svodb::isp
