#include "drive/unit_scaling.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

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

// ------------------------------------------------------------------ models

TEST(ModelTable, HoldsTheEightModelsWithTheirPeakCurrentAndBusFactor) {
  struct Row {
    uint32_t code;
    const char* name;
    double peak;
    double bus;
  };
  // clang-format off
  const Row expected[] = {
      {30, "X7101",  4.5, 1.0 },
      {31, "X7102",  9.0, 1.0 },
      {28, "X7103", 18.0, 1.0 },
      {29, "X7104", 30.0, 1.0 },
      {27, "X7105", 48.0, 1.0 },
      {26, "X7106", 96.0, 1.0 },
      {14, "X7201",  9.0, 0.25},
      {15, "X7202", 18.0, 0.25},
  };
  // clang-format on
  for (const Row& row : expected) {
    const ModelRow* model = FindModel(row.code);
    ASSERT_NE(model, nullptr) << row.code;
    EXPECT_EQ(std::string(model->name), row.name);
    EXPECT_EQ(model->peakCurrent, row.peak) << row.name;
    EXPECT_EQ(model->busFactor, row.bus) << row.name;
  }
  for (uint32_t unknown : {0u, 13u, 16u, 25u, 32u, 0xFFFFFFFFu})
    EXPECT_EQ(FindModel(unknown), nullptr) << unknown;
}

TEST(ModelTable, UnknownModelRefusesEveryConversionFirst) {
  ScalingInputs inputs = Inputs(kUnknownModel);
  double value = -7.0;
  int32_t raw = -7;
  for (int32_t conversion : {17, 11, 25, 603, 999}) {
    EXPECT_EQ(RawToUser(conversion, 1, inputs, value), code::kWrongModel) << conversion;
    EXPECT_EQ(UserToRaw(conversion, 1.0, inputs, raw), code::kWrongModel) << conversion;
  }
  inputs.commandUnits = 5;  // the model is checked before the units
  EXPECT_EQ(RawToUser(11, 1, inputs, value), code::kWrongModel);
  EXPECT_EQ(value, -7.0);
  EXPECT_EQ(raw, -7);
}

// ---------------------------------------------------------------- rounding

TEST(RoundToDigits, HalvesGoTowardPlusInfinity) {
  struct Case {
    double x;
    int32_t digits;
    double expected;
  };
  // Binary-exact halves, so the rule and not the representation decides.
  const Case cases[] = {
      {2.5, 0, 3.0},     {-2.5, 0, -2.0},  {2.4999, 0, 2.0},    {-2.5001, 0, -3.0},
      {1.25, 1, 1.3},    {-1.25, 1, -1.2}, {0.125, 2, 0.13},    {-0.125, 2, -0.12},
      {3.7236, 2, 3.72}, {0.0, 3, 0.0},    {123.456, 0, 123.0}, {1250.0, -2, 1300.0},
  };
  for (const Case& c : cases)
    EXPECT_EQ(RoundToDigits(c.x, c.digits), c.expected) << c.x << " to " << c.digits;
  EXPECT_EQ(RoundToDigits(kInf, 2), kInf);
  EXPECT_EQ(RoundToDigits(-kInf, 2), -kInf);
  EXPECT_TRUE(std::isnan(RoundToDigits(kNan, 2)));
}

TEST(RoundToInteger, HalvesGoUpAndWhatNoRegisterHoldsIsRefused) {
  struct Case {
    double x;
    int32_t expected;
  };
  // clang-format off
  const Case cases[] = {
      {2.5, 3},            {-2.5, -2},              {-75.5, -75},
      {2.49, 2},           {-2.51, -3},             {2147483647.0, 2147483647},
      {2147483647.4, 2147483647},  // rounds into range
      {2147483647.5, kUnrepresentableRaw},          {-2147483648.0, -2147483647 - 1},
      {-2147483648.6, kUnrepresentableRaw},         {1e300, kUnrepresentableRaw},
      {kInf, kUnrepresentableRaw}, {-kInf, kUnrepresentableRaw}, {kNan, kUnrepresentableRaw},
  };
  // clang-format on
  for (const Case& c : cases) EXPECT_EQ(RoundToInteger(c.x), c.expected) << c.x;
}

// ------------------------------------------------------------- gain format

