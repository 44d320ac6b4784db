// Result codes shared by the whole library and the transport beneath it.
// The names and the composition rule are public (svodb/svodb.h); this is
// where codes are composed and split.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "svodb/svodb.h"

namespace svodb {

class Catalogue;

using Result = int32_t;

namespace code {
// The public names, for code inside the library's namespace.
// clang-format off
inline constexpr Result kNoResponse         = SVODB_NO_RESPONSE;
inline constexpr Result kOk                 = SVODB_OK;
inline constexpr Result kNoSuchPort         = SVODB_NO_SUCH_PORT;
inline constexpr Result kOutputError        = SVODB_OUTPUT_ERROR;
inline constexpr Result kWrongAddress       = SVODB_WRONG_ADDRESS;
inline constexpr Result kWrongData          = SVODB_WRONG_DATA;
inline constexpr Result kFpgaError          = SVODB_FPGA_ERROR;
inline constexpr Result kNvAddressMismatch  = SVODB_NV_ADDRESS_MISMATCH;
inline constexpr Result kInvalidParameter   = SVODB_INVALID_PARAMETER;
inline constexpr Result kWrongModel         = SVODB_WRONG_MODEL;
inline constexpr Result kTransferError      = SVODB_TRANSFER_ERROR;
inline constexpr Result kWrongLogicVersion  = SVODB_WRONG_LOGIC_VERSION;
inline constexpr Result kTooLong            = SVODB_TOO_LONG;
inline constexpr Result kWrongDataType      = SVODB_WRONG_DATA_TYPE;
inline constexpr Result kWrongOpMode        = SVODB_WRONG_OPMODE;
inline constexpr Result kOutOfRange         = SVODB_OUT_OF_RANGE;
inline constexpr Result kCantOpenFile       = SVODB_CANT_OPEN_FILE;
inline constexpr Result kWrongFileFormat    = SVODB_WRONG_FILE_FORMAT;
inline constexpr Result kWrongFileVersion   = SVODB_WRONG_FILE_VERSION;
inline constexpr Result kWrongTrxData       = SVODB_WRONG_TRX_DATA;
inline constexpr Result kTrxChecksum        = SVODB_TRX_CHECKSUM;
inline constexpr Result kTrxReadBack        = SVODB_TRX_READ_BACK;
inline constexpr Result kTrxNotReady        = SVODB_TRX_NOT_READY;
inline constexpr Result kTrxDiagnosticsOn   = SVODB_TRX_DIAGNOSTICS_ON;
inline constexpr Result kTrxDiagnosticsOff  = SVODB_TRX_DIAGNOSTICS_OFF;
inline constexpr Result kTrxEepromReady     = SVODB_TRX_EEPROM_READY;
inline constexpr Result kSystemError        = SVODB_SYSTEM_ERROR;
// clang-format on
}  // namespace code

// The whole-set operation during which a failure happened.
inline constexpr int32_t kContextStep = 10000;
enum class Context : int32_t {
  kNone = 0,
  kLoadFromFpga = SVODB_CONTEXT_LOAD_FROM_FPGA / kContextStep,
  kSendToFpga = SVODB_CONTEXT_SEND_TO_FPGA / kContextStep,
  kLoadFromNv = SVODB_CONTEXT_LOAD_FROM_EEPROM / kContextStep,
  kSendToNv = SVODB_CONTEXT_SEND_TO_EEPROM / kContextStep,
  kReadFile = SVODB_CONTEXT_READ_FILE / kContextStep,
  kWriteFile = SVODB_CONTEXT_WRITE_FILE / kContextStep,
  kEraseNv = SVODB_CONTEXT_ERASE_EEPROM / kContextStep,
  kDriveModeOrModel = SVODB_CONTEXT_DRIVE_MODE_OR_MODEL / kContextStep,
  kLogicVersionCheck = SVODB_CONTEXT_LOGIC_VERSION_CHECK / kContextStep,
  kLoadDefault = SVODB_CONTEXT_LOAD_DEFAULT / kContextStep,
};

struct CodeParts {
  int32_t context;
  int32_t detail;
  int32_t base;
};

// Splits with truncating signed division, so a negative code gives a negative
// base and a context of 0 or less.
constexpr CodeParts Decompose(Result code) {
  return CodeParts{code / kContextStep, (code / 100) % 100, code % 100};
}

// base + detail * 100: the form inner operations return before a context is
// known. The detail is a 1-based catalogue position, file entry or table entry.
constexpr Result WithDetail(Result base, int32_t detail) { return detail * 100 + base; }

// Adds the context to a code that already carries base and detail.
constexpr Result WithContext(Context context, Result codeWithDetail) {
  return static_cast<int32_t>(context) * kContextStep + codeWithDetail;
}

// Inner whole-set operations return a code below 10000 on failure and a value
// of 10000 or more on success; the exported wrapper makes that 1 or a
// composed code.
constexpr Result ComposeSetResult(Context context, Result inner) {
  return inner >= kContextStep ? code::kOk : WithContext(context, inner);
}

// Composes the English message for any code into out, terminator included,
// without allocating; the message is cut to out.size() - 1 characters (it is
// never longer than kMessageCapacity - 1). Returns the message's length.
inline constexpr std::size_t kMessageCapacity = SVODB_MESSAGE_SIZE;
std::size_t ComposeErrorMessage(const Catalogue& catalogue, Result code, std::span<char> out) noexcept;
// The same message as a string, for callers that keep it.
std::string ErrorMessage(const Catalogue& catalogue, Result code);

}  // namespace svodb
