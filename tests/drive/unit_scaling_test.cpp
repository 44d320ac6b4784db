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
constexpr uint32_t kX7101 = 30;
constexpr uint32_t kX7103 = 28;
constexpr uint32_t kX7106 = 26;
constexpr uint32_t kX7201 = 14;
constexpr uint32_t kUnknownModel = 16;

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

ScalingInputs Inputs(uint32_t model, uint32_t units = 0, int32_t logic = 2, uint32_t width = 5) {
  return ScalingInputs{model, units, logic, width};
}

TEST(Rounding, HalvesGoTowardPlusInfinityAndWhatNoRegisterHoldsIsRefused) {
  // Binary-exact halves, so the rule and not the representation decides.
  const std::tuple<double, int32_t, double> cases[] = {
      {2.5, 0, 3.0},    {-2.5, 0, -2.0},   {-2.5001, 0, -3.0},  {-1.25, 1, -1.2},
      {0.125, 2, 0.13}, {3.7236, 2, 3.72}, {1250.0, -2, 1300.0}};
  for (const auto& [x, digits, expected] : cases)
    EXPECT_EQ(RoundToDigits(x, digits), expected) << x << "/" << digits;
  EXPECT_EQ(RoundToDigits(-kInf, 2), -kInf);
  EXPECT_TRUE(std::isnan(RoundToDigits(kNan, 2)));
  const std::pair<double, int32_t> integers[] = {{2.5, 3},
                                                 {-2.5, -2},
                                                 {-2.51, -3},
                                                 {2147483647.4, 2147483647},
                                                 {2147483647.5, kUnrepresentableRaw},
                                                 {-2147483648.0, INT32_MIN},
                                                 {-2147483648.6, kUnrepresentableRaw},
                                                 {kNan, kUnrepresentableRaw}};
  for (const auto& [x, expected] : integers) EXPECT_EQ(RoundToInteger(x), expected) << x;
}

// The sweep proves the writes invert these; here the factors themselves.
TEST(Conversion, EveryCodeReadsWithItsFactor) {
  const ScalingInputs torque = Inputs(kX7103, 0);
  const ScalingInputs newLogic = Inputs(kX7106, 0, 3);
  const ScalingInputs oldLogic = Inputs(kX7106, 0, 2);
  // clang-format off
  const std::tuple<int32_t, ScalingInputs, int32_t, double> cases[] = {
      {11, Inputs(kX7106, 0), 19336, 96.0},       {11, Inputs(kX7106, 1), 19336, 10804.9568},
      {12, torque, 1000, 87.9},                    {13, Inputs(kX7101), 100, 0.7},
      {14, Inputs(kX7103, 0, 2, 5), 9, 2.2},       {14, Inputs(kX7103, 0, 2, 6), 9, 5.4},
      {14, Inputs(kX7103, 0, 2, 6), 0, 6.3},      {15, torque, 16, 9.77},
      {15, torque, 0, 4.88},                      {16, torque, 1789, 999.68},
      {17, torque, 4, 4.0},                        {18, Inputs(kX7101), -100, 148.6},
      {18, Inputs(kX7201), -100, 37.1},            {19, torque, 64, 50.0},
      {20, torque, 300, 1.17},                     {21, torque, 45, 9.03},
      {22, torque, 604, 17.993},                  {24, torque, -5, -5.0},
      {42, Inputs(kX7201), 100, 37.14},           {43, torque, 105, 100.0},
      {43, torque, 1, 100.0},                     {43, torque, 181, 50.0},
      {44, torque, 76, 50.0},                      {51, torque, -84, 74.1},
      {52, Inputs(kX7101), 2, 9.1},                {53, torque, 64, 6810.0},
      {54, torque, 200, -132.7},                  {241, torque, 0xFD, 5.0},
      {244, torque, 1024, 90.0},                   {246, torque, -1, 4294967295.0},
      {248, torque, 1000, 3.906},                  {603, Inputs(kX7103, 1), 100, 223.4},
      {604, torque, 1000, 3.72},                  {752, torque, 65535, 65535.0},
      // Gains: decoded value x factor, display digits, old and new format.
      {25, torque, 45, 228.8751},                 {25, Inputs(kX7201), 45, 114.4376},
      {26, oldLogic, 0x35, 0.998},                {26, newLogic, 0, 0.0},
      {26, newLogic, 0x95, 7.93},                  {26, oldLogic, 0x95, 0.249},
      {27, newLogic, 0x95, 14.257},               {28, oldLogic, 0x95, 63.76},
      {28, newLogic, 0x95, 1020.096},             {29, Inputs(kX7106, 0, 1), 0x95, 0.0000608},
      {29, oldLogic, 0x95, 0.01556352},           {30, newLogic, 0x35, 0.0311},
      {31, newLogic, 0x35, 3.98},                  {32, oldLogic, 0x95, 60.72},
      {32, newLogic, 0x95, 971.52},               {32, oldLogic, 112, 24872.96},
      {32, oldLogic, 111, 2914.8},
  };
  // clang-format on
  for (const auto& [conversion, inputs, raw, expected] : cases) {
    SCOPED_TRACE(std::to_string(conversion) + " raw " + std::to_string(raw));
    double value = -1.0;
    ASSERT_EQ(RawToUser(conversion, raw, inputs, value), code::kOk);
    EXPECT_EQ(value, expected);
  }
}

