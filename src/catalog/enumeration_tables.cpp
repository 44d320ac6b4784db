// The constant label tables and the analog monitor labels built from the
// scale factors of each model.
#include "catalog/enumeration_tables.h"

#include <algorithm>
#include <string_view>

namespace svodb {
namespace {

constexpr EnumEntry kEnd = kEnumTerminator;

// Indexes run from 0 without a gap, the terminator comes last and only
// there, every label fits its buffer.
constexpr bool IsTable(std::span<const EnumEntry> table, std::size_t entries) {
  if (table.size() != entries + 1 || !table.back().IsTerminator()) return false;
  for (std::size_t i = 0; i < entries; ++i) {
    const EnumEntry& entry = table[i];
    if (entry.index != static_cast<int32_t>(i) || entry.IsTerminator()) return false;
    if (entry.fileLabel == nullptr || entry.displayLabel == nullptr) return false;
    if (std::string_view(entry.fileLabel).size() >= kLabelSize) return false;
    if (std::string_view(entry.displayLabel).size() >= kLabelSize) return false;
  }
  return true;
}

// clang-format off
constexpr EnumEntry kEnableDisableTable[] = {
    {0, 0, "Enable",  "Enable"},
    {1, 1, "Disable", "Disable"},
    kEnd,
};
static_assert(IsTable(kEnableDisableTable, 2));

constexpr EnumEntry kCmdSrcTable[] = {
    {0, 0, "Analog_Input",     "Analog Input"},
    {1, 1, "PWM_Input",        "PWM Input"},
    {2, 2, "Command_Variable", "Command Variable"},
    kEnd,
};
static_assert(IsTable(kCmdSrcTable, 3));

constexpr EnumEntry kCommModeTable[] = {
    {0, 0, "SetupS2-2", "SetupS2-2"},
    {1, 1, "TRX",       "TRX"},
    {2, 2, "6-Step",    "6-Step"},
    {3, 3, "Brush",     "Brush"},
    kEnd,
};
static_assert(IsTable(kCommModeTable, 4));

constexpr EnumEntry kPolarityTable[] = {
    {0, 0, "Normal", "Normal"},
    {1, 1, "Invert", "Invert"},
    kEnd,
};
static_assert(IsTable(kPolarityTable, 2));

// The line counts in ascending order, so the values are out of order.
constexpr EnumEntry kEncOutTable[] = {
    { 0, 10, "125",                  "125"},
    { 1, 11, "128",                  "128"},
    { 2,  0, "500",                  "500"},
    { 3,  1, "512",                  "512"},
    { 4,  2, "1000",                 "1000"},
    { 5,  3, "1024",                 "1024"},
    { 6,  4, "2000",                 "2000"},
    { 7,  5, "2048",                 "2048"},
    { 8, 15, "2500",                 "2500"},
    { 9,  6, "4096",                 "4096"},
    {10,  7, "5000",                 "5000"},
    {11,  8, "8192",                 "8192"},
    {12,  9, "10000",                "10000"},
    {13, 12, "16384",                "16384"},
    {14, 13, "20000",                "20000"},
    {15, 14, "Programmable_(32768)", "Programmable (32768)"},
    kEnd,
};
static_assert(IsTable(kEncOutTable, 16));

constexpr EnumEntry kOffOnTable[] = {
    {0, 0, "Off", "Off"},
    {1, 1, "On",  "On"},
    kEnd,
};
static_assert(IsTable(kOffOnTable, 2));

constexpr EnumEntry kFltDiagTable[] = {
    {0, 0, "Off",                   "Off"},
    {1, 1, "Diagnostic_blink_code", "Diagnostic blink code"},
    kEnd,
};
static_assert(IsTable(kFltDiagTable, 2));

constexpr EnumEntry kCurrentLimitTable[] = {
    {0, 0, "0",   "0"},
    {1, 1, "33",  "33"},
    {2, 2, "67",  "67"},
    {3, 3, "100", "100"},
    kEnd,
};
static_assert(IsTable(kCurrentLimitTable, 4));

constexpr EnumEntry kItModeTable[] = {
    {0, 0, "IT_trip_faults_drive",                      "IT trip faults drive"},
    {1, 1, "IT_trip_clamps_current_limits_to_IFIdBack", "IT trip clamps current limits to IFIdBack"},
    kEnd,
};
static_assert(IsTable(kItModeTable, 2));

constexpr EnumEntry kDPolesTable[] = {
    { 0,  0, "0",  "0"},
    { 1,  1, "2",  "2"},
    { 2,  2, "4",  "4"},
    { 3,  3, "6",  "6"},
    { 4,  4, "8",  "8"},
    { 5,  5, "10", "10"},
    { 6,  6, "12", "12"},
    { 7,  7, "14", "14"},
    { 8,  8, "16", "16"},
    { 9,  9, "18", "18"},
    {10, 10, "20", "20"},
    {11, 11, "22", "22"},
    {12, 12, "24", "24"},
    {13, 13, "26", "26"},
    {14, 14, "28", "28"},
    {15, 15, "30", "30"},
    {16, 16, "32", "32"},
    {17, 17, "34", "34"},
    {18, 18, "36", "36"},
    {19, 19, "38", "38"},
    {20, 20, "40", "40"},
    {21, 21, "42", "42"},
    {22, 22, "44", "44"},
    {23, 23, "46", "46"},
    {24, 24, "48", "48"},
    {25, 25, "50", "50"},
    {26, 26, "52", "52"},
    {27, 27, "54", "54"},
    {28, 28, "56", "56"},
    {29, 29, "58", "58"},
    {30, 30, "60", "60"},
    {31, 31, "62", "62"},
    kEnd,
};
static_assert(IsTable(kDPolesTable, 32));

constexpr EnumEntry kSelTrxParamTable[] = {
    {0, 0, "Drive", "Drive"},
    {1, 1, "TRX",   "TRX"},
    kEnd,
};
static_assert(IsTable(kSelTrxParamTable, 2));

constexpr EnumEntry kTrxSpanTable[] = {
    {0, 0, "No_Span", "No Span"},
    {1, 1, "Span",    "Span"},
    kEnd,
};
static_assert(IsTable(kTrxSpanTable, 2));

constexpr EnumEntry kPosCmdSrcTable[] = {
    {0, 0, "AQuadB",   "AQuadB"},
    {1, 1, "Step-Dir", "Step-Dir"},
    kEnd,
};
static_assert(IsTable(kPosCmdSrcTable, 2));

constexpr EnumEntry kFltRstModeTable[] = {
    {0, 0, "Edge",  "Edge"},
    {1, 1, "Level", "Level"},
    kEnd,
};
static_assert(IsTable(kFltRstModeTable, 2));

constexpr EnumEntry kFbTypeTable[] = {
    {0, 15, "TRX",       "TRX"},
    {1, 14, "BiSS_B",    "BiSS B"},
    {2, 13, "BiSS_C",    "BiSS C"},
    {3, 12, "EnDat_2.2", "EnDat 2.2"},
    {4, 11, "Tamagawa",  "Tamagawa"},
    kEnd,
};
static_assert(IsTable(kFbTypeTable, 5));

constexpr EnumEntry kFilterTypeTable[] = {
    {0, 3, "ARfx",   "ARfx"},
    {1, 2, "BIQuad", "BiQuad"},
    kEnd,
};
static_assert(IsTable(kFilterTypeTable, 2));

constexpr EnumEntry kDriveOkTable[] = {
    {0, 0, "Fault",    "Fault"},
    {1, 1, "No_Fault", "No Fault"},
    kEnd,
};
static_assert(IsTable(kDriveOkTable, 2));

constexpr EnumEntry kOnOffTable[] = {
    {0, 0, "On",  "On"},
    {1, 1, "Off", "Off"},
    kEnd,
};
static_assert(IsTable(kOnOffTable, 2));

constexpr EnumEntry kEmuAiTable[] = {
    {0, 0, "CH_A_Out-_More_Positive", "CH_A_Out- More Positive"},
    {1, 1, "CH_A_Out+_More_Positive", "CH_A_Out+ More Positive"},
    kEnd,
};
static_assert(IsTable(kEmuAiTable, 2));

constexpr EnumEntry kEmuBiTable[] = {
    {0, 0, "CH_B_Out-_More_Positive", "CH_B_Out- More Positive"},
    {1, 1, "CH_B_Out+_More_Positive", "CH_B_Out+ More Positive"},
    kEnd,
};
static_assert(IsTable(kEmuBiTable, 2));

// Most ", More" entries share their file label with the plain fault, so a
// file reads them back as the plain fault.
constexpr EnumEntry kExtFaultsTable[] = {
    { 0,  0, "No_Extended_Fault",             "No Extended Fault"},
    { 1,  1, "TRX_UART_Parity_Error",         "TRX UART Parity Error"},
    { 2,  2, "TRX_UART_Overrun_Error",        "TRX UART Overrun Error"},
    { 3,  3, "TRX_UART_Framing_Error",        "TRX UART Framing Error"},
    { 4,  4, "TRX_Frame_Timeout",             "TRX Frame Timeout"},
    { 5,  5, "TRX_Transfer_Incomplete",       "TRX Transfer Incomplete"},
    { 6,  6, "TRX_CRC_Error",                 "TRX CRC Error"},
    { 7,  7, "TRX_Motor_Data_Timeout",        "TRX Motor Data Timeout"},
    { 8,  8, "Drive_Over_Temperature",        "Drive Over Temperature"},
    { 9,  9, "Drive_Under_Temperature",       "Drive Under Temperature"},
    {10, 10, "Drive_Peak_Current_Overload",   "Drive Peak Current Overload"},
    {11, 11, "Drive_Output_Over_Current",     "Drive Output Over Current"},
    {12, 12, "Option_Card_Present_Timeout",   "Option Card Present Timeout"},
    {13, 13, "Option_Card_Watch_Dog_Timeout", "Option Card Watch Dog Timeout"},
    {14, 14, "Position_Step_Size_Overflow",   "Position Step Size Overflow"},
    {15, 15, "PosErr_Overflow",               "PosErr Overflow"},
    {16, 16, "AuxFB_Fault",                   "AuxFB Fault"},
    {17, 17, "TRX_UART_Overrun_Error",        "TRX UART Overrun Error, More"},
    {18, 18, "TRX_UART_Framing_Error",        "TRX UART Framing Error, More"},
    {19, 19, "TRX_Frame_Timeout",             "TRX Frame Timeout, More"},
    {20, 20, "TRX_Transfer_Incomplete",       "TRX Transfer Incomplete, More"},
    {21, 21, "CRC_Error",                     "TRX CRC Error, More"},
    {22, 22, "TRX_Motor_Data_Timeout",        "TRX Motor Data Timeout, More"},
    {23, 23, "Drive_Over_Temp",               "Drive Over Temp, More"},
    {24, 24, "Drive_Under_Temp",              "Drive Under Temp, More"},
    {25, 25, "Drive_Short_Circuit",           "Drive Short Circuit, More"},
    {26, 26, "Drive_Output_Over_Current",     "Drive Output Over Current, More"},
    {27, 27, "Option_Card_Read_Timeout",      "Option Card Read Timeout, More"},
    {28, 28, "Watch_Dog_Timeout",             "Watch Dog Timeout, More"},
    {29, 29, "StepSize_Overflow",             "StepSize Overflow, More"},
    {30, 30, "PosErr_Overflow",               "PosErr Overflow, More"},
    kEnd,
};
static_assert(IsTable(kExtFaultsTable, 31));

constexpr EnumEntry kFaultCodeTable[] = {
    { 0,  0, "No_Fault",                      "No Fault"},
    { 1,  1, "Motor_Over_Temp",               "Motor Over Temp"},
    { 2,  2, "Drive_Over/Under_Temp",         "Drive Over/Under Temp"},
    { 3,  3, "Drive_I*t_Too_High",            "Drive I*t Too High"},
    { 4,  4, "Motor_I*I*t_Too_High",          "Motor I*I*t Too High"},
    { 5,  5, "Optional_Battery_Low",          "Optional Battery Low"},
    { 6,  6, "Bus_Over_Voltage",              "Bus Over Voltage"},
    { 7,  7, "Bus_Under_Voltage",             "Bus Under Voltage"},
    { 8,  8, "Motor_l-l_or_l-n_Short",        "Motor l-l or l-n Short"},
    { 9,  9, "Output_Over_Current",           "Output Over Current"},
    {10, 10, "Hall_Fault",                    "Hall Fault"},
    {11, 11, "TRX_Configuration_Error",       "TRX Configuration Error"},
    {12, 12, "J3_FB_+5V_Short_Circuit*",      "J3 FB +5V Short Circuit*"},
    {13, 13, "TRX_Motor_Data_Error",          "TRX Motor Data Error"},
    {14, 14, "TRX_Sensor_Failure",            "TRX Sensor Failure"},
    {15, 15, "TRX_UART_Error",                "TRX UART Error"},
    {16, 16, "TRX_Comm_Error",                "TRX Comm Error"},
    {17, 17, "Option_Card_Watch_Dog_Timeout", "Option Card Watch Dog Timeout"},
    {18, 18, "PosErr_Too_Large",              "PosErr Too Large"},
    {19, 19, "Option Card Fault",             "Option Card Fault"},
    kEnd,
};
static_assert(IsTable(kFaultCodeTable, 20));

constexpr EnumEntry kFoldBackTable[] = {
    {0, 0, "Not_In_Fold_Back", "Not In Fold Back"},
    {1, 1, "Fold_Back",        "Fold Back"},
    kEnd,
};
static_assert(IsTable(kFoldBackTable, 2));

constexpr EnumEntry kActiveTable[] = {
    {0, 0, "Active",   "Active"},
    {1, 1, "Inactive", "Inactive"},
    kEnd,
};
static_assert(IsTable(kActiveTable, 2));

// The display labels line the current ratings up; the file labels do not.
constexpr EnumEntry kModelTable[] = {
    {0, 30, "X7101_240Vac_1.5/4.5Arms", "X7101 240Vac 1.5/4.5Arms"},
    {1, 31, "X7102_240Vac_3/9Arms",     "X7102 240Vac 3/9Arms"},
    {2, 28, "X7103_240Vac_6/18Arms",    "X7103 240Vac 6/18Arms"},
    {3, 15, "X7202_90Vdc_6/18Arms",     "X7202 90Vdc  6/18Arms"},
    {4, 14, "X7201_90Vdc_3/9Arms",      "X7201 90Vdc  3/9Arms"},
    {5, 29, "X7104_240Vac_12/30Arms",   "X7104 240Vac 12/30Arms"},
    {6, 27, "X7105_240Vac_24/48Arms",   "X7105 240Vac  24/48Arms"},
    {7, 26, "X7106_240Vac_48/96Arms",   "X7106 240Vac  48/96Arms"},
    kEnd,
};
static_assert(IsTable(kModelTable, 8));

constexpr EnumEntry kPwmLoTable[] = {
    {0, 0, "Base_PWM_Frequency",      "Base PWM Frequency"},
    {1, 1, "Half_Base_PWM_Frequency", "Half Base PWM Frequency"},
    kEnd,
};
static_assert(IsTable(kPwmLoTable, 2));

constexpr EnumEntry kTrxExtFaultsTable[] = {
    {0, 0, "No_Fault",             "No Fault"},
    {1, 1, "TRX_Sensor_Error",     "TRX Sensor Error"},
    {2, 2, "No_Fault",             "No Fault"},
    {3, 3, "TRX_Multi-turn_Fault", "TRX Multi-turn Fault"},
    {4, 4, "No_Fault",             "No Fault"},
    {5, 5, "No_Fault",             "No Fault"},
    {6, 6, "No_Fault",             "No Fault"},
    {7, 7, "No_Fault",             "No Fault"},
    kEnd,
};
static_assert(IsTable(kTrxExtFaultsTable, 8));

constexpr EnumEntry kSetupS21Table[] = {
    {0, 0, "Velocity",       "Velocity"},
    {1, 1, "Torque/Current", "Torque/Current"},
    kEnd,
};
static_assert(IsTable(kSetupS21Table, 2));

constexpr EnumEntry kSetupS22Table[] = {
    {0, 0, "6-Step", "6-Step"},
    {1, 1, "TRX",    "TRX"},
    kEnd,
};
static_assert(IsTable(kSetupS22Table, 2));

constexpr EnumEntry kSixStepTable[] = {
    {0, 0, "Drive_in_TRX_Mode",    "Drive in TRX Mode"},
    {1, 1, "Drive_in_6-Step_Mode", "Drive in 6-Step Mode"},
    kEnd,
};
static_assert(IsTable(kSixStepTable, 2));

constexpr EnumEntry kSwClrFltTable[] = {
    {0, 0, "Not Clear", "Not Clear"},
    {1, 1, "Clear",     "Clear"},
    kEnd,
};
static_assert(IsTable(kSwClrFltTable, 2));

constexpr EnumEntry kDisableEnableTable[] = {
    {0, 0, "Disable", "Disable"},
    {1, 1, "Enable",  "Enable"},
    kEnd,
};
static_assert(IsTable(kDisableEnableTable, 2));

constexpr EnumEntry kAuxFbTypeTable[] = {
    {0, 0, "Incremental_A_Quad_B",              "Incremental A Quad B"},
    {1, 1, "Incremental_A_Quad_B_+_Halls",      "Incremental A Quad B + Halls"},
    {2, 2, "1_Vpp_Sin_Cos_Incremental",         "1 Vpp Sin Cos Incremental"},
    {3, 3, "1_Vpp_Sin_Cos_Incremental_+_Halls", "1 Vpp Sin Cos Incremental + Halls"},
    {4, 4, "EnDat_2.1",                         "EnDat 2.1"},
    {5, 5, "EnDat_2.1 Linear",                  "EnDat 2.1 Linear"},
    {6, 6, "Mitutoyo",                          "Mitutoyo"},
    kEnd,
};
static_assert(IsTable(kAuxFbTypeTable, 7));

// One bit per fault; the drive can report several at once.
constexpr EnumEntry kAuxFbMitFltTable[] = {
    {0,  0, "NoFaults",       "No Faults"},
    {1,  1, "MitCRC",         "Detected a CRC error on last data transfer"},
    {2,  2, "MitTransIncomp", "Data transfer started but did not complete"},
    {3,  4, "MitFE",          "UART frame error"},
    {4,  8, "MitOR",          "UART over run error"},
    {5, 16, "MitTimeout",     "Data transfer did not start"},
    {6, 32, "MitSysErr",      "Mitutoyo encoder reported a system error"},
    {7, 64, "MitRegErr",      "Mitutoyo reported a request error"},
    kEnd,
};
static_assert(IsTable(kAuxFbMitFltTable, 8));

constexpr EnumEntry kAfbDivisorSrcTable[] = {
    {0, 0, "AuxFBDivisor", "AuxFBDivisor"},
    {1, 1, "AuxPPR",       "AuxPPR"},
    kEnd,
};
static_assert(IsTable(kAfbDivisorSrcTable, 2));

constexpr EnumEntry kAfbSrcTable[] = {
    {0, 0, "AQB", "AQB"},
    {1, 1, "SCD", "SCD"},
    kEnd,
};
static_assert(IsTable(kAfbSrcTable, 2));

constexpr EnumEntry kNoFaultFaultTable[] = {
    {0, 0, "No_Fault", "No Fault"},
    {1, 1, "Fault",    "Fault"},
    kEnd,
};
static_assert(IsTable(kNoFaultFaultTable, 2));

constexpr EnumEntry kEmuFuncTable[] = {
    {0, 0, "DirAInDirBIn",   "DirAInDirBIn"},
    {1, 1, "DirAOutDirBIn",  "DirAOutDirBIn"},
    {2, 2, "DirAInDirBOut",  "DirAInDirBOut"},
    {3, 3, "DirAOutDirBOut", "DirAOutDirBOut"},
    kEnd,
};
static_assert(IsTable(kEmuFuncTable, 4));

constexpr EnumEntry kMTempLimitPolTable[] = {
    {0, 0, "Plus",  "Plus"},
    {1, 1, "Minus", "Minus"},
    kEnd,
};
static_assert(IsTable(kMTempLimitPolTable, 2));

constexpr EnumEntry kFbSrcTable[] = {
    {0, 0, "Base_Unit_Feedback",   "Base Unit Feedback"},
    {1, 1, "Option_Card_Feedback", "Option Card Feedback"},
    kEnd,
};
static_assert(IsTable(kFbSrcTable, 2));

constexpr EnumEntry kTrxDiagTable[] = {
    {0, 0, "Normal",     "Normal"},
    {1, 1, "Diagnostic", "Diagnostic"},
    kEnd,
};
static_assert(IsTable(kTrxDiagTable, 2));

constexpr EnumEntry kEeFuncDoneTable[] = {
    {0, 0, "Incompleted", "Incompleted"},
    {1, 1, "Done",        "Done"},
    kEnd,
};
static_assert(IsTable(kEeFuncDoneTable, 2));

constexpr EnumEntry kTrxRcvTable[] = {
    {0, 0, "No_Received", "No Received"},
    {1, 1, "Received",    "Received"},
    kEnd,
};
static_assert(IsTable(kTrxRcvTable, 2));

constexpr EnumEntry kTrxRdyTable[] = {
    {0, 0, "Not_Ready", "Not Ready"},
    {1, 1, "Ready",     "Ready"},
    kEnd,
};
static_assert(IsTable(kTrxRdyTable, 2));
// clang-format on

}  // namespace

// clang-format off
constexpr std::array<EnumBinding, kPlainBindingCount> kPlainBindings{{
    {"BatFDis",            kEnableDisableTable},
    {"AFBHallsDis",        kEnableDisableTable},
    {"AFBMitEn",           kEnableDisableTable},
    {"CmdInNullEnb",       kEnableDisableTable},
    {"CmdSrc",             kCmdSrcTable},
    {"CommMode",           kCommModeTable},
    {"DInp1Pol",           kPolarityTable},
    {"DInp2Pol",           kPolarityTable},
    {"DInp3Pol",           kPolarityTable},
    {"DInp4Pol",           kPolarityTable},
    {"HSInp1Pol",          kPolarityTable},
    {"EncOut",             kEncOutTable},
    {"EnInhibitCW",        kOffOnTable},
    {"EnInhibitCCW",       kOffOnTable},
    {"Enabled",            kOffOnTable},
    {"KII",                kOffOnTable},
    {"FltDiag",            kFltDiagTable},
    {"ILmtMinus",          kCurrentLimitTable},
    {"ILmtPlus",           kCurrentLimitTable},
    {"ITMode",             kItModeTable},
    {"DPoles",             kDPolesTable},
    {"SelTRXParam",        kSelTrxParamTable},
    {"TRXSpan",            kTrxSpanTable},
    {"PosCmdSrc",          kPosCmdSrcTable},
    {"FltRstMode",         kFltRstModeTable},
    {"FbType",             kFbTypeTable},
    {"FilterType",         kFilterTypeTable},
    {"DriveOK",            kDriveOkTable},
    {"DInp1",              kOnOffTable},
    {"DInp1 (EnbHWInp)",   kOnOffTable},
    {"EnbHWInp",           kOnOffTable},
    {"EMUAI",              kEmuAiTable},
    {"EMUBI",              kEmuBiTable},
    {"ExtFaults",          kExtFaultsTable},
    {"FaultCode",          kFaultCodeTable},
    {"FoldBack",           kFoldBackTable},
    {"HSInp1",             kActiveTable},
    {"DInp2",              kActiveTable},
    {"DInp2 (InhibitCW)",  kActiveTable},
    {"InhibitCW",          kActiveTable},
    {"DInp3",              kActiveTable},
    {"DInp3 (InhibitCCW)", kActiveTable},
    {"InhibitCCW",         kActiveTable},
    {"DInp4",              kActiveTable},
    {"DInp4 (MSInp1)",     kActiveTable},
    {"MSInp1",             kActiveTable},
    {"Model",              kModelTable},
    {"PWMLo",              kPwmLoTable},
    {"TRXExtFaults",       kTrxExtFaultsTable},
    {"SetupS2-1",          kSetupS21Table},
    {"SetupS2-2",          kSetupS22Table},
    {"SixStep",            kSixStepTable},
    {"SWClrFlt",           kSwClrFltTable},
    {"SWEnable",           kDisableEnableTable},
    {"AFBEnDatEnb",        kDisableEnableTable},
    {"AuxFBType",          kAuxFbTypeTable},
    {"AuxFBMitFlt",        kAuxFbMitFltTable},
    {"AFBDivisorSrc",      kAfbDivisorSrcTable},
    {"AFBSrc",             kAfbSrcTable},
    {"AuxFBEnDatFlt",      kNoFaultFaultTable},
    {"AuxFBPTCFlt",        kNoFaultFaultTable},
    {"AuxFBHallFlt",       kNoFaultFaultTable},
    {"AuxFBSCDFlt",        kNoFaultFaultTable},
    {"EMUFunc",            kEmuFuncTable},
    {"MTempLimitPol",      kMTempLimitPolTable},
    {"FBSrc",              kFbSrcTable},
    {"TRXDiag",            kTrxDiagTable},
    {"TRXDiagEnb",         kTrxDiagTable},
    {"EEFuncDone",         kEeFuncDoneTable},
    {"TRXRcv",             kTrxRcvTable},
    {"TRXRdy",             kTrxRdyTable},
}};

constexpr std::array<EnumEntry, kOpModeEntryCount + 1> kOpModeTable{{
    {0, 0, "Torque/Current", "Torque/Current"},
    {1, 1, "Velocity",       "Velocity"},
    {2, 2, "SetupS2-1",      "SetupS2-1"},
    {3, 3, "Position",       "Position"},
    kEnumTerminator,
}};
// clang-format on
static_assert(IsTable(kOpModeTable, kOpModeEntryCount));

// ---- Analog monitors ------------------------------------------------------

namespace {

// The scale factors behind a model's monitor outputs, as the drive's
// documentation prints them: the labels carry these texts verbatim, so they
// are kept as texts and never pass through a floating-point format.
struct MonitorScales {
  uint32_t modelCode;
  std::string_view current;         // I, Arms/V
  std::string_view command;         // C, Arms/V
  std::string_view i2t;             // X, A^2/V
  std::string_view bus;             // B, V/V
  std::string_view phase;           // U, V/V
  std::string_view voltageCommand;  // Q
};

// clang-format off
constexpr std::array<MonitorScales, kMonitorColumnCount> kMonitorScales{{
    {29, "25.42", "20.33",  "643.68",    "380", "812", "134.5"},
    {28, "15.25", "15.25",  "231.7",     "380", "812", "134.5"},
    {31, "7.627", "7.627",  "57.93",     "380", "812", "134.5"},
    {30, "3.813", "3.813",  "14.48",     "380", "812", "134.5"},
    {15, "15.25", "15.25",  "231.7",     "95",  "203", "33.63"},
    {14, "7.627", "7.627",  "57.93",     "95",  "203", "33.63"},
    {27, "40.68", "40.656", "1647.82",   "380", "812", "134.5"},
    {26, "81.35", "81.312", "6591.2832", "380", "812", "134.5"},
}};
// clang-format on

struct BuiltLabel {
  std::array<char, kLabelSize> text{};
};

constexpr BuiltLabel Join(std::string_view head, std::string_view number = {}, std::string_view tail = {}) {
  if (head.size() + number.size() + tail.size() >= kLabelSize)
    throw "a monitor label is longer than 42 characters";
  BuiltLabel label;
  std::size_t at = 0;
  for (std::string_view part : {head, number, tail}) {
    for (char c : part) label.text[at++] = c;
  }
  return label;
}

constexpr BuiltLabel Underscored(BuiltLabel label) {
  std::replace(label.text.begin(), label.text.end(), ' ', '_');
  return label;
}

struct MonitorLabels {
  std::array<BuiltLabel, kMonitorEntryCount> display;
  std::array<BuiltLabel, kMonitorEntryCount> file;
};

constexpr MonitorLabels WithFileLabels(const std::array<BuiltLabel, kMonitorEntryCount>& display) {
  MonitorLabels labels{display, {}};
  for (std::size_t i = 0; i < kMonitorEntryCount; ++i) labels.file[i] = Underscored(display[i]);
  return labels;
}

// clang-format off
constexpr MonitorLabels Dm1Labels(const MonitorScales& s) {
  return WithFileLabels({{
      Join("VelErr 286 RPM/V"),
      Join("PosFB 0.25 Rev/V"),
      Join("IdFB ", s.current, " Arms/V"),
      Join("VelFB 2288 RPM/V"),
      Join("VelFB 9155 RPM/V"),
      Join("PosErr 0.0625 Rev/V"),
      Join("VdCmd ", s.voltageCommand, " V/V"),
      Join("PosFB 244e-6 Rev/V"),
  }});
}

constexpr MonitorLabels Dm2Labels(const MonitorScales& s, bool velocity) {
  return WithFileLabels({{
      Join("VBus ", s.bus, " V/V"),
      velocity ? Join("CmdIn 9155 RPM/V") : Join("CmdIn ", s.command, " Arms/V"),
      Join("IFB ", s.current, " Arms/V"),
      Join("VelFB 1144 RPM/V"),
      Join("I2TFilt ", s.i2t, " A^2/V"),
      Join("VU ", s.phase, " V/V"),
      Join("VqCmd ", s.voltageCommand, " Vrms/V"),
      Join("ICmd ", s.current, " Arms/V"),
  }});
}
// clang-format on

using ColumnLabels = std::array<MonitorLabels, kMonitorColumnCount>;

template <typename Make>
constexpr ColumnLabels PerColumn(Make make) {
  ColumnLabels columns{};
  for (std::size_t c = 0; c < kMonitorColumnCount; ++c) columns[c] = make(kMonitorScales[c]);
  return columns;
}

constexpr ColumnLabels kDm1Labels = PerColumn([](const MonitorScales& s) { return Dm1Labels(s); });
constexpr ColumnLabels kDm2TorqueLabels =
    PerColumn([](const MonitorScales& s) { return Dm2Labels(s, false); });
constexpr ColumnLabels kDm2VelocityLabels =
    PerColumn([](const MonitorScales& s) { return Dm2Labels(s, true); });

using MonitorEntries = std::array<EnumEntry, kMonitorEntryCount + 1>;
using ColumnTables = std::array<MonitorEntries, kMonitorColumnCount>;

constexpr ColumnTables TablesOf(const ColumnLabels& columns) {
  ColumnTables tables{};
  for (std::size_t c = 0; c < kMonitorColumnCount; ++c) {
    for (std::size_t i = 0; i < kMonitorEntryCount; ++i) {
      const auto position = static_cast<int32_t>(i);
      tables[c][i] = {position, position, columns[c].file[i].text.data(), columns[c].display[i].text.data()};
    }
    tables[c][kMonitorEntryCount] = kEnumTerminator;
  }
  return tables;
}

// DM1Map's selections carry no command scale, so both modes share one table.
constexpr ColumnTables kDm1Tables = TablesOf(kDm1Labels);
constexpr ColumnTables kDm2TorqueTables = TablesOf(kDm2TorqueLabels);
constexpr ColumnTables kDm2VelocityTables = TablesOf(kDm2VelocityLabels);

constexpr bool AllTables(const ColumnTables& tables) {
  return std::all_of(tables.begin(), tables.end(),
                     [](const MonitorEntries& table) { return IsTable(table, kMonitorEntryCount); });
}
static_assert(AllTables(kDm1Tables) && AllTables(kDm2TorqueTables) && AllTables(kDm2VelocityTables));

constexpr std::array<uint32_t, kMonitorColumnCount> ModelsOfColumns() {
  std::array<uint32_t, kMonitorColumnCount> models{};
  for (std::size_t c = 0; c < kMonitorColumnCount; ++c) models[c] = kMonitorScales[c].modelCode;
  return models;
}

}  // namespace

constexpr std::array<uint32_t, kMonitorColumnCount> kMonitorColumnModels = ModelsOfColumns();

const EnumEntry* MonitorTable(Monitor monitor, std::size_t column, uint32_t mode) {
  if (column >= kMonitorColumnCount) return nullptr;
  if (monitor == Monitor::kDm1Map) return kDm1Tables[column].data();
  return (mode == 0 ? kDm2TorqueTables : kDm2VelocityTables)[column].data();
}

}  // namespace svodb
