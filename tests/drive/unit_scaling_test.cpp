// Named values of the unit scaling: the sweep proves the formulas invert,
// these pin the factors, the rounding rules and the refusals.
#include "drive/unit_scaling.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <tuple>
#include <vector>

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
  EXPECT_EQ(EncodeGain(4, 573.99, 1), 111);
  EXPECT_EQ(EncodeGain(4, 1985.0, 1), 1256);
  EXPECT_EQ(EncodeGain(4, 1121.0, 3), 114);
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
  EXPECT_EQ(value, -1.0);
  EXPECT_EQ(raw, -7);
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
    EXPECT_EQ(SplitAuxFBType(outside, bits), code::kWrongOpMode);
    EXPECT_EQ(bits.mitEn, 9);
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
  const Result refusals[] = {PwmMinusFromCommand({kX7103, 2, 0}, 1.0, 0.0, count),
                             PwmPlusFromCommand({kUnknownModel, 9, 0}, 1.0, 0.0, count),
                             PwmMinusFromCommand({kUnknownModel, 0, 0}, 1.0, 0.0, count),
                             CommandGainFromPwm({kUnknownModel, 0, 0}, 2, 1, gain),
                             CommandOffsetFromPwm({kUnknownModel, 0, 0}, 2, 1, offset),
                             CommandGainLimit({kUnknownModel, 0, 0}, 0.0, 2000, gain),
                             CommandOffsetLimits({kUnknownModel, 0, 0}, 1.0, 2000, bounds)};
  EXPECT_EQ(std::vector<Result>(std::begin(refusals), std::end(refusals)),
            (std::vector<Result>{code::kWrongOpMode, code::kWrongModel, code::kWrongModel, code::kWrongModel,
                                 code::kWrongModel, code::kWrongModel, code::kWrongModel}));
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

}  // namespace
}  // namespace svodb