TEST(DecodeGain, EveryForm) {
  struct Case {
    uint32_t bits;
    int32_t code;
    int32_t form;
    double expected;
  };
  const Case cases[] = {
      {3, 0, 0, 1.0},        {3, 45, 0, 52.0},      {3, 63, 0, 240.0},     // KIP: e 5 k 5; largest
      {4, 0x95, 0, 2.625},   {4, 0x95, 2, 2.625},   {4, 0x95, 1, 2.625},   // 3-bit exponent field: 9 -> 1
      {4, 0x95, 4, 672.0},   {4, 0x95, 5, 640.0},                          // 4-bit exponent field
      {4, 0x7A, 2, 208.0},   {4, 0x7A, 1, 1664.0},  {4, 0x7A, 3, 1664.0},  // field 7 is 2^10 in 1, 3
      {4, 0x7B, 1, 1728.0},  {4, 0x7B, 3, 1664.0},                         // 3 drops mantissa bit 0
      {4, 0xFB, 4, 55296.0}, {4, 0xFB, 5, 53248.0},                        // so does 5
      {4, 0x0F, 4, 1.9375},  {4, -1, 4, 63488.0},                          // negative: bit pattern
  };
  for (const Case& c : cases)
    EXPECT_EQ(DecodeGain(c.bits, c.code, c.form), c.expected) << c.code << " form " << c.form;
  EXPECT_TRUE(std::isnan(DecodeGain(4, 0, 6)));
  EXPECT_TRUE(std::isnan(DecodeGain(4, 0, -1)));
  EXPECT_TRUE(std::isnan(DecodeGain(0, 0, 0)));
}

TEST(EncodeGain, EveryFormAtItsEdges) {
  struct Case {
    uint32_t bits;
    double x;
    int32_t form;
    int32_t expected;
  };
  // clang-format off
  const Case cases[] = {
      // Forms 0, 2, 4: nearest code; a mantissa's upper rounding edge stays with it.
      {4, 1.0,     0, 0},   {4, 1.03125, 0, 0},    {4, 1.03126, 0, 1},   {4, 1.96,    0, 15},
      {4, 1.96875, 0, 16},  {4, 1.92,    0, 15},   {4, 63488.0, 0, 255}, {4, 63489.0, 0, 1256},
      {4, 0.999,   0, 1256}, {3, 240.0,  0, 63},   {3, 240.01,  0, 1064}, {3, 0.5,    0, 1064},
      {4, 248.0,   2, 127}, {4, 248.5,   2, 1256}, {4, 10.5053, 2, 0x35},
      {4, 1.9,     4, 14},  {4, 1.92,    4, 16},   {4, 61440.0, 4, 254}, {4, 61441.0, 4, 1256},
      // Forms 1, 3: exponents 0-6 and 10; the gap goes to the nearer end.
      {4, 100.0,   1, 105}, {4, 125.0,   1, 111},  {4, 126.0,   1, 111}, {4, 573.99,  1, 111},
      {4, 574.0,   1, 112}, {4, 1056.0,  1, 112},  {4, 1057.0,  1, 113}, {4, 1984.0,  1, 127},
      {4, 1985.0,  1, 1256}, {4, 1024.0, 3, 112},  {4, 1057.0,  3, 112}, {4, 1121.0,  3, 114},
      {4, 1984.0,  3, 126}, {4, 100.0,   3, 105},  {4, 300.0,   3, 111},
      // Forms no register uses, and values that are not numbers.
      {4, 2.0,     5, 1256}, {4, 2.0,   -1, 1256}, {3, 2.0,     1, 1064}, {4, kNan,    0, 1256},
      {4, kInf,    4, 1256},
  };
  // clang-format on
  for (const Case& c : cases)
    EXPECT_EQ(EncodeGain(c.bits, c.x, c.form), c.expected) << c.x << " form " << c.form;
  EXPECT_EQ(UnencodableGain(4), 1256);
  EXPECT_EQ(UnencodableGain(3), 1064);
}

