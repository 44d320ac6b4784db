// The unit scaling. Named values pin the factors, the rounding rules and the
// refusals; the sweep proves the formulas invert over every scaled
// catalogue variable: each raw value its register admits is converted to
// engineering units and back, for every model, both command units, logic
// 1-3 (both sides of every format change: I2TF0 above 1, the other gains
// and the current limits from 3) and at logic 3 both DeadBand widths. A
// code comes back exactly unless kRules says otherwise; where display
// rounding makes the formulas not inverse the row gives the largest drift,
// which the sweep must reach, and the reason.
#include "drive/unit_scaling.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <limits>
#include <map>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "catalog/catalogue_table.h"
#include "drive/register_map.h"

namespace svodb {
namespace {

// Model codes as the drive's Model register holds them.
constexpr uint32_t kX7101 = 30, kX7103 = 28, kX7106 = 26, kX7201 = 14, kUnknownModel = 16;
constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

ScalingInputs Inputs(uint32_t model, uint32_t units = 0, int32_t logic = 2, uint32_t width = 5) {
  return ScalingInputs{model, units, logic, width};
}

TEST(Rounding, HalvesGoTowardPlusInfinityAndWhatNoRegisterHoldsIsRefused) {
  // Binary-exact halves, so the rule and not the representation decides.
  const std::tuple<double, int32_t, double> cases[] = {
      {2.5, 0, 3.0},    {-2.5, 0, -2.0},   {-2.5001, 0, -3.0},   {-1.25, 1, -1.2},
      {0.125, 2, 0.13}, {3.7236, 2, 3.72}, {1250.0, -2, 1300.0}, {-kInf, 2, -kInf}};
  for (const auto& [x, digits, expected] : cases)
    EXPECT_EQ(RoundToDigits(x, digits), expected) << x << "/" << digits;
  EXPECT_TRUE(std::isnan(RoundToDigits(kNan, 2)));
  // clang-format off
  const std::pair<double, int32_t> integers[] = {
      {2.5, 3}, {-2.5, -2}, {-2.51, -3}, {2147483647.4, 2147483647}, {2147483647.5, kUnrepresentableRaw},
      {-2147483648.0, INT32_MIN}, {-2147483648.6, kUnrepresentableRaw}, {kNan, kUnrepresentableRaw}};
  // clang-format on
  for (const auto& [x, expected] : integers) EXPECT_EQ(RoundToInteger(x), expected) << x;
}

// The sweep proves the writes invert these; here the factors themselves.
TEST(Conversion, EveryCodeReadsWithItsFactor) {
  const ScalingInputs x03 = Inputs(kX7103), x01 = Inputs(kX7101), x201 = Inputs(kX7201), x06 = Inputs(kX7106),
                      x06new = Inputs(kX7106, 0, 3), x06speed = Inputs(kX7106, 1),
                      x03speed = Inputs(kX7103, 1), x03wide = Inputs(kX7103, 0, 2, 6),
                      x06first = Inputs(kX7106, 0, 1);
  // clang-format off
  const std::tuple<int32_t, ScalingInputs, int32_t, double> cases[] = {
      {11, x06, 19336, 96.0}, {11, x06speed, 19336, 10804.9568}, {12, x03, 1000, 87.9}, {13, x01, 100, 0.7},
      {14, x03, 9, 2.2},        {14, x03wide, 9, 5.4},   {14, x03wide, 0, 6.3},   {15, x03, 16, 9.77},
      {15, x03, 0, 4.88},       {16, x03, 1789, 999.68}, {17, x03, 4, 4.0},       {18, x01, -100, 148.6},
      {18, x201, -100, 37.1},   {19, x03, 64, 50.0},     {20, x03, 300, 1.17},    {21, x03, 45, 9.03},
      {22, x03, 604, 17.993},   {24, x03, -5, -5.0},     {42, x201, 100, 37.14},  {43, x03, 105, 100.0},
      {43, x03, 1, 100.0},      {43, x03, 181, 50.0},    {44, x03, 76, 50.0},     {51, x03, -84, 74.1},
      {52, x01, 2, 9.1},        {53, x03, 64, 6810.0},   {54, x03, 200, -132.7},  {241, x03, 0xFD, 5.0},
      {244, x03, 1024, 90.0},   {248, x03, 1000, 3.906}, {604, x03, 1000, 3.72},  {752, x03, 65535, 65535.0},
      {246, x03, -1, 4294967295.0}, {603, x03speed, 100, 223.4}, {53, x03, 128, kInf},  // a division by zero
      // Gains: decoded value x factor, display digits, old and new format.
      {25, x03, 45, 228.8751}, {25, x201, 45, 114.4376}, {26, x06, 0x35, 0.998}, {26, x06new, 0, 0.0},
      {26, x06new, 0x95, 7.93}, {26, x06, 0x95, 0.249}, {27, x06new, 0x95, 14.257}, {28, x06, 0x95, 63.76},
      {28, x06new, 0x95, 1020.096}, {29, x06first, 0x95, 0.0000608}, {29, x06, 0x95, 0.01556352},
      {30, x06new, 0x35, 0.0311}, {31, x06new, 0x35, 3.98}, {32, x06, 0x95, 60.72}, {32, x06, 112, 24872.96},
      {32, x06new, 0x95, 971.52}, {32, x06, 111, 2914.8},
  };
  // clang-format on
  for (const auto& [conversion, inputs, raw, expected] : cases) {
    double value = -1.0;
    ASSERT_EQ(RawToUser(conversion, raw, inputs, value), code::kOk) << conversion << " raw " << raw;
    EXPECT_EQ(value, expected) << conversion << " raw " << raw;
  }
}

// The writes the sweep never makes: values between two codes, below a
// gain's first step, and refusals, which leave the output alone.
TEST(Conversion, EdgesOfTheWritesAndRefusals) {
  // Forms 1, 3: exponents 0-6 and 10; the gap goes to the nearer end.
  EXPECT_EQ((std::array{EncodeGain(4, 573.99, 1), EncodeGain(4, 1985.0, 1), EncodeGain(4, 1121.0, 3)}),
            (std::array{111, 1256, 114}));
  EXPECT_TRUE(std::isnan(DecodeGain(4, 0, 6)) && std::isnan(DecodeGain(4, 0, -1)));
  const std::tuple<int32_t, double, uint32_t, int32_t> writes[] = {
      {17, -4.7, kX7103, 4}, {26, 0.05, kX7106, 0}, {26, -0.01, kX7106, 1256}, {43, 0.0, kX7103, 0}};
  for (const auto& [conversion, value, model, expected] : writes) {
    int32_t raw = -12345;
    ASSERT_EQ(UserToRaw(conversion, value, Inputs(model), raw), code::kOk) << conversion << " " << value;
    EXPECT_EQ(raw, expected) << conversion << " " << value;
  }
  double value = -1.0;
  int32_t raw = -7;
  // Reads (true) and writes of codes that refuse, and what they answer.
  const std::tuple<bool, std::vector<int32_t>, ScalingInputs, Result> refusals[] = {
      {true, {17, 11, 603}, Inputs(kUnknownModel, 5), code::kWrongModel},
      {false, {17, 11, 603}, Inputs(kUnknownModel), code::kWrongModel},
      {true, {11, 603, 604}, Inputs(kX7103, 2), code::kWrongOpMode},
      {false, {11}, Inputs(kX7103, 2), code::kWrongOpMode},
      {true, {0, 10, 23, 35, 55, 240, 249, 601, 753}, Inputs(kX7103), code::kWrongDataType},
      {false, {0, 23, 33, 54, 99, 241, 601, 751}, Inputs(kX7103), code::kSystemError},
  };
  for (const auto& [read, conversions, inputs, expected] : refusals) {
    for (int32_t conversion : conversions)
      EXPECT_EQ(read ? RawToUser(conversion, 1, inputs, value) : UserToRaw(conversion, 1.0, inputs, raw),
                expected)
          << conversion;
  }
  EXPECT_EQ(std::pair(value, raw), std::pair(-1.0, -7));
}

TEST(DeadBand, BoardCodeSelectsTheFieldWidth) {
  const std::pair<int32_t, uint32_t> cases[] = {{2, 5}, {3, 6}, {127, 6}, {128, 5}, {-1, 5}};
  RegisterMap map;
  for (const auto& [board, width] : cases) {
    EXPECT_EQ(DeadBandFormForBoardCode(board), width == 6 ? 2 : 1) << board;
    EXPECT_EQ(SelectDeadBandLayout(map, board), width) << board;
    EXPECT_EQ(map.FindRegister("DeadBand")->descriptor.bitWidth, width) << board;
  }
  EXPECT_FALSE(map.SetDeadBandLayout(3) || map.SetDeadBandLayout(0));
}

TEST(AuxFBType, SplitTypesComposeBackAndOtherBitsAreNoType) {
  for (double value : {0.0, 1.0, 2.0, 3.0, 4.0, 5.0, 6.0, 6.9, -0.5}) {
    AuxFbBits bits{9, 9, 9, 9, 9};
    ASSERT_EQ(SplitAuxFBType(value, bits), code::kOk) << value;
    EXPECT_EQ(ComposeAuxFBType(bits), static_cast<int32_t>(value)) << value;
  }
  for (double outside : {7.0, -1.0, kNan}) {
    AuxFbBits bits{9, 9, 9, 9, 9};
    EXPECT_EQ((std::pair{SplitAuxFBType(outside, bits), bits.mitEn}), std::pair(code::kWrongOpMode, 9));
  }
  // Hall sensors disabled with EnDat and the primary source (no Mitutoyo) is
  // also type 5; any non-zero raw value counts as a set bit.
  EXPECT_EQ(ComposeAuxFBType(AuxFbBits{0, -3, 0, 255, 1}), 5);
  for (const AuxFbBits& bits : {AuxFbBits{}, AuxFbBits{0, 1, 0, 0, 1}, AuxFbBits{1, 1, 1, 0, 0}})
    EXPECT_EQ(ComposeAuxFBType(bits), -1);
}

// Counts 1500 and -500 give a gain and an offset per model, units and
// source; writing them gives the counts back (reading takes any units,
// writing does not).
TEST(CommandScaling, GainAndOffsetFromCountsAndBack) {
  const std::tuple<CommandSetup, double, double> cases[] = {
      {{kX7103, 0, 0}, 0.2897762, 6.425}, {{kX7103, 0, 2}, 0.2897762, 6.425},
      {{kX7103, 0, 1}, 0.0744725, -25.0}, {{kX7103, 1, 0}, 0.1739435, 6.425},
      {{kX7106, 1, 1}, 0.0447035, -25.0}, {{kX7103, 7, 0}, 0.1739435, 6.425},
  };
  for (const auto& [setup, expectedGain, expectedOffset] : cases) {
    SCOPED_TRACE(std::to_string(setup.modelCode) + "/" + std::to_string(setup.commandUnits) + "/" +
                 std::to_string(setup.commandSource));
    double gain = 0.0, offset = 0.0;
    int32_t plus = 0, minus = 0;
    ASSERT_EQ(CommandGainFromPwm(setup, 1500, -500, gain), code::kOk);
    ASSERT_EQ(CommandOffsetFromPwm(setup, 1500, -500, offset), code::kOk);
    EXPECT_EQ(std::pair(gain, offset), std::pair(expectedGain, expectedOffset));
    if (setup.commandUnits > 1) continue;
    ASSERT_EQ(PwmPlusFromCommand(setup, gain, offset, plus), code::kOk);
    ASSERT_EQ(PwmMinusFromCommand(setup, gain, offset, minus), code::kOk);
    EXPECT_EQ(std::pair(plus, minus), std::pair(1500, -500));
  }
  // Equal counts: no gain and no offset; a gain of 0 divides by zero only in
  // the limits, not in the counts.
  double gain = -1.0, offset = -1.0;
  int32_t count = -9;
  EXPECT_EQ(CommandGainFromPwm({kX7103, 0, 0}, 700, 700, gain), code::kOk);
  EXPECT_EQ(CommandOffsetFromPwm({kX7103, 0, 1}, 700, 700, offset), code::kOk);
  EXPECT_EQ(PwmPlusFromCommand({kX7103, 0, 0}, 0.0, 5.0, count), code::kOk);
  EXPECT_EQ((std::vector<double>{gain, offset, static_cast<double>(count)}), (std::vector<double>{0, 0, 0}));
  OffsetBounds bounds{-1.0, -1.0};
  EXPECT_EQ(PwmMinusFromCommand({kX7103, 2, 0}, 1.0, 0.0, count), code::kWrongOpMode);
  for (const Result result : {PwmPlusFromCommand({kUnknownModel, 9, 0}, 1.0, 0.0, count),
                              PwmMinusFromCommand({kUnknownModel, 0, 0}, 1.0, 0.0, count),
                              CommandGainFromPwm({kUnknownModel, 0, 0}, 2, 1, gain),
                              CommandOffsetFromPwm({kUnknownModel, 0, 0}, 2, 1, offset),
                              CommandGainLimit({kUnknownModel, 0, 0}, 0.0, 2000, gain),
                              CommandOffsetLimits({kUnknownModel, 0, 0}, 1.0, 2000, bounds)})
    EXPECT_EQ(result, code::kWrongModel);
  EXPECT_EQ((std::vector<double>{gain, offset, static_cast<double>(count), bounds.maximum}),
            (std::vector<double>{0, 0, 0, -1}));
}

// At the gain of a 2000-count span a limit of 2000 leaves the offset one
// half span either way (analog) or 0 to -100 % (percent); four times that
// gain turns the analog bounds around; no gain leaves them open.
TEST(CommandScaling, LimitsOfGainAndOffset) {
  const std::tuple<CommandSetup, double, double> gains[] = {
      {{kX7103, 0, 0}, 6.425, 0.3864}, {{kX7103, 0, 0}, -150.0, 0.0457}, {{kX7103, 1, 0}, 6.425, 0.2319},
      {{kX7103, 0, 1}, 6.425, 0.07},   {{kX7103, 0, 1}, -25.0, 0.0993},
  };
  for (const auto& [setup, offset, expected] : gains) {
    double limit = 0.0;
    ASSERT_EQ(CommandGainLimit(setup, offset, 2000, limit), code::kOk) << offset;
    EXPECT_EQ(limit, expected) << "CmdSrc " << setup.commandSource << " offset " << offset;
  }
  const std::tuple<CommandSetup, double, double, double> offsets[] = {
      {{kX7103, 0, 0}, 0.2897762, 12.85, -12.85},
      {{kX7103, 0, 1}, 0.0744725, 0.0, -100.0},
      {{kX7103, 0, 0}, 4 * 0.2897762, -6.425, 6.425},
      {{kX7103, 0, 0}, 0.0, kInf, -kInf},
  };
  for (const auto& [setup, gain, maximum, minimum] : offsets) {
    OffsetBounds bounds;
    ASSERT_EQ(CommandOffsetLimits(setup, gain, 2000, bounds), code::kOk) << gain;
    EXPECT_EQ(std::pair(bounds.maximum, bounds.minimum), std::pair(maximum, minimum)) << gain;
  }
}

enum class Expect : uint8_t {
  kInverse,     // the raw value comes back
  kDrift,       // comes back within maxDrift counts; the bound is reached
  kReadOnly,    // no write direction; every raw shows a value of its own
  kCountWrite,  // the write takes the raw count itself, without unit factor
};

enum class Refusal : uint8_t {
  kNone,
  kAtEnds,    // the value shown at an end of the range, rounded, lies beyond it
  kNegative,  // a negative raw reads as unsigned, beyond the signed write
};

struct Rule {
  int32_t code;
  int32_t fromLogic;  // the row applies from this logic version on
  Expect expect;
  int32_t maxDrift;      // raw counts; gain codes: code steps
  uint32_t ignoredBits;  // register bits the format does not use
  Refusal refusal;
  const char* what;
};

using E = Expect;
using R = Refusal;

// Old gain formats have a 3-bit exponent field, so bit 7 of an 8-bit gain
// register does not count; CmdF0 also ignores mantissa bit 0. The write of
// such a raw gives the code without those bits. 603 and 604 write the count
// they are given, without the unit factor of the read.
// clang-format off
constexpr Rule kRules[] = {
    {12, 0, E::kDrift, 1, 0, R::kNone, "CommOff: 0.088 degree a count shown to 0.1"},
    {13, 0, E::kDrift, 7, 0, R::kAtEnds, "IdCmd: 0.0074 A a count (X7101) shown to 0.1"},
    {20, 0, E::kDrift, 1, 0, R::kAtEnds, "PosFB: 1/256 a count shown to 0.01"},
    {22, 0, E::kReadOnly, 0, 0, R::kNone, "IFB, IdFB"},
    {26, 0, E::kInverse, 0, 0x80, R::kNone, "KVI, old format"},
    {26, 3, E::kDrift, 1, 0, R::kNone, "KVI, new format: 0.0118/16 a step shown to 0.001"},
    {27, 0, E::kDrift, 4, 0x80, R::kAtEnds, "KVP, old format: 0.002 a step shown to 0.001"},
    {27, 3, E::kDrift, 8, 0, R::kAtEnds, "KVP, new format: 0.001 a step shown to 0.001"},
    {28, 0, E::kInverse, 0, 0x80, R::kNone, "ARF0, ARF1, old format"},
    {28, 3, E::kInverse, 0, 0, R::kNone, "ARF0, ARF1, new format"},
    {29, 0, E::kInverse, 0, 0x80, R::kNone, "I2TF0, old format"},
    {29, 2, E::kInverse, 0, 0, R::kNone, "I2TF0, new format"},
    {30, 0, E::kInverse, 0, 0x80, R::kAtEnds, "ITF0: 248 shows as 0.7341 = 248.006 steps"},
    {31, 0, E::kInverse, 0, 0, R::kAtEnds, "KPP: 248 shows as 94.12 = 248.010 steps"},
    {32, 0, E::kInverse, 0, 0x81, R::kNone, "CmdF0, old format"},
    {32, 3, E::kInverse, 0, 0x01, R::kNone, "CmdF0, new format"},
    {33, 0, E::kReadOnly, 0, 0, R::kNone, "SerialNum, VerLW"},
    {42, 0, E::kReadOnly, 0, 0, R::kNone, "VBus"},
    {43, 0, E::kDrift, 1, 0, R::kNone, "ILmtMinus: 1.51 counts a percent shown to 1"},
    {44, 0, E::kDrift, 1, 0, R::kNone, "ILmtPlus"},
    {54, 0, E::kReadOnly, 0, 0, R::kNone, "HSTemp"},
    {99, 0, E::kReadOnly, 0, 0, R::kNone, "fault history, AuxFBMitAlrm"},
    {241, 0, E::kReadOnly, 0, 0, R::kNone, "HallInp"},
    {244, 0, E::kDrift, 6, 0, R::kNone, "AuxFBComAng: 11.4 counts a degree shown to 1"},
    {246, 0, E::kInverse, 0, 0, R::kNegative, "FBDivisor: a negative raw reads as r + 2^32"},
    {603, 0, E::kCountWrite, 0, 0, R::kNone, "PWMMinus"},
    {604, 0, E::kCountWrite, 0, 0, R::kNone, "PWMPlus"},
};
// clang-format on

// The row for this code under this logic version; an exact one for a code
// without a row.
Rule RuleFor(int32_t code, int32_t logic) {
  Rule found{code, 0, E::kInverse, 0, 0, R::kNone, "exact"};
  for (const Rule& rule : kRules)
    if (rule.code == code && rule.fromLogic <= logic) found = rule;
  return found;
}

// Every value of [lo, hi] when there are at most 8192. Else the 64 values at
// either end and around 0, every +-2^k with two neighbours each side, and a
// comb: every 8th value from lo + phase (0-7) for ranges up to 2^17 values,
// 4096 teeth for wider ranges.
constexpr int64_t kFullSweep = 8192;
constexpr int64_t kCombStride = 8;

bool IsCombNarrow(int64_t span) { return span > kFullSweep && span <= (int64_t{1} << 17); }

std::vector<int32_t> RawValues(int64_t lo, int64_t hi, int64_t phase) {
  std::vector<int32_t> out;
  std::vector<int64_t> values;
  const int64_t span = hi - lo + 1;
  if (span <= kFullSweep) {
    for (int64_t r = lo; r <= hi; ++r) out.push_back(static_cast<int32_t>(r));
    return out;
  }
  for (int64_t anchor : {lo, hi - 63, int64_t{-32}})
    for (int64_t i = 0; i < 64; ++i) values.push_back(anchor + i);
  for (int k = 0; k < 32; ++k)
    for (int64_t sign : {1, -1})
      for (int64_t near = -2; near <= 2; ++near) values.push_back(sign * (int64_t{1} << k) + near);
  const int64_t stride = IsCombNarrow(span) ? kCombStride : span / 4096;
  for (int64_t r = lo + phase; r <= hi; r += stride) values.push_back(r);
  for (int64_t r : values)
    if (r >= lo && r <= hi) out.push_back(static_cast<int32_t>(r));
  std::sort(out.begin(), out.end());
  out.erase(std::unique(out.begin(), out.end()), out.end());
  return out;
}

// Raw values as the register's field holds them: a one-byte field counts
// modulo its width, so ILmtMinus's bound 256 is the field's 0.
int64_t FieldDifference(const RegisterDescriptor& d, int64_t from, int64_t to) {
  if (d.byteCount != 1) return to - from;
  const int64_t size = int64_t{1} << d.bitWidth;
  int64_t diff = ((to - from) % size + size) % size;
  return diff >= size / 2 ? diff - size : diff;
}

struct Tally {
  uint32_t passes = 0;  // bit 2 * model + units for each pass that converted
  int64_t maxDrift = 0;
  int64_t refused = 0;
};

using RuleKey = std::pair<int32_t, int32_t>;  // code, fromLogic

class Sweep {
 public:
  void Run() {
    for (const VariableRecord& record : kCatalogueTable) {
      if (record.name == nullptr) break;
      double value = 0.0;  // only the codes the scaling knows are swept
      if (RawToUser(record.conversionCode, 0, ScalingInputs{31, 0, 3, 5}, value) != code::kOk) continue;
      const RegisterState* state = map_.FindRegister(record.name);
      if (state == nullptr) {
        ADD_FAILURE() << record.name << ": no register";
        continue;
      }
      // The DeadBand width (form 2) changes nothing but at logic 3; before
      // logic 3 the current limits are two-bit selectors read unscaled.
      for (const auto& [logic, form] : {std::pair{1, 1}, std::pair{2, 1}, std::pair{3, 1}, std::pair{3, 2}}) {
        map_.SetCurrentLimitLayout(logic);
        map_.SetDeadBandLayout(form);
        if (state->descriptor.codec == 1) continue;
        const Rule rule = RuleFor(record.conversionCode, logic);
        for (uint32_t units : {0u, 1u})
          SweepRegister(record.name, rule, tallies_[RuleKey{rule.code, rule.fromLogic}], logic, units);
      }
    }
  }

