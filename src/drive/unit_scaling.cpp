#include "drive/unit_scaling.h"

#include <cfloat>
#include <cmath>

#include "drive/register_map.h"

namespace svodb {

namespace {

// clang-format off
constexpr std::array<ModelRow, kModelCount> kModelRows{{
    {30, "X7101",  4.5, 1.0 },
    {31, "X7102",  9.0, 1.0 },
    {28, "X7103", 18.0, 1.0 },
    {29, "X7104", 30.0, 1.0 },
    {27, "X7105", 48.0, 1.0 },
    {26, "X7106", 96.0, 1.0 },
    {14, "X7201",  9.0, 0.25},
    {15, "X7202", 18.0, 0.25},
}};
// clang-format on

constexpr bool EveryModelRowFilled() {
  for (const ModelRow& row : kModelRows)
    if (row.modelCode == 0 || row.name == nullptr || row.peakCurrent <= 0.0 || row.busFactor <= 0.0)
      return false;
  return true;
}
static_assert(kModelRows.size() == 8, "the drive family has eight models");
static_assert(EveryModelRowFilled(), "no model row left empty");

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

// ------------------------------------------------------------------ rounding

// The 32-bit build may keep intermediate results in the x87's 80-bit
// registers; a store through memory rounds them to double as every other
// build does, so values at a rounding half fall the same way everywhere.
double AsDouble(double x) noexcept {
  volatile double stored = x;
  return stored;
}

// Exact for the digit counts the drive uses (up to 22).
double PowerOfTen(int32_t exponent) noexcept {
  double power = 1.0;
  for (int32_t i = 0; i < exponent; ++i) power *= 10.0;
  return power;
}

// Toward zero, with the same refusal as RoundToInteger for what no 32-bit
// register can hold.
int32_t TruncateToRaw(double x) noexcept {
  const double truncated = std::trunc(x);
  if (!(truncated >= -2147483648.0 && truncated <= 2147483647.0)) return kUnrepresentableRaw;
  return static_cast<int32_t>(truncated);
}

// --------------------------------------------------------------- gain format

constexpr uint32_t kMaxMantissaBits = 8;

bool IsMantissaWidthValid(uint32_t mantissaBits) noexcept {
  return mantissaBits >= 1 && mantissaBits <= kMaxMantissaBits;
}

// Forms 1 and 3 reach exponent 10 through exponent field 7.
bool HasExponentTen(int32_t form) noexcept { return form == 1 || form == 3; }

constexpr int32_t kExponentTen = 10;
constexpr int32_t kExponentTenField = 7;

double GainValue(int32_t exponent, double mantissa, int32_t steps) noexcept {
  return std::ldexp(1.0 + mantissa / steps, exponent);
}

// What an encode form can express for one mantissa width.
struct GainLimits {
  int32_t steps;  // 2^mantissaBits
  int32_t maxMantissa;
  int32_t maxExponent;
};

GainLimits LimitsFor(uint32_t mantissaBits, int32_t form) noexcept {
  const int32_t steps = 1 << mantissaBits;
  const int32_t maxMantissa = form == 4 ? steps - 2 : steps - 1;
  int32_t maxExponent = steps - 1;
  if (HasExponentTen(form)) maxExponent = kExponentTen;
  if (form == 2) maxExponent = steps - 9;
  return GainLimits{steps, maxMantissa, maxExponent};
}

// The smallest exponent up to `last` whose range, widened by half a mantissa
// step, reaches above x; -1 when none does.
int32_t SmallestExponent(double x, const GainLimits& limits, int32_t last) noexcept {
  for (int32_t exponent = 0; exponent <= last; ++exponent)
    if (GainValue(exponent, limits.maxMantissa + 0.5, limits.steps) > x) return exponent;
  return -1;
}

// The smallest mantissa whose upper rounding edge reaches x.
int32_t SmallestMantissa(double x, int32_t exponent, const GainLimits& limits) noexcept {
  for (int32_t mantissa = 0; mantissa < limits.maxMantissa; ++mantissa)
    if (GainValue(exponent, mantissa + 0.5, limits.steps) >= x) return mantissa;
  return limits.maxMantissa;
}

// Forms 1 and 3 have exponents 0-6 and 10, nothing between: a value above
// exponent 6 goes to whichever of the two ends lies nearer.
int32_t EncodeWithExponentTen(double x, const GainLimits& limits, int32_t form) noexcept {
  const int32_t lastRegular = limits.steps - 10;
  const int32_t exponent = SmallestExponent(x, limits, lastRegular);
  if (exponent >= 0) return exponent * limits.steps + SmallestMantissa(x, exponent, limits);
  const double largestRegular = GainValue(lastRegular, limits.maxMantissa, limits.steps);
  if (x < (largestRegular + std::ldexp(1.0, kExponentTen)) / 2)
    return lastRegular * limits.steps + limits.maxMantissa;
  // Mantissa 0 covers everything up to 2^10 * 1.03125, its upper rounding edge.
  int32_t mantissa = SmallestMantissa(x, kExponentTen, limits);
  if (form == 3) mantissa = 2 * (mantissa / 2);
  return kExponentTenField * limits.steps + mantissa;
}

// ---------------------------------------------------------------- gain codes

enum class GainScale : uint8_t {
  kFixed,              // factor as listed
  kPeakCurrent,        // peak current x factor
  kBusPerPeakCurrent,  // bus factor x factor / peak current
};

struct GainFormat {
  int32_t decodeForm;
  int32_t encodeForm;
  double factor;
  int32_t displayDigits;  // rounding of the value the tool shows
  int32_t encodeDigits;   // rounding of value / factor before encoding
};

struct GainRow {
  int32_t conversionCode;
  uint32_t mantissaBits;
  GainScale scale;
  int32_t newFormatAbove;  // logic versions above this use newFormat
  GainFormat oldFormat;
  GainFormat newFormat;
};

constexpr int32_t kFirstGainCode = 25;
constexpr int32_t kKviCode = 26;

// Columns: code, mantissa bits, scale, new format above logic version,
// {decode form, encode form, factor, display digits, encode digits} for the
// old and the new format. KIP, ITF0 and KPP kept their format.
// clang-format off
constexpr std::array<GainRow, 8> kGainRows{{
    {25, 3, GainScale::kBusPerPeakCurrent, 2, {0, 0, 79.226,   4, 4}, {0, 0, 79.226,   4, 4}},  // KIP
    {26, 4, GainScale::kFixed,             2, {2, 2, 0.095,    3, 4}, {4, 0, 0.0118,   3, 6}},  // KVI
    {27, 4, GainScale::kPeakCurrent,       2, {2, 2, 0.000442, 3, 6}, {4, 0, 0.000221, 3, 6}},  // KVP
    {28, 4, GainScale::kFixed,             2, {1, 1, 24.29,    2, 3}, {4, 0, 1.518,    8, 6}},  // ARF0, ARF1
    {29, 4, GainScale::kFixed,             1, {2, 2, 2.316e-5, 8, 4}, {4, 0, 2.316e-5, 8, 4}},  // I2TF0
    {30, 4, GainScale::kFixed,             2, {2, 2, 0.00296,  4, 6}, {2, 2, 0.00296,  4, 6}},  // ITF0
    {31, 4, GainScale::kFixed,             2, {2, 2, 0.3795,   2, 3}, {2, 2, 0.3795,   2, 3}},  // KPP
    {32, 4, GainScale::kFixed,             2, {3, 3, 24.29,    2, 3}, {5, 4, 1.518,    8, 6}},  // CmdF0
}};
// clang-format on

constexpr bool GainRowsAreConsecutive() {
  for (std::size_t i = 0; i < kGainRows.size(); ++i)
    if (kGainRows[i].conversionCode != kFirstGainCode + static_cast<int32_t>(i)) return false;
  return true;
}
static_assert(kGainRows.size() == 8, "eight gain conversion codes");
static_assert(GainRowsAreConsecutive(), "gain rows are codes 25-32 in order");

const GainRow* FindGainRow(int32_t conversionCode) noexcept {
  const int32_t offset = conversionCode - kFirstGainCode;
  if (offset < 0 || offset >= static_cast<int32_t>(kGainRows.size())) return nullptr;
  return &kGainRows[static_cast<std::size_t>(offset)];
}

const GainFormat& FormatFor(const GainRow& row, int32_t logicVersion) noexcept {
  return logicVersion > row.newFormatAbove ? row.newFormat : row.oldFormat;
}

double GainFactor(const GainRow& row, const GainFormat& format, const ModelRow& model) noexcept {
  switch (row.scale) {
    case GainScale::kPeakCurrent: return model.peakCurrent * format.factor;
    case GainScale::kBusPerPeakCurrent: return model.busFactor * format.factor / model.peakCurrent;
    case GainScale::kFixed: break;
  }
  return format.factor;
}

double GainToUser(const GainRow& row, int32_t raw, int32_t logicVersion, const ModelRow& model) noexcept {
  const GainFormat& format = FormatFor(row, logicVersion);
  const double decoded = DecodeGain(row.mantissaBits, raw, format.decodeForm);
  // KVI's smallest code is shown as 0, so that an integral gain of 0 can be
  // entered and reads back as 0.
  if (row.conversionCode == kKviCode && decoded == 1.0) return 0.0;
  return RoundToDigits(decoded * GainFactor(row, format, model), format.displayDigits);
}

int32_t GainToRaw(const GainRow& row, double value, int32_t logicVersion, const ModelRow& model) noexcept {
  const GainFormat& format = FormatFor(row, logicVersion);
  const double factor = GainFactor(row, format, model);
  if (row.conversionCode == kKviCode && value >= 0.0 && value < factor) value = factor;
  return EncodeGain(row.mantissaBits, RoundToDigits(value / factor, format.encodeDigits), format.encodeForm);
}

// ------------------------------------------------------ command-unit codes

bool NeedsCommandUnits(int32_t conversionCode) noexcept {
  return conversionCode == 11 || conversionCode == 603 || conversionCode == 604;
}

bool AreCommandUnitsValid(uint32_t commandUnits) noexcept { return commandUnits <= 1; }

// Command (11) and the PWM command levels (603, 604): velocity per count, or
// a fraction of the peak current per count.
Result CommandLevelToUser(int32_t conversionCode, double r, uint32_t commandUnits, const ModelRow& model,
                          double& value) noexcept {
  if (!AreCommandUnitsValid(commandUnits)) return code::kWrongOpMode;
  const bool velocity = commandUnits == 1;
  const double peak = model.peakCurrent;
  if (conversionCode == 11) {
    value = RoundToDigits(velocity ? r * 0.5588 : peak * r / 19336, 4);
  } else {
    value = RoundToDigits(velocity ? r * 2.234 : peak * r / 4834, 2);
  }
  return code::kOk;
}

// --------------------------------------------------------- DeadBand width

constexpr uint32_t kNoDeadBandWidth = 5;

double DeadBandFullScale(uint32_t width) noexcept { return std::ldexp(1.0, static_cast<int>(width)) - 1.0; }

// ------------------------------------------------------ raw to user, others

// Physical quantities: voltages, currents, temperatures, frequencies.
bool QuantityToUser(int32_t conversionCode, double r, const ModelRow& model, uint32_t deadBandWidth,
                    double& value) noexcept {
  const double peak = model.peakCurrent;
  const double bus = model.busFactor;
  switch (conversionCode) {
    case 12: value = RoundToDigits(r * 180 / 2047, 1); return true;
    case 13: value = RoundToDigits(peak / 604.25 * r, 1); return true;
    case 14: value = RoundToDigits((DeadBandFullScale(deadBandWidth) - r) / 10, 1); return true;
    case 15: value = RoundToDigits(1 / (32 - r) / 6.4 * 1000, 2); return true;
    case 16: value = RoundToDigits(r * 6 * 1e8 / 1073741824.0, 2); return true;
    case 18: value = RoundToDigits(r * -1.4855 * bus, 1); return true;
    case 19: value = RoundToDigits(r * 100 * 0.0078125, 2); return true;
    case 20: value = RoundToDigits(r * 0.00390625, 2); return true;
    case 21: value = RoundToDigits(std::sqrt(r / 178.98) * peak, 2); return true;
    case 22: value = RoundToDigits(peak * r / 604.25, 3); return true;
    case 42: value = RoundToDigits(r * 1.4855 * bus, 2); return true;
    case 51: value = RoundToDigits((-50.76 - r) / 0.6768 + 25, 1); return true;
    case 52: value = RoundToDigits(peak * r * 1.01146, 1); return true;
    case 53: value = RoundToDigits(6810 / (128 / r - 1), 1); return true;
    default: return false;
  }
}

// 151 raw steps are 100 % of the drive's full current.
constexpr double kPercentPerLimitStep = 0.6622516556291391;  // 100 / 151
constexpr double kLimitStepsPerPercent = 1.51;

double NegativeLimitToUser(double r) noexcept {
  if (r == 0) return 0.0;
  return RoundToDigits(std::fmin((256 - r) * kPercentPerLimitStep, 100.0), 0);
}

// The heat-sink reading is a signed byte.
double HeatSinkToUser(int32_t raw) noexcept {
  const double r = raw > 127 ? raw - 256 : raw;
  return RoundToDigits((r - 50.76) / 0.6768 + 25, 1);
}

// Counts, identifiers, limits in percent and values passed through.
bool CountToUser(int32_t conversionCode, int32_t raw, double& value) noexcept {
  const double r = raw;
  switch (conversionCode) {
    case 17:  // LogicVer
    case 24:
    case 33:  // SerialNum, VerLW
    case 34:
    case 99:
    case 242:
    case 243:
    case 245:
    case 752: value = r; return true;
    case 43: value = NegativeLimitToUser(r); return true;
    case 44: value = RoundToDigits(r * kPercentPerLimitStep, 0); return true;
    case 54: value = HeatSinkToUser(raw); return true;
    case 241: value = raw & 7; return true;  // the three Hall inputs
    case 244: value = RoundToDigits(r * 0.087890625, 0); return true;
    case 246:
    case 247: value = static_cast<uint32_t>(raw); return true;
    case 248: value = std::trunc(r / 0.256) / 1000; return true;
    default: return false;
  }
}

// ------------------------------------------------------ user to raw, others

bool QuantityToRaw(int32_t conversionCode, double x, const ModelRow& model, uint32_t deadBandWidth,
                   int32_t& raw) noexcept {
  const double peak = model.peakCurrent;
  const double bus = model.busFactor;
  switch (conversionCode) {
    case 12: raw = RoundToInteger(x * 2047 / 180); return true;
    case 13: raw = RoundToInteger(x * 604.25 / peak); return true;
    case 14: raw = RoundToInteger(DeadBandFullScale(deadBandWidth) - x * 10); return true;
    case 15: raw = RoundToInteger(32 - 1 / x / 6.4 * 1000); return true;
    case 16: raw = RoundToInteger(1073741824.0 * x / 6 / 1e8); return true;
    case 18: raw = RoundToInteger(x / -1.4855 / bus); return true;
    case 19: raw = RoundToInteger(x * 128 / 100); return true;
    case 20: raw = RoundToInteger(x * 256); return true;
    case 21: raw = RoundToInteger((x / peak) * (x / peak) * 178.98); return true;
    case 51: raw = RoundToInteger(-((x - 25) * 0.6768 + 50.76)); return true;
    case 52: raw = RoundToInteger(x / (peak * 1.01146)); return true;
    case 53: raw = RoundToInteger(128 / (1 + 6810 / x)); return true;
    default: return false;
  }
}

// PosErrorMax passes through single precision on its way to the drive.
double NarrowToSingle(double x) noexcept {
  if (!(std::fabs(x) <= FLT_MAX)) return x;
  return static_cast<float>(x);
}

bool CountToRaw(int32_t conversionCode, double x, int32_t& raw) noexcept {
  switch (conversionCode) {
    case 17: raw = TruncateToRaw(std::fabs(x)); return true;
    case 24:
    case 34:
    case 242:
    case 243:
    case 245:
    case 246:
    case 247:
    case 603:  // PWMMinus, PWMPlus: the count itself, no unit factor
    case 604:
    case 752: raw = RoundToInteger(x); return true;
    case 43: raw = RoundToInteger(x * -kLimitStepsPerPercent) & 255; return true;
    case 44: raw = RoundToInteger(x * kLimitStepsPerPercent); return true;
    case 244: raw = RoundToInteger(x * 2048 / 180); return true;
    case 248: raw = RoundToInteger(NarrowToSingle(x) * 256); return true;
    default: return false;
  }
}

Result CommandToRaw(double x, uint32_t commandUnits, const ModelRow& model, int32_t& raw) noexcept {
  if (!AreCommandUnitsValid(commandUnits)) return code::kWrongOpMode;
  raw = RoundToInteger(commandUnits == 1 ? x / 0.5588 : x * 19336 / model.peakCurrent);
  return code::kOk;
}

// -------------------------------------------------------------- AuxFBType

// Weights of the five bits in the key that selects the type.
constexpr int32_t kMitEnBit = 16;
constexpr int32_t kHallsDisBit = 8;
constexpr int32_t kEnDatEnbBit = 4;
constexpr int32_t kDivisorSrcBit = 2;
constexpr int32_t kSrcBit = 1;

struct AuxFbTypeRow {
  int32_t key;           // what SplitAuxFBType writes
  int32_t alternateKey;  // also read as this type; -1 none
  int32_t type;
};

// clang-format off
constexpr std::array<AuxFbTypeRow, 7> kAuxFbTypeRows{{
    {24, -1, 0},
    {16, -1, 1},
    {25, -1, 2},
    {17, -1, 3},
    {31, -1, 4},
    {29, 13, 5},
    { 8, -1, 6},
}};
// clang-format on

constexpr bool AuxFbTypeRowsInTypeOrder() {
  for (std::size_t i = 0; i < kAuxFbTypeRows.size(); ++i)
    if (kAuxFbTypeRows[i].type != static_cast<int32_t>(i)) return false;
  return true;
}
static_assert(kAuxFbTypeRows.size() == 7, "AuxFBType has seven values");
static_assert(AuxFbTypeRowsInTypeOrder(), "row i describes AuxFBType i");

int32_t BitWeight(int32_t raw, int32_t weight) noexcept { return raw != 0 ? weight : 0; }

int32_t BitOf(int32_t key, int32_t weight) noexcept { return (key & weight) != 0 ? 1 : 0; }

// ---------------------------------------------------------- analog command

// The analog input's scale: 25.7 across the whole input, 12.85 either side
// of zero; CmdSrc 1 selects a percent scale of 100 instead.
constexpr double kAnalogSpan = 25.7;
constexpr double kAnalogHalfSpan = 12.85;
constexpr double kPercentSpan = 100.0;

bool IsPercentSource(int32_t commandSource) noexcept { return commandSource == 1; }

// Engineering units per count.
double CommandUnitFactor(const ModelRow& model, bool velocity, int32_t commandSource) noexcept {
  const double perCount = velocity ? 1e5 * 6 * 4 / 1073741824.0 : model.peakCurrent * 4 / 19336;
  return IsPercentSource(commandSource) ? perCount / kPercentSpan : perCount / kAnalogSpan;
}

// The factor for the functions that refuse command units other than 0 or 1.
Result StrictUnitFactor(const CommandSetup& setup, double& factor) noexcept {
  const ModelRow* model = FindModel(setup.modelCode);
  if (model == nullptr) return code::kWrongModel;
  if (!AreCommandUnitsValid(setup.commandUnits)) return code::kWrongOpMode;
  factor = CommandUnitFactor(*model, setup.commandUnits == 1, setup.commandSource);
  return code::kOk;
}

// The factor for the functions that take any non-zero units as velocity.
Result LenientUnitFactor(const CommandSetup& setup, double& factor) noexcept {
  const ModelRow* model = FindModel(setup.modelCode);
  if (model == nullptr) return code::kWrongModel;
  factor = CommandUnitFactor(*model, setup.commandUnits != 0, setup.commandSource);
  return code::kOk;
}

}  // namespace

const std::array<ModelRow, kModelCount> kModelTable = kModelRows;

const ModelRow* FindModel(uint32_t modelCode) noexcept {
  for (const ModelRow& row : kModelTable)
    if (row.modelCode == modelCode) return &row;
  return nullptr;
}

double RoundToDigits(double x, int32_t digits) noexcept {
  const double scale = PowerOfTen(digits < 0 ? -digits : digits);
  const double y = AsDouble(digits < 0 ? AsDouble(x) / scale : AsDouble(x) * scale);
  const double up = std::ceil(y);
  const double rounded = up - y <= 0.5 ? up : std::floor(y);
  return digits < 0 ? rounded * scale : rounded / scale;
}

int32_t RoundToInteger(double unrounded) noexcept {
  const double x = AsDouble(unrounded);
  const double up = std::ceil(x);
  const double rounded = up - x <= 0.5 ? up : std::floor(x);
  if (!(rounded >= -2147483648.0 && rounded <= 2147483647.0)) return kUnrepresentableRaw;
  return static_cast<int32_t>(rounded);
}

double DecodeGain(uint32_t mantissaBits, int32_t gainCode, int32_t form) noexcept {
  if (!IsMantissaWidthValid(mantissaBits) || form < 0 || form > 5) return kNan;
  const uint32_t bits = static_cast<uint32_t>(gainCode);
  uint32_t mantissa = bits & ((1u << mantissaBits) - 1);
  uint32_t exponent = (bits >> mantissaBits) & (form >= 4 ? 15u : 7u);
  if (HasExponentTen(form) && exponent == kExponentTenField) exponent = kExponentTen;
  if (form == 3 || form == 5) mantissa &= ~1u;
  return GainValue(static_cast<int32_t>(exponent), mantissa, 1 << mantissaBits);
}

int32_t UnencodableGain(uint32_t mantissaBits) noexcept {
  if (!IsMantissaWidthValid(mantissaBits)) return kUnrepresentableRaw;
  return (1 << (2 * mantissaBits)) + 1000;
}

int32_t EncodeGain(uint32_t mantissaBits, double x, int32_t form) noexcept {
  if (!IsMantissaWidthValid(mantissaBits) || form < 0 || form > 4) return UnencodableGain(mantissaBits);
  // Exponent field 7 means 10 only in the 4-bit-mantissa registers.
  if (HasExponentTen(form) && mantissaBits != 4) return UnencodableGain(mantissaBits);
  const GainLimits limits = LimitsFor(mantissaBits, form);
  const double largest = GainValue(limits.maxExponent, limits.maxMantissa, limits.steps);
  if (!(x >= 1.0 && x <= largest)) return UnencodableGain(mantissaBits);
  if (HasExponentTen(form)) return EncodeWithExponentTen(x, limits, form);
  const int32_t exponent = SmallestExponent(x, limits, limits.maxExponent);
  return exponent * limits.steps + SmallestMantissa(x, exponent, limits);
}

Result RawToUser(int32_t conversionCode, int32_t raw, const ScalingInputs& inputs, double& value) noexcept {
  const ModelRow* model = FindModel(inputs.modelCode);
  if (model == nullptr) return code::kWrongModel;
  if (const GainRow* gain = FindGainRow(conversionCode)) {
    value = GainToUser(*gain, raw, inputs.logicVersion, *model);
    return code::kOk;
  }
  if (NeedsCommandUnits(conversionCode))
    return CommandLevelToUser(conversionCode, raw, inputs.commandUnits, *model, value);
  double result = 0.0;
  if (!QuantityToUser(conversionCode, raw, *model, inputs.deadBandWidth, result) &&
      !CountToUser(conversionCode, raw, result))
    return code::kWrongDataType;
  value = result;
  return code::kOk;
}

Result UserToRaw(int32_t conversionCode, double value, const ScalingInputs& inputs, int32_t& raw) noexcept {
  const ModelRow* model = FindModel(inputs.modelCode);
  if (model == nullptr) return code::kWrongModel;
  if (const GainRow* gain = FindGainRow(conversionCode)) {
    raw = GainToRaw(*gain, value, inputs.logicVersion, *model);
    return code::kOk;
  }
  if (conversionCode == 11) return CommandToRaw(value, inputs.commandUnits, *model, raw);
  int32_t result = 0;
  if (!QuantityToRaw(conversionCode, value, *model, inputs.deadBandWidth, result) &&
      !CountToRaw(conversionCode, value, result))
    return code::kSystemError;
  raw = result;
  return code::kOk;
}

int32_t DeadBandFormForBoardCode(int32_t boardCode) noexcept {
  return boardCode >= 3 && boardCode < 128 ? 2 : 1;
}

uint32_t SelectDeadBandLayout(RegisterMap& map, int32_t boardCode) noexcept {
  map.SetDeadBandLayout(DeadBandFormForBoardCode(boardCode));
  const RegisterState* deadBand = map.FindRegister("DeadBand");
  return deadBand == nullptr ? kNoDeadBandWidth : deadBand->descriptor.bitWidth;
}

int32_t ComposeAuxFBType(const AuxFbBits& bits) noexcept {
  const int32_t key = BitWeight(bits.mitEn, kMitEnBit) + BitWeight(bits.hallsDis, kHallsDisBit) +
                      BitWeight(bits.enDatEnb, kEnDatEnbBit) + BitWeight(bits.divisorSrc, kDivisorSrcBit) +
                      BitWeight(bits.src, kSrcBit);
  for (const AuxFbTypeRow& row : kAuxFbTypeRows)
    if (row.key == key || row.alternateKey == key) return row.type;
  return -1;
}

Result SplitAuxFBType(double value, AuxFbBits& bits) noexcept {
  const double type = std::trunc(value);
  if (!(type >= 0 && type < static_cast<double>(kAuxFbTypeRows.size()))) return code::kWrongOpMode;
  const int32_t key = kAuxFbTypeRows[static_cast<std::size_t>(type)].key;
  bits.mitEn = BitOf(key, kMitEnBit);
  bits.hallsDis = BitOf(key, kHallsDisBit);
  bits.divisorSrc = BitOf(key, kDivisorSrcBit);
  bits.enDatEnb = BitOf(key, kEnDatEnbBit);
  bits.src = BitOf(key, kSrcBit);
  return code::kOk;
}

Result CommandGainFromPwm(const CommandSetup& setup, int32_t pwmPlus, int32_t pwmMinus,
                          double& gain) noexcept {
  double factor = 0.0;
  if (const Result result = LenientUnitFactor(setup, factor); result != code::kOk) return result;
  const double span = static_cast<double>(pwmPlus) - pwmMinus;
  gain = pwmPlus == pwmMinus ? 0.0 : RoundToDigits(factor * span, 7);
  return code::kOk;
}

Result CommandOffsetFromPwm(const CommandSetup& setup, int32_t pwmPlus, int32_t pwmMinus,
                            double& offset) noexcept {
  if (FindModel(setup.modelCode) == nullptr) return code::kWrongModel;
  if (pwmPlus == pwmMinus) {
    offset = 0.0;
    return code::kOk;
  }
  const double span = static_cast<double>(pwmPlus) - pwmMinus;
  const double sum = static_cast<double>(pwmPlus) + pwmMinus;
  const double unrounded =
      IsPercentSource(setup.commandSource) ? pwmMinus * kPercentSpan / span : sum * kAnalogHalfSpan / span;
  offset = RoundToDigits(unrounded, 3);
  return code::kOk;
}

Result PwmPlusFromCommand(const CommandSetup& setup, double gain, double offset, int32_t& pwmPlus) noexcept {
  double f = 0.0;
  if (const Result result = StrictUnitFactor(setup, f); result != code::kOk) return result;
  pwmPlus = IsPercentSource(setup.commandSource)
                ? RoundToInteger((offset + kPercentSpan) * gain / f / kPercentSpan)
                : RoundToInteger((offset + kAnalogHalfSpan) * gain * 0.5 / f / kAnalogHalfSpan);
  return code::kOk;
}

Result PwmMinusFromCommand(const CommandSetup& setup, double gain, double offset,
                           int32_t& pwmMinus) noexcept {
  double f = 0.0;
  if (const Result result = StrictUnitFactor(setup, f); result != code::kOk) return result;
  pwmMinus = IsPercentSource(setup.commandSource)
                 ? RoundToInteger(gain * offset / f / kPercentSpan)
                 : RoundToInteger((offset - kAnalogHalfSpan) * gain * 0.5 / f / kAnalogHalfSpan);
  return code::kOk;
}

Result CommandGainLimit(const CommandSetup& setup, double offset, int32_t rawLimit,
                        double& largestGain) noexcept {
  double f = 0.0;
  if (const Result result = LenientUnitFactor(setup, f); result != code::kOk) return result;
  const double limit = rawLimit;
  double below = 0.0;
  double above = 0.0;
  if (IsPercentSource(setup.commandSource)) {
    const double reach = f * limit * kPercentSpan;
    below = std::fabs(reach / offset);
    above = std::fabs(reach / (kPercentSpan + offset));
  } else {
    const double reach = f * (2 * limit) * kAnalogHalfSpan;
    below = std::fabs(reach / (offset - kAnalogHalfSpan));
    above = std::fabs(reach / (kAnalogHalfSpan + offset));
  }
  largestGain = RoundToDigits(below < above ? below : above, 4);
  return code::kOk;
}

Result CommandOffsetLimits(const CommandSetup& setup, double gain, int32_t rawLimit,
                           OffsetBounds& bounds) noexcept {
  double f = 0.0;
  if (const Result result = LenientUnitFactor(setup, f); result != code::kOk) return result;
  const double limit = rawLimit;
  if (IsPercentSource(setup.commandSource)) {
    const double reach = std::fabs(f * limit * kPercentSpan / gain);
    bounds.maximum = RoundToDigits(reach - kPercentSpan, 3);
    bounds.minimum = RoundToDigits(-reach, 3);
  } else {
    const double reach = std::fabs(f * (2 * limit) * kAnalogHalfSpan / gain);
    bounds.maximum = RoundToDigits(reach - kAnalogHalfSpan, 3);
    bounds.minimum = RoundToDigits(kAnalogHalfSpan - reach, 3);
  }
  return code::kOk;
}

}  // namespace svodb
