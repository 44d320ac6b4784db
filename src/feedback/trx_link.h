// The link to the motor's feedback device through the drive's FPGA: the
// diagnostics mode the drive must be in while the library owns the port,
// the link speed, and the generation-1 device's Microwire EEPROM (256 words
// of 16 bits) driven line by line through the port registers.
//
// Every port access that does not answer 1 is made once more
// (WithOneRepeat); the busy waits poll the platform clock.
#pragma once

#include <cstdint>

#include "catalog/result_codes.h"
#include "context.h"
#include "feedback/feedback_context.h"

namespace svodb {

namespace trx {
// FPGA registers of the port.
inline constexpr int32_t kPortOutput = 22;    // bit mode: line image; engine: data byte
inline constexpr int32_t kPortFunction = 23;  // 3 bit mode, 112-121 engine functions
inline constexpr int32_t kPortInput = 24;     // bit mode: bit 4 is the device's DO line
inline constexpr int32_t kSetupSwitches = 25;
inline constexpr int32_t kDriveControl = 58;

inline constexpr int32_t kBitMode = 3;

// Line image bits at register 22 in bit mode.
inline constexpr uint32_t kChipSelect = 0x01;
inline constexpr uint32_t kClock = 0x02;
inline constexpr uint32_t kDataIn = 0x04;
inline constexpr uint32_t kPortEnable = 0x08;
inline constexpr uint32_t kDataOut = 0x10;  // in register 24

// Register 58: the library's request and the drive's report.
inline constexpr uint32_t kDiagnosticsRequest = 0x02;
inline constexpr uint32_t kDiagnosticsActive = 0x40;
// Register 25: set when the link must stay at the normal speed.
inline constexpr uint32_t kSlowLinkSwitch = 0x08;

inline constexpr uint32_t kDiagnosticsSettleMs = 1000;
inline constexpr uint32_t kWordWriteCycleMs = 100;
inline constexpr uint32_t kFlushSettleMs = 100;
inline constexpr int32_t kNormalBaud = 19200;
inline constexpr int32_t kFastBaud = 115200;

// Microwire headers: start bit, two opcode bits, eight address bits.
inline constexpr uint32_t kReadHeader = 0x600;
inline constexpr uint32_t kWriteHeader = 0x500;
inline constexpr uint32_t kSpecialHeader = 0x400;
// The special instructions by index: EWEN, WRAL, EWDS, ERAL.
inline constexpr uint32_t kSpecialInstructions[4] = {0xC0, 0x40, 0x00, 0x80};

// What Read_TRX_Word answers when the port could not be read: no 16-bit
// word has this value, so every read-back comparison sees a mismatch.
inline constexpr uint32_t kFailedWordRead = 66000;
}  // namespace trx

// Reads one FPGA byte; the second output of the transport is not used.
Result ReadPortByte(Transport& transport, int32_t address, uint32_t& value);
// Writes one FPGA byte of the port, once more when the first attempt fails.
Result WritePort(Transport& transport, int32_t address, uint32_t value);

// Spins on the platform clock until it has advanced by duration_ms since
// the call (unsigned difference, so a wrap of the counter does no harm).
void BusyWaitMs(Platform& platform, uint32_t duration_ms);

// 1, 50 when the drive does not report diagnostics mode after the settle
// time, or a transport code.
Result EnableTrxDiag(LibraryContext& ctx);
// 1 after the settle time, 51 at once when the drive still reports
// diagnostics mode, or a transport code.
Result DisableTrxDiag(LibraryContext& ctx);

// True when the setup switch allows the fast link; a register that cannot
// be read counts as 0, i.e. fast.
bool ReadFastLinkFlag(LibraryContext& ctx);

// 100 ms, FlushPort, 100 ms; the flush's code.
Result FlushStep(LibraryContext& ctx);
// ChangeBaudRate(115200) when fast, then the flush step.
void SpeedStepUp(LibraryContext& ctx, bool fast);
// ChangeBaudRate(19200) when fast, then the flush step.
void SpeedStepBack(LibraryContext& ctx, bool fast);

// One write of 3 to the function register, without repeat.
Result SelectTrxBitMode(LibraryContext& ctx);
// Port enabled with every line low, latch cleared.
void OpenTrxLink(LibraryContext& ctx, TrxLink& link);
// Every line low and the port disabled.
void CloseTrxLink(LibraryContext& ctx, TrxLink& link);

void EnableTrxWrite(LibraryContext& ctx, TrxLink& link);
void DisableTrxWrite(LibraryContext& ctx, TrxLink& link);

// The word at address 0-255, or kFailedWordRead with chip select left set
// when register 24 could not be read.
uint32_t ReadTrxWord(LibraryContext& ctx, TrxLink& link, uint32_t address);
// Sends the word and holds chip select for the write cycle. A data-phase
// line write that fails twice returns its code at once, chip select set;
// the caller verifies by reading back.
Result WriteTrxWord(LibraryContext& ctx, TrxLink& link, uint32_t address, uint32_t word);

}  // namespace svodb