  const std::map<RuleKey, Tally>& Tallies() const { return tallies_; }

 private:
  void SweepRegister(const char* name, const Rule& rule, Tally& tally, int32_t logic, uint32_t units) {
    const RegisterDescriptor d = map_.FindRegister(name)->descriptor;
    const uint32_t deadBandWidth = map_.FindRegister("DeadBand")->descriptor.bitWidth;
    const RawRange range = units == 0 ? map_.GetTorqueRange(name) : map_.GetVelocityRange(name);
    for (std::size_t m = 0; m < kModelTable.size(); ++m) {
      const ScalingInputs inputs{kModelTable[m].modelCode, units, logic, deadBandWidth};
      // Variables with one code and one range convert alike: sweep them once.
      if (!swept_.insert(std::make_tuple(rule.code, range.min, range.max, m, units, logic, deadBandWidth))
               .second)
        continue;
      const std::vector<int32_t> raws = Admitted(name, range, units, m);
      const std::string where = std::string(name) + " " + kModelTable[m].name + " units " +
                                std::to_string(units) + " logic " + std::to_string(logic) + " raw ";
      // The values shown at the two ends of the range.
      double first = 0.0, last = 0.0;
      if (!raws.empty() && (RawToUser(rule.code, raws.front(), inputs, first) != code::kOk ||
                            RawToUser(rule.code, raws.back(), inputs, last) != code::kOk))
        Fail(where + "at the ends: no reading");
      double previous = -std::numeric_limits<double>::infinity();
      for (int32_t raw : raws) {
        double value = 0.0;
        int32_t back = 0;
        const auto trace = [&] {
          return where + std::to_string(raw) + " shows " + std::to_string(value) + ", writes " +
                 std::to_string(back);
        };
        if (RawToUser(rule.code, raw, inputs, value) != code::kOk || !std::isfinite(value)) {
          Fail(trace() + ": no finite reading");
          continue;
        }
        tally.passes |= 1u << (2 * m + units);
        // A reading with no write direction still orders the raw values:
        // strictly for read-only codes, so that no two raws look alike; the
        // PWM counts' write takes the count itself.
        if (rule.expect == Expect::kReadOnly) {
          if (UserToRaw(rule.code, value, inputs, back) != code::kSystemError)
            Fail(trace() + ": has a write");
          if (!(value > previous)) Fail(trace() + ": not above the raw before");
        } else if (rule.expect == Expect::kCountWrite) {
          if (UserToRaw(rule.code, raw, inputs, back) != code::kOk || back != raw)
            Fail(trace() + ": count not taken");
          if (value < previous) Fail(trace() + ": below the raw before");
        }
        previous = value;
        if (rule.expect == Expect::kReadOnly || rule.expect == Expect::kCountWrite) continue;
        if (UserToRaw(rule.code, value, inputs, back) != code::kOk) {
          Fail(trace() + ": no write");
          continue;
        }
        const int32_t expected = static_cast<int32_t>(static_cast<uint32_t>(raw) & ~rule.ignoredBits);
        const int64_t drift = std::abs(FieldDifference(d, expected, back));
        if (drift == 0) continue;
        if (back == kUnrepresentableRaw || !Admits(name, range, back, units)) {
          const bool allowed = (rule.refusal == Refusal::kAtEnds && (value == first || value == last)) ||
                               (rule.refusal == Refusal::kNegative && raw < 0);
          if (!allowed) Fail(trace() + ", refused by the register");
          ++tally.refused;
          continue;
        }
        tally.maxDrift = std::max(tally.maxDrift, drift);
        if (rule.expect == Expect::kInverse || drift > rule.maxDrift) Fail(trace());
        // What is shown must survive the write: the written raw shows the same.
        double again = 0.0;
        if (RawToUser(rule.code, back, inputs, again) != code::kOk || again != value)
          Fail(trace() + ", shown changes");
      }
    }
  }

