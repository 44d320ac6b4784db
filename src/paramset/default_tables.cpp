#include "paramset/default_tables.h"

#include <algorithm>
#include <string_view>

namespace svodb {
namespace {

// Texts shared by all eight models, and by the six 240 Vac and the two
// 90 Vdc models.
constexpr ModelTexts All(const char* text) { return {text, text, text, text, text, text, text, text}; }
constexpr ModelTexts ByVoltage(const char* ac240, const char* dc90) {
  return {ac240, ac240, ac240, ac240, ac240, ac240, dc90, dc90};
}

constexpr DefaultRow kEnd{-1, nullptr, {}};

// A table is rows 1, 2, 3 ... in order, each with a name and eight texts,
// and ends in the terminator; a row left out would otherwise leave a
// zero-filled row behind unnoticed.
template <std::size_t N>
consteval bool IsWellFormed(const std::array<DefaultRow, N>& table) {
  for (std::size_t i = 0; i + 1 < N; ++i) {
    const DefaultRow& row = table[i];
    if (row.index != static_cast<int32_t>(i + 1) || row.name == nullptr) return false;
    for (const char* text : row.texts) {
      if (text == nullptr) return false;
    }
  }
  return table[N - 1].IsTerminator() && table[N - 1].name == nullptr;
}

constexpr bool SameName(const char* a, const char* b) { return std::string_view(a) == std::string_view(b); }

// A later logic generation's table: the earlier table with each change
// applied, a change to a variable the earlier table has replacing its texts
// in place and any other change appended as a new row. Size counts the
// terminator; a size that does not fit the changes fails the build.
template <std::size_t Size, std::size_t N, std::size_t M>
consteval std::array<DefaultRow, Size> WithChanges(const std::array<DefaultRow, N>& earlier,
                                                   const std::array<DefaultRow, M>& changes) {
  std::array<DefaultRow, Size> table{};
  std::size_t count = N - 1;
  for (std::size_t i = 0; i < count; ++i) table[i] = earlier[i];
  for (const DefaultRow& change : changes) {
    std::size_t row = 0;
    while (row < count && !SameName(table[row].name, change.name)) ++row;
    if (row == count) {
      if (count + 1 >= Size) throw "more rows than the table's size";
      ++count;
      table[row] = DefaultRow{static_cast<int32_t>(count), change.name, {}};
    }
    table[row].texts = change.texts;
  }
  if (count + 1 != Size) throw "fewer rows than the table's size";
  table[count] = kEnd;
  return table;
}

}  // namespace

// clang-format off
constexpr std::array<DefaultRow, kUserSerialRowCount + 1> kUserSerialDefaults{{
    { 1, "ARF0",          All("194.300000")},
    { 2, "ARF1",          All("971.600000")},
    { 3, "AuxFBType",     All("Incremental_A_Quad_B")},
    { 4, "BatFDis",       All("Disable")},
    { 5, "CmdF0",         All("1457.400000")},
    { 6, "CmdGain",       {"0.450000", "0.900000", "1.800000", "3.000000", "4.800000", "9.600000", "0.900000", "1.800000"}},
    { 7, "CmdInNullEnb",  All("Disable")},
    { 8, "CmdOffset",     All("0.000000")},
    { 9, "CmdSrc",        All("Analog_Input")},
    {10, "Command",       All("0.000000")},
    {11, "CommMode",      All("SetupS2-2")},
    {12, "CommOff",       All("0.000000")},
    {13, "DInp1Pol",      All("Normal")},
    {14, "DInp2Pol",      All("Normal")},
    {15, "DInp3Pol",      All("Normal")},
    {16, "DInp4Pol",      All("Normal")},
    {17, "DM1Map",        All("VelFB_2288_RPM/V")},
    {18, "DM2Map",        {"IFB_3.813_Arms/V", "IFB_7.627_Arms/V", "IFB_15.25_Arms/V", "IFB_25.42_Arms/V", "IFB_40.68_Arms/V", "IFB_81.35_Arms/V", "IFB_7.627_Arms/V", "IFB_15.25_Arms/V"}},
    {19, "DPoles",        All("6")},
    {20, "EncOut",        All("500")},
    {21, "EncOutPPR",     All("32768")},
    {22, "EncOutZOffset", All("0")},
    {23, "EnInhibitCCW",  All("On")},
    {24, "EnInhibitCW",   All("On")},
    {25, "FltDiag",       All("Off")},
    {26, "FltRstMode",    All("Level")},
    {27, "GearIn",        All("5000")},
    {28, "GearOut",       All("256")},
    {29, "HSInp1Pol",     All("Normal")},
    {30, "I2TF0",         All("0.000324")},
    {31, "I2TTrip",       {"1.500000", "3.010000", "6.020000", "12.020000", "24.080000", "48.160000", "3.000000", "6.000000"}},
    {32, "ILmtMinus",     All("100")},
    {33, "ILmtPlus",      All("100")},
    {34, "ITMode",        All("IT_trip_faults_drive")},
    {35, "Kip",           {"96.832000", "48.416000", "24.207900", "14.525000", "9.080000", "4.54000", "12.104000", "6.052000"}},
    {36, "Kpp",           {"6.070000", "6.070000", "6.072000", "6.070000", "6.072000", "6.072000", "6.070000", "6.070000"}},
    {37, "Kvff",          All("0")},
    {38, "Kvi",           {"4.909000", "4.909000", "4.940000", "4.909000", "4.940000", "4.940000", "4.909000", "4.909000"}},
    {39, "Kvp",           {"0.015900", "0.031800", "0.063600", "0.106000", "0.170000", "0.339000", "0.031800", "0.063600"}},
    {40, "OpMode",        All("SetupS2-1")},
    {41, "PosCmdSrc",     All("Step-Dir")},
    {42, "PosErrorMax",   All("128")},
    {43, "SelTRXParam",   All("TRX")},
    {44, "TRXSpan",       All("Span")},
    kEnd,
}};

// From logic 4.0 on a drive also has FbType and FilterType.
constexpr std::array<DefaultRow, 2> kUserLogic4Changes{{
    {0, "FbType",        All("TRX")},
    {0, "FilterType",    All("ARfx")},
}};

constexpr std::array<DefaultRow, kUserSerialLogic4RowCount + 1> kUserSerialLogic4Defaults =
    WithChanges<kUserSerialLogic4RowCount + 1>(kUserSerialDefaults, kUserLogic4Changes);

constexpr std::array<DefaultRow, kUserNetworkRowCount + 1> kUserNetworkDefaults{{
    { 1, "ARF0",          All("194.300000")},
    { 2, "ARF1",          All("971.600000")},
    { 3, "AuxFBComAng",   All("0")},
    { 4, "AuxFBDivisor",  All("16777216")},
    { 5, "AuxFBType",     All("Incremental_A_Quad_B")},
    { 6, "BatFDis",       All("Disable")},
    { 7, "CmdF0",         All("1457.400000")},
    { 8, "CmdGain",       {"0.450000", "0.900000", "1.800000", "3.000000", "4.800000", "9.600000", "0.900000", "1.800000"}},
    { 9, "CmdInNullEnb",  All("Disable")},
    {10, "CmdOffset",     All("0.000000")},
    {11, "CmdSrc",        All("Command_Variable")},
    {12, "Command",       All("0.000000")},
    {13, "CommMode",      All("SetupS2-2")},
    {14, "CommOff",       All("0.000000")},
    {15, "DInp1Pol",      All("Normal")},
    {16, "DInp2Pol",      All("Normal")},
    {17, "DInp3Pol",      All("Normal")},
    {18, "DInp4Pol",      All("Normal")},
    {19, "DM1Map",        All("VelFB_2288_RPM/V")},
    {20, "DM2Map",        {"IFB_3.813_Arms/V", "IFB_7.627_Arms/V", "IFB_15.25_Arms/V", "IFB_25.42_Arms/V", "IFB_40.68_Arms/V", "IFB_81.35_Arms/V", "IFB_7.627_Arms/V", "IFB_15.25_Arms/V"}},
    {21, "DPoles",        All("6")},
    {22, "EncOut",        All("500")},
    {23, "EncOutPPR",     All("32768")},
    {24, "EncOutZOffset", All("0")},
    {25, "EnDatDistMT",   All("0")},
    {26, "EnDatPPR",      All("0")},
    {27, "EnInhibitCCW",  All("On")},
    {28, "EnInhibitCW",   All("On")},
    {29, "FBSrc",         All("Base_Unit_Feedback")},
    {30, "FltDiag",       All("Off")},
    {31, "FltRstMode",    All("Level")},
    {32, "HSInp1Pol",     All("Normal")},
    {33, "I2TF0",         All("0.000324")},
    {34, "I2TTrip",       {"1.500000", "3.010000", "6.0200000", "12.02000", "24.08000", "48.16000", "3.000000", "6.000000"}},
    {35, "ILmtMinus",     All("100")},
    {36, "ILmtPlus",      All("100")},
    {37, "ITMode",        All("IT_trip_faults_drive")},
    {38, "Kip",           {"96.832000", "48.416000", "24.207900", "14.525000", "9.080000", "4.54000", "12.104000", "6.052000"}},
    {39, "Kpp",           {"6.070000", "6.070000", "6.072000", "6.070000", "6.072000", "6.072000", "6.070000", "6.070000"}},
    {40, "Kvff",          All("0")},
    {41, "Kvi",           All("4.909000")},
    {42, "Kvp",           {"0.015900", "0.031800", "0.063600", "0.106000", "0.170000", "0.339000", "0.031800", "0.063600"}},
    {43, "OpMode",        All("SetupS2-1")},
    {44, "PosCmdSrc",     All("Step-Dir")},
    {45, "PosErrorMax",   All("128")},
    {46, "SelTRXParam",   All("TRX")},
    {47, "TRXSpan",       All("Span")},
    kEnd,
}};

constexpr std::array<DefaultRow, kUserNetworkLogic4RowCount + 1> kUserNetworkLogic4Defaults =
    WithChanges<kUserNetworkLogic4RowCount + 1>(kUserNetworkDefaults, kUserLogic4Changes);

constexpr std::array<DefaultRow, kMfgSerialRowCount + 1> kMfgSerialDefaults{{
    { 1, "DeadBand",      {"2.200000", "2.200000", "3.500000", "3.500000", "2.500000", "2.500000", "1.000000", "1.000000"}},
    { 2, "EMUFunc",       All("DirAOutDirBOut")},
    { 3, "HstSet",        {"80.000000", "80.000000", "78.500000", "75.600000", "94.800000", "94.800000", "76.000000", "76.000000"}},
    { 4, "IdCmd",         All("0.000000")},
    { 5, "ITF0",          All("0.047400")},
    { 6, "MTempLimit",    All("2270.000000")},
    { 7, "MTempLimitPol", All("Plus")},
    { 8, "FBSrc",         All("Base_Unit_Feedback")},
    { 9, "PWMFreq",       {"10.420000", "10.420000", "8.220000", "8.220000", "8.220000", "8.220000", "15.630000", "15.630000"}},
    {10, "TRXDiag",       All("Normal")},
    {11, "VBusOV",        ByVoltage("407.000000", "91.000000")},
    {12, "VBusRG",        ByVoltage("396.600000", "91.000000")},
    {13, "VBusUV",        {"-7.400000", "-7.400000", "-7.400000", "150.000000", "150.000000", "150.000000", "17.100000", "17.100000"}},
    kEnd,
}};

// From logic 4.0 on the 240 Vac models X7101 to X7104 have new dead bands
// and X7103 and X7104 a new PWM frequency.
constexpr std::array<DefaultRow, 2> kMfgLogic4Changes{{
    {0, "DeadBand",      {"1.500000", "1.500000", "1.500000", "2.200000", "2.500000", "2.500000", "1.000000", "1.000000"}},
    {0, "PWMFreq",       {"10.420000", "10.420000", "10.420000", "10.420000", "8.220000", "8.220000", "15.630000", "15.630000"}},
}};

constexpr std::array<DefaultRow, kMfgSerialLogic4RowCount + 1> kMfgSerialLogic4Defaults =
    WithChanges<kMfgSerialLogic4RowCount + 1>(kMfgSerialDefaults, kMfgLogic4Changes);

constexpr std::array<DefaultRow, kMfgNetworkRowCount + 1> kMfgNetworkDefaults{{
    { 1, "DeadBand",      {"2.200000", "2.200000", "3.500000", "3.500000", "2.500000", "2.500000", "1.000000", "1.000000"}},
    { 2, "EMUFunc",       All("DirAOutDirBOut")},
    { 3, "HstSet",        {"80.000000", "80.000000", "78.500000", "75.600000", "94.800000", "94.800000", "76.000000", "76.000000"}},
    { 4, "IdCmd",         All("0.000000")},
    { 5, "ITF0",          All("0.047400")},
    { 6, "MTempLimit",    All("2270.000000")},
    { 7, "MTempLimitPol", All("Plus")},
    { 8, "PWMFreq",       {"10.420000", "10.420000", "8.220000", "8.220000", "8.220000", "8.220000", "15.630000", "15.630000"}},
    { 9, "TRXDiag",       All("Normal")},
    {10, "VBusOV",        ByVoltage("407.000000", "91.000000")},
    {11, "VBusRG",        ByVoltage("396.600000", "91.000000")},
    {12, "VBusUV",        {"-7.400000", "-7.400000", "-7.400000", "150.000000", "150.000000", "150.000000", "17.100000", "17.100000"}},
    kEnd,
}};

constexpr std::array<DefaultRow, kMfgNetworkLogic4RowCount + 1> kMfgNetworkLogic4Defaults =
    WithChanges<kMfgNetworkLogic4RowCount + 1>(kMfgNetworkDefaults, kMfgLogic4Changes);
// clang-format on

static_assert(IsWellFormed(kUserSerialDefaults), "user serial defaults: rows 1-44 and the terminator");
static_assert(IsWellFormed(kUserSerialLogic4Defaults),
              "user serial 4.0 defaults: rows 1-46 and the terminator");
static_assert(IsWellFormed(kUserNetworkDefaults), "user network defaults: rows 1-47 and the terminator");
static_assert(IsWellFormed(kUserNetworkLogic4Defaults),
              "user network 4.0 defaults: rows 1-49 and the terminator");
static_assert(IsWellFormed(kMfgSerialDefaults),
              "manufacturing serial defaults: rows 1-13 and the terminator");
static_assert(IsWellFormed(kMfgSerialLogic4Defaults),
              "manufacturing serial 4.0 defaults: rows 1-13 and the terminator");
static_assert(IsWellFormed(kMfgNetworkDefaults),
              "manufacturing network defaults: rows 1-12 and the terminator");
static_assert(IsWellFormed(kMfgNetworkLogic4Defaults),
              "manufacturing network 4.0 defaults: rows 1-12 and the terminator");

std::optional<std::size_t> DefaultColumn(uint32_t modelCode) {
  const auto found = std::find(kDefaultColumnModels.begin(), kDefaultColumnModels.end(), modelCode);
  if (found == kDefaultColumnModels.end()) return std::nullopt;
  return static_cast<std::size_t>(found - kDefaultColumnModels.begin());
}

namespace {

template <std::size_t N>
std::span<const DefaultRow> RowsOf(const std::array<DefaultRow, N>& table) {
  return std::span<const DefaultRow>(table.data(), N - 1);
}

}  // namespace

std::span<const DefaultRow> DefaultTable(DefaultSet set, uint32_t driveType, bool fromLogicFour) {
  const bool network = driveType == 2;
  if (set == DefaultSet::kUser) {
    if (network) return fromLogicFour ? RowsOf(kUserNetworkLogic4Defaults) : RowsOf(kUserNetworkDefaults);
    return fromLogicFour ? RowsOf(kUserSerialLogic4Defaults) : RowsOf(kUserSerialDefaults);
  }
  if (network) return fromLogicFour ? RowsOf(kMfgNetworkLogic4Defaults) : RowsOf(kMfgNetworkDefaults);
  return fromLogicFour ? RowsOf(kMfgSerialLogic4Defaults) : RowsOf(kMfgSerialDefaults);
}

}  // namespace svodb