// Every code a register can hold comes back from its decoded value, in the
// decode/encode form pairs the gain registers use.
TEST(EncodeGain, InvertsDecodeForEveryCodeOfEachFormPair) {
  struct Pair {
    uint32_t bits;
    int32_t decodeForm;
    int32_t encodeForm;
    int32_t codes;
    bool evenOnly;
  };
  const Pair pairs[] = {{3, 0, 0, 64, false}, {4, 2, 2, 128, false}, {4, 1, 1, 128, false},
                        {4, 3, 3, 128, true}, {4, 4, 0, 256, false}, {4, 5, 4, 256, true}};
  for (const Pair& p : pairs) {
    for (int32_t code = 0; code < p.codes; ++code) {
      const int32_t expected = p.evenOnly ? code & ~1 : code;
      EXPECT_EQ(EncodeGain(p.bits, DecodeGain(p.bits, code, p.decodeForm), p.encodeForm), expected)
          << "forms " << p.decodeForm << "/" << p.encodeForm << " code " << code;
    }
  }
}

// ------------------------------------------------------------- RawToUser

struct RawCase {
  const char* what;
  int32_t conversion;
  int32_t raw;
  ScalingInputs inputs;
  double expected;
};

TEST(RawToUser, EveryConversionCode) {
  const ScalingInputs torque = Inputs(kX7103, 0);
  const ScalingInputs velocity = Inputs(kX7103, 1);
  const ScalingInputs newLogic = Inputs(kX7106, 0, 3);
  const ScalingInputs oldLogic = Inputs(kX7106, 0, 2);
  const RawCase cases[] = {
      {"Command torque, X7106", 11, 19336, Inputs(kX7106, 0), 96.0},
      {"Command velocity", 11, 19336, Inputs(kX7106, 1), 10804.9568},
      {"CommOff", 12, 1000, torque, 87.9},
      {"IdCmd X7101", 13, 100, Inputs(kX7101), 0.7},
      {"DeadBand 5 bits", 14, 9, Inputs(kX7103, 0, 2, 5), 2.2},
      {"DeadBand 6 bits", 14, 9, Inputs(kX7103, 0, 2, 6), 5.4},
      {"DeadBand 6 bits, raw 0", 14, 0, Inputs(kX7103, 0, 2, 6), 6.3},
      {"PWMFreq", 15, 16, torque, 9.77},
      {"PWMFreq raw 0", 15, 0, torque, 4.88},
      {"Velocity", 16, 1789, torque, 999.68},
      {"LogicVer", 17, 4, torque, 4.0},
      {"VBusOV X7101", 18, -100, Inputs(kX7101), 148.6},
      {"VBusOV X7201 bus factor", 18, -100, Inputs(kX7201), 37.1},
      {"KVFF", 19, 64, torque, 50.0},
      {"PosFB", 20, 300, torque, 1.17},
      {"I2TTrip", 21, 45, torque, 9.03},
      {"IFB", 22, 604, torque, 17.993},
      {"EEData", 24, -5, torque, -5.0},
      {"GearOut", 34, 3, torque, 3.0},
      {"SerialNum", 33, 7, torque, 7.0},
      {"VBus X7201", 42, 100, Inputs(kX7201), 37.14},
      {"ILmtMinus 105", 43, 105, torque, 100.0},
      {"ILmtMinus 0", 43, 0, torque, 0.0},
      {"ILmtMinus 1 capped", 43, 1, torque, 100.0},
      {"ILmtMinus 181", 43, 181, torque, 50.0},
      {"ILmtPlus 151", 44, 151, torque, 100.0},
      {"ILmtPlus 76", 44, 76, torque, 50.0},
      {"HstSet", 51, -84, torque, 74.1},
      {"IUOffset X7101", 52, 2, Inputs(kX7101), 9.1},
      {"MTemp", 53, 64, torque, 6810.0},
      {"HSTemp signed byte", 54, 200, torque, -132.7},
      {"HSTemp", 54, 100, torque, 97.8},
      {"FaultHistory", 99, -1, torque, -1.0},
      {"HallInp three bits", 241, 0xFD, torque, 5.0},
      {"GearIn", 242, 1000, torque, 1000.0},
      {"AuxFBDivisor", 243, 1000, torque, 1000.0},
      {"AuxFBComAng", 244, 100, torque, 9.0},
      {"EncOutPPR", 245, 1000, torque, 1000.0},
      {"EnDatPPR unsigned", 246, -1, torque, 4294967295.0},
      {"EnDatNumClks unsigned", 247, -2, torque, 4294967294.0},
      {"PosErrorMax", 248, 1000, torque, 3.906},
      {"PWMMinus velocity", 603, 100, velocity, 223.4},
      {"PWMPlus torque", 604, 1000, torque, 3.72},
      {"BQ coefficient", 752, 65535, torque, 65535.0},
      // Gains: decoded value x factor, display digits, old and new format.
      {"KIP X7103", 25, 45, torque, 228.8751},
      {"KIP X7201 bus factor", 25, 45, Inputs(kX7201), 114.4376},
      {"KVI old", 26, 0x35, oldLogic, 0.998},
      {"KVI smallest code old", 26, 0, oldLogic, 0.0},
      {"KVI smallest code new", 26, 0, newLogic, 0.0},
      {"ITF0", 30, 0x35, newLogic, 0.0311},
      {"KPP", 31, 0x35, newLogic, 3.98},
  };
  for (const RawCase& c : cases) {
    double value = -1.0;
    ASSERT_EQ(RawToUser(c.conversion, c.raw, c.inputs, value), code::kOk) << c.what;
    EXPECT_EQ(value, c.expected) << c.what;
  }
}