  // Whether the register takes this raw value: a range stored in order says
  // so itself, one stored upside down has the register map's own rule.
  bool Admits(const char* name, const RawRange& range, int32_t raw, uint32_t units) {
    if (range.min <= range.max) return raw >= range.min && raw <= range.max;
    return map_.SetRawValue(name, raw, static_cast<int32_t>(units), 1) == code::kOk;
  }

  // The raw values the register admits. A range stored upside down
  // (ILmtMinus's 256..105, FBDivisor's 1..-1, EnDatPPR's 0..-1) is left to
  // the register map's own rule over its span and a 32-bit sample.
  std::vector<int32_t> Admitted(const char* name, const RawRange& range, uint32_t units, std::size_t model) {
    if (range.min <= range.max) return Sample(range.min, range.max, model);
    std::vector<int32_t> candidates = Sample(INT32_MIN, INT32_MAX, model), admitted;
    for (int64_t r = range.max; r <= range.min; ++r) candidates.push_back(static_cast<int32_t>(r));
    std::sort(candidates.begin(), candidates.end());
    candidates.erase(std::unique(candidates.begin(), candidates.end()), candidates.end());
    std::copy_if(candidates.begin(), candidates.end(), std::back_inserter(admitted),
                 [&](int32_t r) { return Admits(name, range, r, units); });
    return admitted;
  }