// The writes the sweep never makes: values between two codes, below a
// gain's first step, and refusals, which leave the output alone.
TEST(Conversion, EdgesOfTheWritesAndRefusals) {
  const ScalingInputs torque = Inputs(kX7103, 0), oldLogic = Inputs(kX7106, 0, 2);
  // Forms 1, 3: exponents 0-6 and 10; the gap goes to the nearer end.
  EXPECT_EQ(EncodeGain(4, 573.99, 1), 111);
  EXPECT_EQ(EncodeGain(4, 1985.0, 1), 1256);
  EXPECT_EQ(EncodeGain(4, 1121.0, 3), 114);
  EXPECT_TRUE(std::isnan(DecodeGain(4, 0, 6)) && std::isnan(DecodeGain(4, 0, -1)));
  const std::tuple<int32_t, double, ScalingInputs, int32_t> writes[] = {
      {17, -4.7, torque, 4}, {26, 0.05, oldLogic, 0}, {26, -0.01, oldLogic, 1256}, {43, 0.0, torque, 0}};
  for (const auto& [conversion, value, inputs, expected] : writes) {
    int32_t raw = -12345;
    ASSERT_EQ(UserToRaw(conversion, value, inputs, raw), code::kOk) << conversion << " " << value;
    EXPECT_EQ(raw, expected) << conversion << " " << value;
  }
  double value = -1.0;
  int32_t raw = -7;
  for (int32_t conversion : {17, 11, 603}) {
    EXPECT_EQ(RawToUser(conversion, 1, Inputs(kUnknownModel, 5), value), code::kWrongModel) << conversion;
    EXPECT_EQ(UserToRaw(conversion, 1.0, Inputs(kUnknownModel), raw), code::kWrongModel) << conversion;
  }
  for (int32_t conversion : {11, 603, 604})
    EXPECT_EQ(RawToUser(conversion, 1, Inputs(kX7103, 2), value), code::kWrongOpMode) << conversion;
  EXPECT_EQ(UserToRaw(11, 1.0, Inputs(kX7103, 2), raw), code::kWrongOpMode);
  for (int32_t conversion : {0, 10, 23, 35, 55, 240, 249, 601, 753})
    EXPECT_EQ(RawToUser(conversion, 1, Inputs(kX7103), value), code::kWrongDataType) << conversion;
  for (int32_t conversion : {0, 23, 33, 54, 99, 241, 601, 751})
    EXPECT_EQ(UserToRaw(conversion, 1.0, Inputs(kX7103), raw), code::kSystemError) << conversion;
  EXPECT_EQ(value, -1.0);
  EXPECT_EQ(raw, -7);
  // A division by zero comes back not finite.
  ASSERT_EQ(RawToUser(53, 128, Inputs(kX7103), value), code::kOk);
  EXPECT_EQ(value, kInf);
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
  // Hall sensors disabled with EnDat and the primary source (no Mitutoyo) is
  // also type 5; any non-zero raw value counts as a set bit.
  EXPECT_EQ(ComposeAuxFBType(AuxFbBits{0, -3, 0, 255, 1}), 5);
  for (const AuxFbBits& bits : {AuxFbBits{}, AuxFbBits{0, 1, 0, 0, 1}, AuxFbBits{1, 1, 1, 0, 0}})
    EXPECT_EQ(ComposeAuxFBType(bits), -1);
  for (double outside : {7.0, -1.0, kNan}) {
    AuxFbBits bits{9, 9, 9, 9, 9};
    EXPECT_EQ(SplitAuxFBType(outside, bits), code::kWrongOpMode);
    EXPECT_EQ(bits.mitEn, 9);
  }
}

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
    ASSERT_EQ(CommandGainFromPwm(setup, 1500, -500, gain), code::kOk);
    ASSERT_EQ(CommandOffsetFromPwm(setup, 1500, -500, offset), code::kOk);
    EXPECT_EQ(gain, expectedGain);
    EXPECT_EQ(offset, expectedOffset);
    int32_t plus = 0, minus = 0;
    if (setup.commandUnits > 1) continue;  // reading takes any units, writing does not
    ASSERT_EQ(PwmPlusFromCommand(setup, gain, offset, plus), code::kOk);
    ASSERT_EQ(PwmMinusFromCommand(setup, gain, offset, minus), code::kOk);
    EXPECT_EQ(plus, 1500);
    EXPECT_EQ(minus, -500);
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
    EXPECT_EQ(bounds.maximum, maximum) << gain;
    EXPECT_EQ(bounds.minimum, minimum) << gain;
  }
}

}  // namespace
}  // namespace svodb