TEST(RawToUser, DivisionByZeroComesBackNotFinite) {
  double value = 0.0;
  ASSERT_EQ(RawToUser(15, 32, Inputs(kX7103), value), code::kOk);
  EXPECT_EQ(value, kInf);
  ASSERT_EQ(RawToUser(53, 128, Inputs(kX7103), value), code::kOk);
  EXPECT_EQ(value, kInf);
}

TEST(RawToUser, RefusesBadCommandUnitsAndUnknownCodes) {
  for (int32_t conversion : {11, 603, 604}) {
    double value = -1.0;
    EXPECT_EQ(RawToUser(conversion, 1, Inputs(kX7103, 2), value), code::kWrongOpMode) << conversion;
    EXPECT_EQ(value, -1.0);
  }
  for (int32_t conversion :
       {-1, 0, 1, 2, 3, 10, 23, 35, 41, 45, 50, 55, 98, 240, 249, 601, 602, 701, 751, 753}) {
    double value = -1.0;
    EXPECT_EQ(RawToUser(conversion, 1, Inputs(kX7103), value), code::kWrongDataType) << conversion;
    EXPECT_EQ(value, -1.0);
  }
}

// ------------------------------------------------------------- UserToRaw

struct UserCase {
  const char* what;
  int32_t conversion;
  double value;
  ScalingInputs inputs;
  int32_t expected;
};

