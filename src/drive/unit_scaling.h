// Unit scaling: raw drive integers to the engineering values the tool shows
// and back, by conversion code, drive model, command units and logic version.
//
// Everything here is a pure function of its arguments. The facts that come
// from the drive or a node image (model code, command units, logic version,
// the DeadBand field width, CmdSrc) are passed in by the caller, who decides
// where they come from: node 0 reads them from the connected drive, nodes 1-6
// take the node's stored values.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <utility>

#include "catalog/result_codes.h"

namespace svodb {

class RegisterMap;

// ------------------------------------------------------------------ models

// One drive model: the raw value of its Model register, its name, the peak
// current in amperes and the factor its bus-voltage readings are scaled by.
struct ModelRow {
  uint32_t modelCode;
  const char* name;
  double peakCurrent;
  double busFactor;
};

inline constexpr std::size_t kModelCount = 8;
extern const std::array<ModelRow, kModelCount> kModelTable;

// The row of this model code; nullptr for a code no model carries.
const ModelRow* FindModel(uint32_t modelCode) noexcept;

// ---------------------------------------------------------------- rounding

// Rounds x to `digits` decimals, halves toward +infinity (2.5 -> 3,
// -2.5 -> -2). A non-finite x comes back non-finite.
double RoundToDigits(double x, int32_t digits) noexcept;

// Rounds to the nearest integer, halves toward +infinity. A non-finite x, or
// one whose rounded value does not fit a signed 32-bit integer, gives
// kUnrepresentableRaw, which no register range admits.
inline constexpr int32_t kUnrepresentableRaw = std::numeric_limits<int32_t>::min();
int32_t RoundToInteger(double x) noexcept;

// Truncates toward zero, as values written without a scaling are; what no
// 32-bit register holds (not finite, out of range) is kUnrepresentableRaw.
inline int32_t TruncateToRaw(double x) noexcept {
  if (!(x > -2147483649.0 && x < 2147483648.0)) return kUnrepresentableRaw;
  return static_cast<int32_t>(x);
}

// ------------------------------------------------------------- gain format

// The drive's gain registers hold a small float: the low `mantissaBits` bits
// are a mantissa k, the bits above an exponent e; the value is
// 2^e * (1 + k / 2^mantissaBits). The form selects the variant:
//   0-3: 3-bit exponent field; 4, 5: 4-bit exponent field;
//   1, 3: exponent field 7 stands for exponent 10;
//   3, 5: the lowest mantissa bit is ignored.
// NaN for a form outside 0-5 or mantissaBits outside 1-8. A negative code is
// taken as its unsigned 32-bit pattern.
double DecodeGain(uint32_t mantissaBits, int32_t gainCode, int32_t form) noexcept;

// The code nearest to x (already rounded by the caller) in encode forms 0-4.
// A value outside the form's range, NaN, or an unused form gives
// UnencodableGain(mantissaBits), a code no gain register's range admits.
int32_t EncodeGain(uint32_t mantissaBits, double x, int32_t form) noexcept;

// 2^(2 * mantissaBits) + 1000: 1256 for 4-bit, 1064 for 3-bit mantissas.
// kUnrepresentableRaw for mantissaBits outside 1-8.
int32_t UnencodableGain(uint32_t mantissaBits) noexcept;

// ------------------------------------------------------------ conversions

// What a conversion needs to know about the drive beyond the raw value.
struct ScalingInputs {
  uint32_t modelCode = 31;
  uint32_t commandUnits = 0;   // 0 torque/current, 1 velocity
  int32_t logicVersion = 0;    // selects the gain format; 0 when unknown
  uint32_t deadBandWidth = 5;  // current width of the DeadBand field
};

// Raw register value to engineering value for a catalogue conversion code.
// 9 unknown model (checked first), 22 command units other than 0 or 1 for
// codes 11, 603 and 604, 21 unknown code. `value` is written only on 1.
Result RawToUser(int32_t conversionCode, int32_t raw, const ScalingInputs& inputs, double& value) noexcept;

// Engineering value to raw register value. 9 unknown model (first), 22 bad
// command units for code 11, 99 a code without this direction. Values the
// register cannot hold come back as kUnrepresentableRaw or an unencodable
// gain for the range check to refuse. `raw` is written only on 1.
Result UserToRaw(int32_t conversionCode, double value, const ScalingInputs& inputs, int32_t& raw) noexcept;

// ---------------------------------------------------------------- DeadBand

// The DeadBand layout form for the power-board code kept in byte 511 of the
// drive's motor-data memory: 2 (6 bits) for 3-127, else 1 (5 bits). A failed
// read of that byte is passed as 0.
int32_t DeadBandFormForBoardCode(int32_t boardCode) noexcept;

// Puts the board code's DeadBand layout in place in the map and returns the
// resulting field width for ScalingInputs::deadBandWidth; 5 when the map has
// no DeadBand register.
uint32_t SelectDeadBandLayout(RegisterMap& map, int32_t boardCode) noexcept;

// -------------------------------------------------------------- AuxFBType

// The five one-bit registers that together select the auxiliary feedback
// type; any non-zero raw value counts as a set bit.
struct AuxFbBits {
  int32_t mitEn = 0;       // AFBMitEn
  int32_t hallsDis = 0;    // AFBHallsDis
  int32_t divisorSrc = 0;  // AFBDivisorSrc
  int32_t enDatEnb = 0;    // AFBEnDatEnb
  int32_t src = 0;         // AFBSrc
};

// AuxFBType 0-6 for a bit combination the drive defines, -1 for any other.
// The five registers of the type with their bits, in the order the drive
// takes them: AFBMitEn first.
inline std::array<std::pair<const char*, int32_t>, 5> AuxFbWrites(const AuxFbBits& bits) noexcept {
  return {{{"AFBMitEn", bits.mitEn},
           {"AFBHallsDis", bits.hallsDis},
           {"AFBDivisorSrc", bits.divisorSrc},
           {"AFBEnDatEnb", bits.enDatEnb},
           {"AFBSrc", bits.src}}};
}

int32_t ComposeAuxFBType(const AuxFbBits& bits) noexcept;

// The bits for AuxFBType `value` truncated toward zero; 22 when that is not
// 0-6 (or not a number). `bits` is written only on 1.
Result SplitAuxFBType(double value, AuxFbBits& bits) noexcept;

// ----------------------------------------------- analog command scaling

// The drive scales its analog command input by two raw counts, PWMPlus and
// PWMMinus; the tool shows them as a gain and an offset.
struct CommandSetup {
  uint32_t modelCode = 31;
  uint32_t commandUnits = 0;  // 0 torque/current, else velocity where noted
  int32_t commandSource = 0;  // raw CmdSrc; 1 is the percent scale
};

// Gain from the counts, 7 decimals; 0 when the counts are equal. Any
// non-zero command units count as velocity. 9 unknown model.
Result CommandGainFromPwm(const CommandSetup& setup, int32_t pwmPlus, int32_t pwmMinus,
                          double& gain) noexcept;

// Offset from the counts, 3 decimals; 0 when the counts are equal. The
// command units do not enter. 9 unknown model.
Result CommandOffsetFromPwm(const CommandSetup& setup, int32_t pwmPlus, int32_t pwmMinus,
                            double& offset) noexcept;

// The counts for a gain and offset, rounded to integers. 9 unknown model, 22
// command units other than 0 or 1.
Result PwmPlusFromCommand(const CommandSetup& setup, double gain, double offset, int32_t& pwmPlus) noexcept;
Result PwmMinusFromCommand(const CommandSetup& setup, double gain, double offset, int32_t& pwmMinus) noexcept;

// The largest gain whose counts stay within rawLimit at this offset, 4
// decimals. Any non-zero command units count as velocity. 9 unknown model.
Result CommandGainLimit(const CommandSetup& setup, double offset, int32_t rawLimit,
                        double& largestGain) noexcept;

// The offset bounds for a gain, 3 decimals each. The property query reports
// `maximum` as its maximum and `minimum` as its minimum; they are not
// reordered, so for a large gain `maximum` can be the smaller one.
struct OffsetBounds {
  double maximum = 0.0;
  double minimum = 0.0;
};
Result CommandOffsetLimits(const CommandSetup& setup, double gain, int32_t rawLimit,
                           OffsetBounds& bounds) noexcept;

}  // namespace svodb
