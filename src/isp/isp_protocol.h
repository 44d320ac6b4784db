// In-system programming of the drive's FPGA configuration flash, host side.
//
// The drive programs its own flash from a byte stream: the host unlocks the
// drive's ISP register with 0x55, 0xAA and a function byte, follows the
// drive's ISP status, streams the bytes through the transport's ISP byte
// channel and ends every operation that got past the unlock with a closing
// byte. On a serial link the stream runs at 115200 baud and the link goes
// back to 19200 afterwards. Both configuration file kinds and the erase and
// configure operations share what is here.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "catalog/result_codes.h"
#include "context.h"
#include "drive/transport.h"

namespace svodb::isp {

inline constexpr int32_t kIspRegister = 77;
inline constexpr int32_t kSpiEnableRegister = 111;
inline constexpr int32_t kSpiEnableOn = 0x80;  // bit 7; 0 switches it off
inline constexpr int32_t kUnlockKey1 = 0x55;
inline constexpr int32_t kUnlockKey2 = 0xAA;
inline constexpr int32_t kClosingByte = 0;

// Function bytes: ISPEnable (bit 0) with one function bit.
enum class Function : int32_t { kProgram = 3, kVerify = 5, kErase = 9, kConfigure = 17 };

// The drive's ISP status byte; any other value is "not the awaited one".
namespace status {
inline constexpr int32_t kNotYetTaken = 0;  // after a byte on the network
inline constexpr int32_t kReady = 1;
inline constexpr int32_t kFinished = 2;
inline constexpr int32_t kBusy = 4;
}  // namespace status

inline constexpr int32_t kFastBaudRate = 115200;
inline constexpr int32_t kNormalBaudRate = 19200;

// Time-outs handed to the transport's status reads.
inline constexpr int32_t kWaitTimeoutMs = 16000;  // ready and done waits
inline constexpr int32_t kUnitTimeoutMs = 6000;   // after a unit, network polls
inline constexpr int32_t kEraseTimeoutMs = 20000;
inline constexpr int kWaitAttempts = 10;  // replies other than busy
inline constexpr int kNetworkPolls = 10;  // after a byte not yet taken

// Busy replies do not use up the attempts of a wait, so a drive that stays
// busy is given this long from the start of the wait, or this many busy
// replies when the clock does not move on, before the wait fails.
inline constexpr uint32_t kBusyLimitMs = 160000;
inline constexpr uint32_t kBusyReplyLimit = 1u << 22;

inline constexpr uint32_t kConfigureSettleMs = 500;

// Result codes of flash programming beyond the shared ones.
inline constexpr Result kNotReady = 16;          // not ready, or a status read failed in a wait
inline constexpr Result kNotFinished = 4;        // serial: no ready after a unit; no finish in the done wait
inline constexpr Result kEraseNotDone = 25;      // the erase did not report finished
inline constexpr Result kFileChecksum = 41;      // ISC file checksum
inline constexpr Result kRowChecksum = 42;       // ISC row checksum
inline constexpr Result kStatusReadFailed = 42;  // I00: a status read failed in the done wait
inline constexpr Result kImageOverflow = 43;     // I00 data beyond the image

// Progress goes to the caller's window as message 0x40E (WM_USER + 14) with
// the step in wParam and the fixed total in lParam; steps count from 0.
inline constexpr uint32_t kProgressMessage = 0x40E;

class Progress {
 public:
  Progress(Platform& platform, uintptr_t window, int32_t total) noexcept
      : platform_(platform), window_(window), total_(total) {}
  void Post();
  int32_t NextStep() const noexcept { return step_; }

 private:
  Platform& platform_;
  uintptr_t window_;
  int32_t total_;
  int32_t step_ = 0;
};

// One ISP operation from the unlock to the closing byte. The steps that can
// end the operation return the operation's result when they did (the
// closing byte sent and the link speed restored), nothing when it goes on.
class IspSession {
 public:
  // Reads the link type.
  explicit IspSession(LibraryContext& ctx);

  bool IsSerial() const noexcept { return linkType_ == kSerialConnection; }
  bool IsNetwork() const noexcept { return linkType_ == kNetworkConnection; }

  Result WriteUnlockKey();                  // 0x55
  Result WriteFunction(Function function);  // 0xAA and the function byte; the first failure
  Result RaiseLinkSpeed();                  // serial only; 1 elsewhere
  Result RestoreLinkSpeed();                // serial only; 1 elsewhere
  Result SendClosingByte();

  // Waits for "ready"; on failure ends the operation with 16.
  std::optional<Result> WaitReady();
  // Streams a row or block. A refused byte ends the operation with the
  // closing byte's own code; on a serial link a unit other than the last
  // must be followed by "ready" (else 4).
  std::optional<Result> StreamUnit(std::span<const uint8_t> unit, bool lastUnit);
  // Waits for "finished" unless the last status seen already said so. A
  // failed status read ends the operation with readFailure, no finish
  // with 4.
  std::optional<Result> WaitDone(Result readFailure);
  // Closing byte, link speed back, and `code`.
  Result Abort(Result code);

  int32_t LastStatus() const noexcept { return lastStatus_; }

 private:
  // Reads the status into lastStatus_ when the read succeeds.
  Result ReadStatus(int32_t timeout_ms);
  // Reads until `awaited`, up to kWaitAttempts replies that are not busy;
  // true when it came. A failed read sets readFailed.
  bool WaitFor(int32_t awaited, bool& readFailed);
  void PollUntilTaken();

  Transport& transport_;
  Platform& platform_;
  int32_t linkType_;
  int32_t lastStatus_ = status::kNotYetTaken;
};

// The drive's flash erased (function 9). Logic version 4 reaches the flash
// only with SPI_EN on. 1, a step's code, 16 (status read failed) or 25.
Result EraseFlash(LibraryContext& ctx);
// The programming stream both file kinds share, after the caller's first
// post: unlock and function, the ready wait, the image in units of
// `unitSize` bytes with a post after each, the done wait (a failed status
// read ends it with `doneReadFailure`), the closing byte and the link speed
// back. The caller posts the last step. Every post in between is made here.
// Nothing when the stream completed; the result when it ended early (which
// may be 1: a refused byte ends with the closing byte's own code).
std::optional<Result> StreamImage(IspSession& session, Progress& progress, Function function,
                                  std::span<const uint8_t> image, std::size_t unitSize, Result doneReadFailure);

// The drive reloads its FPGA from the flash (function 17). No closing byte:
// the drive restarts; a serial link is left at 115200 baud.
Result ConfigureFlash(LibraryContext& ctx);

}  // namespace svodb::isp