TEST(UserToRaw, EveryConversionCode) {
  const ScalingInputs torque = Inputs(kX7103, 0);
  const ScalingInputs oldLogic = Inputs(kX7106, 0, 2);
  const ScalingInputs newLogic = Inputs(kX7106, 0, 3);
  const UserCase cases[] = {
      {"Command torque X7106", 11, 96.0, Inputs(kX7106, 0), 19336},
      {"Command velocity", 11, 10804.9568, Inputs(kX7106, 1), 19336},
      {"CommOff", 12, 87.9, torque, 1000},
      {"IdCmd", 13, 3.0, torque, 101},
      {"DeadBand 5 bits", 14, 2.2, Inputs(kX7103, 0, 2, 5), 9},
      {"DeadBand 6 bits", 14, 2.2, Inputs(kX7103, 0, 2, 6), 41},
      {"DeadBand beyond the field", 14, 3.2, Inputs(kX7103, 0, 2, 5), -1},
      {"PWMFreq", 15, 9.77, torque, 16},
      {"PWMFreq 0", 15, 0.0, torque, kUnrepresentableRaw},
      {"Velocity", 16, 999.68, torque, 1789},
      {"LogicVer absolute integer part", 17, -4.7, torque, 4},
      {"LogicVer truncated", 17, 4.9, torque, 4},
      {"VBusOV X7101", 18, 148.6, Inputs(kX7101), -100},
      {"VBusOV X7201", 18, 37.1, Inputs(kX7201), -100},
      {"KVFF", 19, 50.0, torque, 64},
      {"PosFB", 20, 1.17, torque, 300},
      {"I2TTrip", 21, 9.03, torque, 45},
      {"EEData half up", 24, 2.5, torque, 3},
      {"GearOut half up", 34, -2.5, torque, -2},
      {"GearIn", 242, 1000.4, torque, 1000},
      {"AuxFBDivisor", 243, 7.5, torque, 8},
      {"EncOutPPR", 245, 32768.0, torque, 32768},
      {"EnDatPPR", 246, 65536.0, torque, 65536},
      {"EnDatPPR beyond signed 32 bits", 246, 4294967295.0, torque, kUnrepresentableRaw},
      {"EnDatNumClks", 247, 25.0, torque, 25},
      {"ILmtMinus 50 %", 43, 50.0, torque, 181},
      {"ILmtMinus 100 %", 43, 100.0, torque, 105},
      {"ILmtMinus 0 %", 43, 0.0, torque, 0},
      {"ILmtPlus 100 %", 44, 100.0, torque, 151},
      {"ILmtPlus 50 %", 44, 50.0, torque, 76},
      {"HstSet", 51, 74.1, torque, -84},
      {"IUOffset X7101", 52, 9.1, Inputs(kX7101), 2},
      {"MTempLimit", 53, 6810.0, torque, 64},
      {"AuxFBComAng", 244, 90.0, torque, 1024},
      {"PosErrorMax", 248, 3.906, torque, 1000},
      // 1.5 counts less a trace: single precision rounds it onto the half.
      {"PosErrorMax narrowed first", 248, 0.005859375 - 1e-12, torque, 2},
      {"PWMMinus count as given", 603, -3.5, Inputs(kX7103, 1), -3},
      {"PWMPlus count as given", 604, 3.72, torque, 4},
      {"BQ coefficient", 752, 65535.4, torque, 65535},
      // Gains: value / factor rounded to the encode digits, then the code.
      {"KIP too small", 25, 1.0, torque, 1064},
      {"KVI new", 26, 7.93, newLogic, 0x95},
      {"KVI 0 old", 26, 0.0, oldLogic, 0},
      {"KVI 0 new", 26, 0.0, newLogic, 0},
      {"KVI below its factor", 26, 0.05, oldLogic, 0},
      {"KVI negative", 26, -0.01, oldLogic, 1256},
      {"KVP old", 27, 0.446, oldLogic, 0x35},
      {"KVP new", 27, 0.223, newLogic, 0x35},
      {"KVP 0.5 of the factor", 27, 96 * 0.000442 / 2, oldLogic, 1256},
      {"ITF0", 30, 0.0311, newLogic, 0x35},
      {"KPP", 31, 3.98, newLogic, 0x35},
      // 248 x 0.3795 shows as 94.12, which divides back to just above 248.
      {"KPP largest shown value", 31, 94.12, newLogic, 1256},
      {"CmdF0 old, 2^10", 32, 1024 * 24.29, oldLogic, 112},
      {"CmdF0 old, between exponent 6 and 2^10", 32, 300 * 24.29, oldLogic, 111},
  };
  for (const UserCase& c : cases) {
    int32_t raw = -12345;
    ASSERT_EQ(UserToRaw(c.conversion, c.value, c.inputs, raw), code::kOk) << c.what;
    EXPECT_EQ(raw, c.expected) << c.what;
  }
}

TEST(UserToRaw, RefusesBadCommandUnitsAndCodesWithoutAnInverse) {
  int32_t raw = -7;
  EXPECT_EQ(UserToRaw(11, 1.0, Inputs(kX7103, 2), raw), code::kWrongOpMode);
  for (int32_t conversion : {0, 1, 3, 10, 23, 33, 54, 99, 241, 601, 602, 701, 751, 999})
    EXPECT_EQ(UserToRaw(conversion, 1.0, Inputs(kX7103), raw), code::kSystemError) << conversion;
  EXPECT_EQ(raw, -7);
}

// The value shown for a gain register writes back the code it came from,
// for every model and both formats (3-bit exponent fields in the old format).
// KVP, ITF0, KPP and the new KVI show fewer digits than their smallest steps
// need, so a shown value can land on a neighbouring code; they are left out.
TEST(UserToRaw, GainValuesShownWriteBackTheirCode) {
  struct Gain {
    int32_t conversion;
    int32_t oldCodes;
    int32_t newCodes;
    bool evenOnly;
  };
  const Gain gains[] = {{25, 64, 64, false},
                        {26, 128, 0, false},
                        {28, 128, 256, false},
                        {29, 128, 256, false},
                        {32, 128, 256, true}};
  for (const Gain& g : gains) {
    for (const ModelRow& model : kModelTable) {
      for (int32_t logic : {0, 3}) {
        const ScalingInputs inputs = Inputs(model.modelCode, 0, logic);
        const int32_t codes = logic == 0 ? g.oldCodes : g.newCodes;
        for (int32_t code = 0; code < codes; ++code) {
          double value = 0.0;
          int32_t raw = -1;
          ASSERT_EQ(RawToUser(g.conversion, code, inputs, value), code::kOk);
          ASSERT_EQ(UserToRaw(g.conversion, value, inputs, raw), code::kOk);
          EXPECT_EQ(raw, g.evenOnly ? code & ~1 : code)
              << "code " << g.conversion << " " << model.name << " logic " << logic << " raw " << code;
        }
      }
    }
  }
}