  // RawValues, computed once per range and comb phase. The phase is the
  // model's position, so the eight models together reach every value of a
  // 16-bit range in each command unit.
  const std::vector<int32_t>& Sample(int64_t lo, int64_t hi, std::size_t model) {
    const int64_t phase = IsCombNarrow(hi - lo + 1) ? static_cast<int64_t>(model) % kCombStride : 0;
    auto [it, added] = samples_.try_emplace(std::make_tuple(lo, hi, phase));
    if (added) it->second = RawValues(lo, hi, phase);
    return it->second;
  }

  void Fail(const std::string& what) {
    if (++failures_ <= 20) ADD_FAILURE() << what;
  }

  RegisterMap map_;
  std::map<RuleKey, Tally> tallies_;
  std::map<std::tuple<int64_t, int64_t, int64_t>, std::vector<int32_t>> samples_;
  std::set<std::tuple<int32_t, int32_t, int32_t, std::size_t, uint32_t, int32_t, uint32_t>> swept_;
  int failures_ = 0;
};

TEST(UnitScalingSweep, EveryRawValueOfEveryScaledVariableConvertsBack) {
  Sweep sweep;
  sweep.Run();
  for (const Rule& rule : kRules)
    EXPECT_TRUE(sweep.Tallies().contains(RuleKey{rule.code, rule.fromLogic}))
        << rule.what << ": nothing swept";
  for (const auto& [key, tally] : sweep.Tallies()) {
    const Rule rule = RuleFor(key.first, key.second);
    SCOPED_TRACE(std::to_string(rule.code) + " from logic " + std::to_string(rule.fromLogic) + ": " +
                 rule.what);
    EXPECT_EQ(tally.passes, 0xFFFFu) << "every model in both command units";
    // The table says where the formulas are not inverse; keep it true.
    EXPECT_EQ(tally.maxDrift, rule.maxDrift);
    EXPECT_EQ(tally.refused > 0, rule.refusal != Refusal::kNone) << tally.refused << " refused";
  }
}

}  // namespace
}  // namespace svodb
