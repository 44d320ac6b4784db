// The FPGA's engine that reaches a generation-2 device's serial flash:
// a function code at register 23, a byte passed at 22 or fetched at 24, and
// the flash's own instruction codes. On top of it: read, erase and program
// of the device's memory region, and the start and end of an exchange.
#pragma once

#include <cstdint>

#include "catalog/result_codes.h"
#include "context.h"
#include "feedback/feedback_context.h"

namespace svodb {

namespace trx2 {
// Engine functions written to register 23.
inline constexpr int32_t kReadData = 112;
inline constexpr int32_t kWriteData = 113;
inline constexpr int32_t kReadStatus = 114;
inline constexpr int32_t kSendInstruction = 115;
inline constexpr int32_t kReadAddressLow = 116;
inline constexpr int32_t kLoadAddressLow = 117;
inline constexpr int32_t kReadAddressMiddle = 118;
inline constexpr int32_t kLoadAddressMiddle = 119;
inline constexpr int32_t kReadAddressHigh = 120;
inline constexpr int32_t kLoadAddressHigh = 121;

// Flash instructions sent with kSendInstruction.
inline constexpr uint8_t kPageProgram = 2;
inline constexpr uint8_t kRead = 3;
inline constexpr uint8_t kWriteDisable = 4;
inline constexpr uint8_t kReadFlashStatus = 5;
inline constexpr uint8_t kWriteEnable = 6;
inline constexpr uint8_t kSectorErase = 0xD8;
inline constexpr uint8_t kCloseSequence = 0xFF;

// Engine status bits.
inline constexpr uint32_t kBusy = 0x01;
inline constexpr uint32_t kWriteEnabled = 0x02;
inline constexpr uint32_t kDataReady = 0x04;

inline constexpr uint32_t kPageSize = 256;
inline constexpr uint32_t kPageCount = 67;
// The erase unit holding this address covers the whole region.
inline constexpr uint32_t kEraseAddress = 0x3FF00;

// SetTrx2Address when the engine holds another address than was loaded.
inline constexpr Result kAddressMismatch = 2;
// ProgramTrx2Pages when there was nothing to program.
inline constexpr Result kEveryPageBlank = 255;

inline constexpr uint32_t kEraseSettleMs = 1000;
inline constexpr uint32_t kWriteEnableSettleMs = 10;

// The flash's own times are well below these; a status that never changes
// means a dead port or a device that hangs, and the caller must get its
// thread back. Each bound is time on the platform clock since the poll began.
inline constexpr uint32_t kDataReadyTimeoutMs = 1000;  // then 49 "TRX is not ready"
inline constexpr uint32_t kEraseTimeoutMs = 10000;     // then 52 "... checking TRX EEPROM Ready"
inline constexpr uint32_t kProgramTimeoutMs = 1000;    // then 52
}  // namespace trx2

// A region operation's code, and whether it stopped because a status poll
// reached its bound (the code is then 49 or 52 and the rest was not done).
struct EngineResult {
  Result code = code::kOk;
  bool stalled = false;
};

Result SendTrx2Command(LibraryContext& ctx, uint8_t instruction);
// 2 when a byte of the address read back differs from the one loaded,
// otherwise the last read's code.
Result SetTrx2Address(LibraryContext& ctx, uint32_t address);
// 0 when an access fails.
uint32_t ReadTrx2Status(LibraryContext& ctx);
void WriteTrx2Byte(LibraryContext& ctx, uint8_t byte);
Result ReadTrx2FirstByte(LibraryContext& ctx, uint32_t& byte);
Result ReadTrx2NextByte(LibraryContext& ctx, uint32_t& byte);

// The whole region into the image; a byte that cannot be read is 0. Stalls
// with 49 when the engine never reports data ready.
EngineResult ReadTrx2Region(LibraryContext& ctx, Trx2Image& image);
// Blanks the whole region. Stalls with 52 when the flash stays busy.
EngineResult EraseTrx2Sector(LibraryContext& ctx);
// Programs every page of the image that is not all 0xFF, in ascending
// order. The code of the last write disable, 255 when every page was
// blank; stalls with 52 when a page program does not finish.
EngineResult ProgramTrx2Pages(LibraryContext& ctx, const Trx2Image& image);

// Diagnostics mode on and, only when that worked, the fast link. A failed
// enable is not reported: the exchange goes on at the old speed.
void BeginTrx2Exchange(LibraryContext& ctx);
// Diagnostics mode off and then the normal speed; the disable's code when
// it fails (the speed then stays), else ChangeBaudRate's.
Result EndTrx2Exchange(LibraryContext& ctx);

}  // namespace svodb