TEST(RawToUser, GainFormatFollowsTheLogicVersion) {
  struct Case {
    int32_t conversion;
    int32_t logic;
    double expected;
  };
  // Code 0x95 (exponent field 9, mantissa 5) on an X7106: the old format
  // keeps three exponent bits (2^1), the new four (2^9); I2TF0 changes at 2.
  const Case cases[] = {
      {26, 2, 0.249},     {26, 3, 7.93},        // KVI
      {27, 2, 0.111},     {27, 3, 14.257},      // KVP
      {28, 2, 63.76},     {28, 3, 1020.096},    // ARF0
      {29, 1, 0.0000608}, {29, 2, 0.01556352},  // I2TF0
      {32, 2, 60.72},     {32, 3, 971.52},      // CmdF0: mantissa bit 0 dropped
  };
  for (const Case& c : cases) {
    double value = 0.0;
    ASSERT_EQ(RawToUser(c.conversion, 0x95, Inputs(kX7106, 0, c.logic), value), code::kOk);
    EXPECT_EQ(value, c.expected) << c.conversion << " logic " << c.logic;
  }
  for (int32_t unchanged : {25, 30, 31}) {
    double oldValue = 0.0;
    double newValue = 0.0;
    ASSERT_EQ(RawToUser(unchanged, 0x15, Inputs(kX7106, 0, 0), oldValue), code::kOk);
    ASSERT_EQ(RawToUser(unchanged, 0x15, Inputs(kX7106, 0, 4), newValue), code::kOk);
    EXPECT_EQ(oldValue, newValue) << unchanged;
  }
}

// ---------------------------------------------------------------- DeadBand

TEST(DeadBand, BoardCodeSelectsTheFieldWidth) {
  struct Case {
    int32_t boardCode;
    int32_t form;
    uint32_t width;
  };
  const Case cases[] = {{0, 1, 5}, {2, 1, 5}, {3, 2, 6}, {127, 2, 6}, {128, 1, 5}, {255, 1, 5}, {-1, 1, 5}};
  RegisterMap map;
  for (const Case& c : cases) {
    EXPECT_EQ(DeadBandFormForBoardCode(c.boardCode), c.form) << c.boardCode;
    EXPECT_EQ(SelectDeadBandLayout(map, c.boardCode), c.width) << c.boardCode;
    EXPECT_EQ(map.FindRegister("DeadBand")->descriptor.bitWidth, c.width) << c.boardCode;
  }
}

// -------------------------------------------------------------- AuxFBType

TEST(AuxFBType, ComposeMapsEveryBitCombination) {
  // By key = 16 MitEn + 8 HallsDis + 4 EnDatEnb + 2 DivisorSrc + 1 Src.
  // clang-format off
  const int32_t expected[32] = {-1, -1, -1, -1, -1, -1, -1, -1,  6, -1, -1, -1, -1,  5, -1, -1,
                                 1,  3, -1, -1, -1, -1, -1, -1,  0,  2, -1, -1, -1,  5, -1,  4};
  // clang-format on
  for (int32_t key = 0; key < 32; ++key) {
    // Any non-zero raw value counts as a set bit.
    const AuxFbBits bits{(key & 16) ? -3 : 0, (key & 8) ? 2 : 0, (key & 2) ? 1 : 0, (key & 4) ? 255 : 0,
                         key & 1};
    EXPECT_EQ(ComposeAuxFBType(bits), expected[key]) << "key " << key;
  }
}

