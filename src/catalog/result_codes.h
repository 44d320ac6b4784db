// Result codes shared by the whole library and the transport beneath it.
//
// A code is context * 10000 + detail * 100 + base. The base says what kind of
// failure happened, the detail names a catalogue position, a file entry or a
// default-table entry, and the context says which whole-set operation was
// running. 1 is success; every code of the transport passes through unchanged.
#pragma once

#include <cstdint>
#include <string>

namespace svodb {

class Catalogue;

using Result = int32_t;

namespace code {
// clang-format off
inline constexpr Result kNoResponse          = 0;   // also: no transport library
inline constexpr Result kOk                  = 1;
inline constexpr Result kNoSuchPort          = 2;
inline constexpr Result kOutputError         = 3;
inline constexpr Result kWrongAddress        = 4;
inline constexpr Result kWrongData           = 5;
inline constexpr Result kFpgaError           = 6;
inline constexpr Result kNvAddressMismatch   = 7;
inline constexpr Result kInvalidParameter    = 8;
inline constexpr Result kWrongModel          = 9;
inline constexpr Result kTransferError       = 10;
inline constexpr Result kWrongLogicVersion   = 11;
inline constexpr Result kTooLong             = 12;  // shows as "System Error"
inline constexpr Result kWrongDataType       = 21;
inline constexpr Result kWrongOpMode         = 22;
inline constexpr Result kOutOfRange          = 23;
inline constexpr Result kCantOpenFile        = 31;
inline constexpr Result kWrongFileFormat     = 32;
inline constexpr Result kWrongFileVersion    = 33;
inline constexpr Result kWrongTrxData        = 40;
inline constexpr Result kTrxChecksum         = 41;
inline constexpr Result kTrxReadBack         = 42;
inline constexpr Result kTrxNotReady         = 49;
inline constexpr Result kTrxDiagnosticsOn    = 50;
inline constexpr Result kTrxDiagnosticsOff   = 51;
inline constexpr Result kTrxEepromReady      = 52;
inline constexpr Result kSystemError         = 99;
// clang-format on
}  // namespace code

// The whole-set operation during which a failure happened.
enum class Context : int32_t {
  kNone = 0,
  kLoadFromFpga = 1,
  kSendToFpga = 2,
  kLoadFromNv = 3,
  kSendToNv = 4,
  kReadFile = 5,
  kWriteFile = 6,
  kEraseNv = 7,
  kDriveModeOrModel = 8,
  kLogicVersionCheck = 9,
  kLoadDefault = 10,
};

struct CodeParts {
  int32_t context;
  int32_t detail;
  int32_t base;
};

// Splits with truncating signed division, so a negative code gives a negative
// base and a context of 0 or less.
constexpr CodeParts Decompose(Result code) {
  return CodeParts{code / 10000, (code / 100) % 100, code % 100};
}

// base + detail * 100: the form inner operations return before a context is
// known. The detail is a 1-based catalogue position, file entry or table entry.
constexpr Result WithDetail(Result base, int32_t detail) { return detail * 100 + base; }

// Adds the context to a code that already carries base and detail.
constexpr Result WithContext(Context context, Result codeWithDetail) {
  return static_cast<int32_t>(context) * 10000 + codeWithDetail;
}

// Inner whole-set operations return a code below 10000 on failure and a value
// of 10000 or more on success; the exported wrapper makes that 1 or a
// composed code.
constexpr Result ComposeSetResult(Context context, Result inner) {
  return inner >= 10000 ? code::kOk : WithContext(context, inner);
}

// The English message for any code; never longer than kMessageCapacity - 1.
inline constexpr std::size_t kMessageCapacity = 120;
std::string ErrorMessage(const Catalogue& catalogue, Result code);

}  // namespace svodb