TEST(AuxFBType, SplitWritesTheBitsThatComposeBack) {
  struct Case {
    double value;
    AuxFbBits bits;
  };
  const Case cases[] = {
      {0.0, {1, 1, 0, 0, 0}}, {1.0, {1, 0, 0, 0, 0}}, {2.0, {1, 1, 0, 0, 1}},
      {3.0, {1, 0, 0, 0, 1}}, {4.0, {1, 1, 1, 1, 1}}, {5.0, {1, 1, 0, 1, 1}},
      {6.0, {0, 1, 0, 0, 0}}, {6.9, {0, 1, 0, 0, 0}}, {-0.5, {1, 1, 0, 0, 0}},
  };
  for (const Case& c : cases) {
    AuxFbBits bits{9, 9, 9, 9, 9};
    ASSERT_EQ(SplitAuxFBType(c.value, bits), code::kOk) << c.value;
    EXPECT_EQ(bits.mitEn, c.bits.mitEn) << c.value;
    EXPECT_EQ(bits.hallsDis, c.bits.hallsDis) << c.value;
    EXPECT_EQ(bits.divisorSrc, c.bits.divisorSrc) << c.value;
    EXPECT_EQ(bits.enDatEnb, c.bits.enDatEnb) << c.value;
    EXPECT_EQ(bits.src, c.bits.src) << c.value;
    EXPECT_EQ(ComposeAuxFBType(bits), static_cast<int32_t>(c.value)) << c.value;
  }
  for (double outside : {7.0, -1.0, 100.0, kNan, kInf}) {
    AuxFbBits bits{9, 9, 9, 9, 9};
    EXPECT_EQ(SplitAuxFBType(outside, bits), code::kWrongOpMode) << outside;
    EXPECT_EQ(bits.mitEn, 9);
  }
}

// ----------------------------------------------------- analog command scaling

struct CommandCase {
  const char* what;
  CommandSetup setup;
  double gain;  // for counts +1500 / -500
  double offset;
};

// Counts +1500 / -500: the span is 2000 counts, the sum 1000.
const CommandCase kCommandCases[] = {
    {"torque, analog", {kX7103, 0, 0}, 0.2897762, 6.425},
    {"torque, CmdSrc 2 is analog too", {kX7103, 0, 2}, 0.2897762, 6.425},
    {"torque, percent", {kX7103, 0, 1}, 0.0744725, -25.0},
    {"velocity, analog", {kX7103, 1, 0}, 0.1739435, 6.425},
    {"velocity, percent, X7106", {kX7106, 1, 1}, 0.0447035, -25.0},
};

TEST(CommandScaling, GainAndOffsetFromCountsAndBack) {
  for (const CommandCase& c : kCommandCases) {
    double gain = 0.0;
    double offset = 0.0;
    ASSERT_EQ(CommandGainFromPwm(c.setup, 1500, -500, gain), code::kOk) << c.what;
    ASSERT_EQ(CommandOffsetFromPwm(c.setup, 1500, -500, offset), code::kOk) << c.what;
    EXPECT_EQ(gain, c.gain) << c.what;
    EXPECT_EQ(offset, c.offset) << c.what;
    int32_t plus = 0;
    int32_t minus = 0;
    ASSERT_EQ(PwmPlusFromCommand(c.setup, gain, offset, plus), code::kOk) << c.what;
    ASSERT_EQ(PwmMinusFromCommand(c.setup, gain, offset, minus), code::kOk) << c.what;
    EXPECT_EQ(plus, 1500) << c.what;
    EXPECT_EQ(minus, -500) << c.what;
  }
}

TEST(CommandScaling, EqualCountsGiveZeroAndUnitsAreCheckedWhereTheyMatter) {
  double gain = -1.0;
  double offset = -1.0;
  EXPECT_EQ(CommandGainFromPwm({kX7103, 0, 0}, 700, 700, gain), code::kOk);
  EXPECT_EQ(CommandOffsetFromPwm({kX7103, 0, 1}, 700, 700, offset), code::kOk);
  EXPECT_EQ(gain, 0.0);
  EXPECT_EQ(offset, 0.0);
  // Reading takes any non-zero units as velocity and ignores them for the offset.
  EXPECT_EQ(CommandGainFromPwm({kX7103, 7, 0}, 1500, -500, gain), code::kOk);
  EXPECT_EQ(gain, 0.1739435);
  EXPECT_EQ(CommandOffsetFromPwm({kX7103, 7, 0}, 1500, -500, offset), code::kOk);
  EXPECT_EQ(offset, 6.425);
  int32_t count = -9;
  EXPECT_EQ(PwmPlusFromCommand({kX7103, 2, 0}, 1.0, 0.0, count), code::kWrongOpMode);
  EXPECT_EQ(PwmMinusFromCommand({kX7103, 2, 0}, 1.0, 0.0, count), code::kWrongOpMode);
  EXPECT_EQ(count, -9);
  // A gain of 0 divides by zero only in the limits, not in the counts.
  EXPECT_EQ(PwmPlusFromCommand({kX7103, 0, 0}, 0.0, 5.0, count), code::kOk);
  EXPECT_EQ(count, 0);
}

TEST(CommandScaling, UnknownModelRefusesEveryCommandFunction) {
  const CommandSetup setup{kUnknownModel, 0, 0};
  double value = -1.0;
  int32_t count = -1;
  OffsetBounds bounds{-1.0, -1.0};
  EXPECT_EQ(CommandGainFromPwm(setup, 2, 1, value), code::kWrongModel);
  EXPECT_EQ(CommandOffsetFromPwm(setup, 2, 1, value), code::kWrongModel);
  EXPECT_EQ(PwmPlusFromCommand({kUnknownModel, 9, 0}, 1.0, 0.0, count), code::kWrongModel);
  EXPECT_EQ(PwmMinusFromCommand(setup, 1.0, 0.0, count), code::kWrongModel);
  EXPECT_EQ(CommandGainLimit(setup, 0.0, 2000, value), code::kWrongModel);
  EXPECT_EQ(CommandOffsetLimits(setup, 1.0, 2000, bounds), code::kWrongModel);
  EXPECT_EQ(value, -1.0);
  EXPECT_EQ(count, -1);
  EXPECT_EQ(bounds.maximum, -1.0);
}

TEST(CommandScaling, GainLimitIsTheSmallerOfTheTwoCountLimits) {
  struct Case {
    CommandSetup setup;
    double offset;
    double limit;
  };
  const Case cases[] = {
      {{kX7103, 0, 0}, 6.425, 0.3864},   // PWMPlus reaches the limit first
      {{kX7103, 0, 0}, -6.425, 0.3864},  // PWMMinus does
      {{kX7103, 0, 0}, 25.0, 0.1968},   {{kX7103, 0, 0}, -150.0, 0.0457}, {{kX7103, 1, 0}, 6.425, 0.2319},
      {{kX7103, 0, 1}, 6.425, 0.07},    {{kX7103, 0, 1}, -25.0, 0.0993},  {{kX7103, 0, 1}, -150.0, 0.0496},
      {{kX7103, 0, 1}, 0.0, 0.0745},  // only the PWMPlus bound is finite
  };
  for (const Case& c : cases) {
    double limit = 0.0;
    ASSERT_EQ(CommandGainLimit(c.setup, c.offset, 2000, limit), code::kOk) << c.offset;
    EXPECT_EQ(limit, c.limit) << "CmdSrc " << c.setup.commandSource << " offset " << c.offset;
  }
}

TEST(CommandScaling, OffsetLimitsForAGain) {
  struct Case {
    CommandSetup setup;
    double gain;
    OffsetBounds bounds;
  };
  // At the gain of a 2000-count span a limit of 2000 leaves the offset one
  // half span either way (analog) or 0 to -100 % (percent); twice that gain
  // turns the analog bounds around.
  const Case cases[] = {
      {{kX7103, 0, 0}, 0.2897762, {12.85, -12.85}},     {{kX7103, 0, 1}, 0.0744725, {0.0, -100.0}},
      {{kX7103, 1, 0}, 0.1739435, {12.85, -12.85}},     {{kX7103, 0, 0}, 2 * 0.2897762, {0.0, 0.0}},
      {{kX7103, 0, 0}, 4 * 0.2897762, {-6.425, 6.425}},
  };
  for (const Case& c : cases) {
    OffsetBounds bounds;
    ASSERT_EQ(CommandOffsetLimits(c.setup, c.gain, 2000, bounds), code::kOk) << c.gain;
    EXPECT_EQ(bounds.maximum, c.bounds.maximum) << c.gain;
    EXPECT_EQ(bounds.minimum, c.bounds.minimum) << c.gain;
  }
  OffsetBounds bounds;
  ASSERT_EQ(CommandOffsetLimits({kX7103, 0, 0}, 0.0, 2000, bounds), code::kOk);
  EXPECT_EQ(bounds.maximum, kInf);
  EXPECT_EQ(bounds.minimum, -kInf);
}

}  // namespace
}  // namespace svodb
