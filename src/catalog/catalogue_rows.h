// The rows of the variable catalogue, for the few files that check other
// tables against it at compile time; everyone else uses kCatalogueTable.
#pragma once

#include "catalog/catalogue_table.h"

namespace svodb {

// A blank unit is white space; two spaces keep columns aligned in listings.
inline constexpr Units kBlankUnits{"  ", "  ", "  ", "  "};

// Columns: number, name, flags 0-15, minimum logic version, conversion code,
// units for columns 0-3, description. The trailing comment is the 1-based
// position that GetVarName_SVODB and composed result codes use.
// clang-format off
consteval std::array<VariableRecord, kCatalogueRecordCount> CatalogueRows() {
  return {{
    {  1, "AFBDivisorSrc",      ParseFlags("0111 0100 0011 0100"), 3,   0, kBlankUnits, "Selects the source of the divisor for the divider for the position calculation logic"},  // 1
    {  2, "AFBEnDatEnb",        ParseFlags("0111 0100 0011 0100"), 3,   0, kBlankUnits, "When set to ON, the AFB state machine to access the EnDat interface is enabled"},  // 2
    {  3, "AFBHallsDis",        ParseFlags("0111 0100 0011 0100"), 3,   0, kBlankUnits, "When asserted high, this signal disables the Hall feedback logic"},  // 3
    {136, "AFBMitEn",           ParseFlags("0111 0100 0011 0100"), 3,   0, kBlankUnits, "When set to ON, the Mitutoyo Aux feedback is disabled"},  // 4
    {  4, "AFBSrc",             ParseFlags("0111 0100 0011 0100"), 3,   0, kBlankUnits, "Selects the source for the AFB position feedback"},  // 5
    {  5, "ARF0",               ParseFlags("0111 1100 0011 1100"), 2,  28, Units{" Hz", " Hz", " Hz", " Hz"}, "frequency setting for the anti-resonance low pass filter"},  // 6
    {  6, "ARF1",               ParseFlags("0111 1100 0011 1100"), 2,  28, Units{" Hz", " Hz", " Hz", " Hz"}, "frequency setting for the anti-resonance low pass filter"},  // 7
    {  7, "AuxFBComAng",        ParseFlags("1101 0110 0001 1100"), 3, 244, kBlankUnits, "The value of the commutation position from the AFB interface"},  // 8
    {  8, "AuxFBDivisor",       ParseFlags("0111 0100 0011 1100"), 3, 243, kBlankUnits, "Scales the raw feedback counts from the Aux feedback interface to the Aux position word"},  // 9
    {  9, "AuxFBEnDatFlt",      ParseFlags("1101 0110 0001 1100"), 3,   0, kBlankUnits, "Indicates that the Aux Feedback interface encountered an error when trying to read data from an EnDat device"},  // 10
    { 10, "AuxFBHallFlt",       ParseFlags("1101 0110 0001 1100"), 3,   0, kBlankUnits, "Indicates the AuxFB Halls are in an illegal state of either all ones or zeros"},  // 11
    {139, "AuxFBMitAlrm",       ParseFlags("1101 0110 0001 1100"), 3,  99, kBlankUnits, "Indicates the AuxFB Mitutoyo has generated a fault"},  // 12
    {137, "AuxFBMitFlt",        ParseFlags("1101 0110 0001 1100"), 3,   1, kBlankUnits, "Indicates the AuxFB Mitutoyo has generated a fault"},  // 13
    { 11, "AuxFBPTCFlt",        ParseFlags("1101 0110 0001 1100"), 3,   0, kBlankUnits, "Indicates the AuxFB PTC has generated a fault"},  // 14
    { 12, "AuxFBSCDFlt",        ParseFlags("1101 0110 0001 1100"), 3,   0, kBlankUnits, "Indicates that the amplitude of the sum of the sine and cosine signals is not with in +/-30% of the nominal 1.0 Vp-p"},  // 15
    { 13, "AuxFBType",          ParseFlags("0111 0100 0011 1000"), 3,   3, kBlankUnits, "Selects the type of feedback wired to the AuxFB connector"},  // 16
    { 14, "BatFDis",            ParseFlags("0111 1100 0011 1100"), 2,   0, kBlankUnits, "Bank select for motor data"},  // 17
    {  0, "BQ0B2",              ParseFlags("0111 0000 0011 1100"), 3, 752, kBlankUnits, "BiQuad coeff"},  // 18
    {  0, "BQ0K1",              ParseFlags("0111 0000 0011 1100"), 3, 752, kBlankUnits, "BiQuad coeff"},  // 19
    {  0, "BQ0B1",              ParseFlags("0111 0000 0011 1100"), 3, 752, kBlankUnits, "BiQuad coeff"},  // 20
    {  0, "BQ0K2",              ParseFlags("0111 0000 0011 1100"), 3, 752, kBlankUnits, "BiQuad coeff"},  // 21
    {  0, "BQ1B2",              ParseFlags("0111 0000 0011 1100"), 3, 752, kBlankUnits, "BiQuad coeff"},  // 22
    {  0, "BQ1K1",              ParseFlags("0111 0000 0011 1100"), 3, 752, kBlankUnits, "BiQuad coeff"},  // 23
    {  0, "BQ1B1",              ParseFlags("0111 0000 0011 1100"), 3, 752, kBlankUnits, "BiQuad coeff"},  // 24
    {  0, "BQ1K2",              ParseFlags("0111 0000 0011 1100"), 3, 752, kBlankUnits, "BiQuad coeff"},  // 25
    {  0, "BQ2B2",              ParseFlags("0111 0000 0011 1100"), 3, 752, kBlankUnits, "BiQuad coeff"},  // 26
    {  0, "BQ2K1",              ParseFlags("0111 0000 0011 1100"), 3, 752, kBlankUnits, "BiQuad coeff"},  // 27
    {  0, "BQ2B1",              ParseFlags("0111 0000 0011 1100"), 3, 752, kBlankUnits, "BiQuad coeff"},  // 28
    {  0, "BQ2K2",              ParseFlags("0111 0000 0011 1100"), 3, 752, kBlankUnits, "BiQuad coeff"},  // 29
    {  0, "BQ3B2",              ParseFlags("0111 0000 0011 1100"), 3, 752, kBlankUnits, "BiQuad coeff"},  // 30
    {  0, "BQ3K1",              ParseFlags("0111 0000 0011 1100"), 3, 752, kBlankUnits, "BiQuad coeff"},  // 31
    {  0, "BQ3B1",              ParseFlags("0111 0000 0011 1100"), 3, 752, kBlankUnits, "BiQuad coeff"},  // 32
    {  0, "BQ3K2",              ParseFlags("0111 0000 0011 1100"), 3, 752, kBlankUnits, "BiQuad coeff"},  // 33
    { 15, "CmdF0",              ParseFlags("0111 1100 0011 1100"), 2,  32, Units{" Hz", " Hz", " Hz", " Hz"}, "low pass filter frequency applied to the command"},  // 34
    { 16, "CmdGain",            ParseFlags("0111 1100 0011 1000"), 2, 601, Units{" kRPM/V", " Arms/V", " kRPM/%", " Arms/%"}, "..."},  // 35
    { 17, "CmdIn",              ParseFlags("1101 1110 0011 1100"), 2,  11, Units{" RPM", " Arms", " RPM", " Arms"}, "Value of output of the command processing block"},  // 36
    { 18, "CmdInNullEnb",       ParseFlags("0111 1100 0011 1100"), 2,   0, kBlankUnits, "Enable/Disable CmdInNullEnb function"},  // 37
    { 19, "CmdOffset",          ParseFlags("0111 1100 0011 1000"), 2, 602, Units{" V", " V", " %", " %"}, "..."},  // 38
    { 20, "CmdSrc",             ParseFlags("0111 1100 0011 1100"), 2,   1, kBlankUnits, "Selects the source of the command to be delivered"},  // 39
    { 21, "Command",            ParseFlags("0111 1100 0011 1100"), 2,  11, Units{" RPM", " Arms", " RPM", " Arms"}, "Set the value of the command"},  // 40
    { 22, "CommMode",           ParseFlags("0111 1100 0011 1100"), 2,   1, kBlankUnits, "..."},  // 41
    { 23, "CommOff",            ParseFlags("0111 1100 0011 1100"), 2,  12, Units{" degree", " degree", " degree", " degree"}, "Commutation offset"},  // 42
    { 24, "DeadBand",           ParseFlags("0011 1100 0011 1100"), 2,  14, Units{" usec", " usec", " usec", " usec"}, "Set the dead band time"},  // 43
    { 25, "DInp1",              ParseFlags("1001 1110 0011 1100"), 2,   0, kBlankUnits, "Indicates the state of the enable switch input"},  // 44
    { 26, "DInp1 (EnbHWInp)",   ParseFlags("1101 1110 0011 1100"), 2,   0, kBlankUnits, "Indicates the state of the enable switch input"},  // 45
    { 27, "DInp1Pol",           ParseFlags("0111 1100 0011 1100"), 3,   0, kBlankUnits, "Select the input polarity of DInp1"},  // 46
    { 28, "DInp2",              ParseFlags("1001 1110 0011 1100"), 2,   0, kBlankUnits, "Indicates the state of IO input DINP2"},  // 47
    { 29, "DInp2 (InhibitCW)",  ParseFlags("1101 1110 0011 1100"), 2,   0, kBlankUnits, "Indicates the state of IO input DINP2"},  // 48
    { 30, "DInp2Pol",           ParseFlags("0111 1100 0011 1100"), 3,   0, kBlankUnits, "Select the input polarity of DInp2"},  // 49
    { 31, "DInp3",              ParseFlags("1001 1110 0011 1100"), 2,   0, kBlankUnits, "Indicates the state of IO input DINP3"},  // 50
    { 32, "DInp3 (InhibitCCW)", ParseFlags("1101 1110 0011 1100"), 2,   0, kBlankUnits, "Indicates the state of IO input DINP3"},  // 51
    { 33, "DInp3Pol",           ParseFlags("0111 1100 0011 1100"), 3,   0, kBlankUnits, "Select the input polarity of DInp3"},  // 52
    { 34, "DInp4",              ParseFlags("1001 1110 0011 1100"), 2,   0, kBlankUnits, "Indicates the state of the IO input Dinp4"},  // 53
    { 35, "DInp4 (MSInp1)",     ParseFlags("1101 1110 0011 1100"), 2,   0, kBlankUnits, "Indicates the state of the IO input Dinp4"},  // 54
    { 36, "DInp4Pol",           ParseFlags("0111 1100 0011 1100"), 3,   0, kBlankUnits, "Select the input polarity of DInp4"},  // 55
    { 37, "DM1Map",             ParseFlags("0111 1100 0011 1100"), 2,   1, kBlankUnits, "Select the variable sent to DACMon1 output pin"},  // 56
    { 38, "DM2Map",             ParseFlags("0111 1100 0011 1100"), 2,   1, kBlankUnits, "Select the variable sent to DACMon2 output pin"},  // 57
    { 39, "DPoles",             ParseFlags("0111 1101 0011 1100"), 2,   1, Units{" Poles", " Poles", " Poles", " Poles"}, "Motor pole count"},  // 58
    { 40, "DriveOK",            ParseFlags("1101 1110 0011 1100"), 2,   0, kBlankUnits, "Drive fault status indicator"},  // 59
    { 41, "EEData",             ParseFlags("1001 1110 0011 1100"), 2,  24, kBlankUnits, "EE data"},  // 60
    { 42, "EEFuncDone",         ParseFlags("1001 1110 0011 1100"), 2,   0, kBlankUnits, "EE function done"},  // 61
    { 43, "EMUAI",              ParseFlags("1101 1110 0011 1100"), 2,   0, kBlankUnits, "Indicates the state of EMUA signal"},  // 62
    { 44, "EMUBI",              ParseFlags("1101 1110 0011 1100"), 2,   0, kBlankUnits, "Indicates the state of EMUB signal"},  // 63
    { 45, "EMUFunc",            ParseFlags("0011 1100 0011 1100"), 2,   1, kBlankUnits, "Selects between using J2-6 Dinp2 or a fixed value of logic 1 for the rotation direction"},  // 64
    { 46, "Enabled",            ParseFlags("1101 1110 0011 1100"), 2,   0, kBlankUnits, "Indicates the enabled state of the drive "},  // 65
    { 47, "EnbHWInp",           ParseFlags("1101 1110 0011 1100"), 2,   0, kBlankUnits, "Indicates the state of the enable switch input"},  // 66
    { 48, "EncOut",             ParseFlags("0111 1100 0011 1100"), 2,   1, kBlankUnits, "Set the emulated encoder output's line count"},  // 67
    { 49, "EncOutPPR",          ParseFlags("0111 1100 0011 1100"), 2, 245, kBlankUnits, "Sets an arbitrary emulated encoder output's line count when EncOut variable is set to Programmable"},  // 68
    { 50, "EncOutZOffset",      ParseFlags("0111 1100 0011 1100"), 2, 245, kBlankUnits, "Sets an arbitrary position, with relation to PosFB, for the CH Z OUT pulse on J4 -17 and 18"},  // 69
    { 51, "EnDatDistMT",        ParseFlags("1101 0110 0001 1100"), 3, 245, kBlankUnits, "The number of distinguishable multi-turns the encoder can resolve"},  // 70
    { 52, "EnDatNumClks",       ParseFlags("1001 0100 0001 0100"), 3, 247, kBlankUnits, "The number of clocks required to transfer the absolute position word from the encoder"},  // 71
    { 53, "EnDatPPR",           ParseFlags("1101 0110 0001 1100"), 3, 246, kBlankUnits, "The number of signal periods per revolution for a rotary encoder or signal period length in nm (0.001um) for linear encoders"},  // 72
    { 54, "EnInhibitCCW",       ParseFlags("0110 1100 0011 1100"), 2,   0, kBlankUnits, "Current inhibit for counter clockwise (positive) rotation"},  // 73
    { 55, "EnInhibitCW",        ParseFlags("0110 1100 0011 1100"), 2,   0, kBlankUnits, "Current inhibit for clockwise (positive) rotation"},  // 74
    { 56, "ExtFaults",          ParseFlags("1101 1110 0011 1000"), 2, 701, kBlankUnits, "Extended Fault Code"},  // 75
    { 57, "FaultCode",          ParseFlags("1101 1110 0011 1100"), 2,   1, kBlankUnits, "Fault Code"},  // 76
    {138, "FAULTHISPNTR",       ParseFlags("0001 1100 0011 1100"), 2,  99, kBlankUnits, "Fault history pointer"},  // 77
    {140, "FaultHistory",       ParseFlags("0101 1010 0001 0100"), 3,  99, kBlankUnits, "Provides the fault history data"},  // 78
    {141, "FBDivisor",          ParseFlags("0111 1100 0011 1100"), 3, 246, kBlankUnits, "Divisor to scale EnDat 2.2 linear encoder absolute counts"},  // 79
    { 58, "FBSrc",              ParseFlags("0111 1100 0011 1100"), 3,   0, kBlankUnits, "Selects whether feedback will be closed within the Base Unit or the Option Card"},  // 80
    {140, "FbType",             ParseFlags("0111 1100 0011 1100"), 4,   1, kBlankUnits, "Selects feedback type of base feedback connector"},  // 81
    {141, "FilterType",         ParseFlags("0111 1100 0011 1100"), 4,   1, kBlankUnits, "Selects filter type default Anti-Resonance (ARfx) filters or BiQuad filters"},  // 82
    { 59, "FltDiag",            ParseFlags("0111 1100 0011 1100"), 2,   0, kBlankUnits, "Select between the DOUT1 line being a static low and high"},  // 83
    { 60, "FltRstMode",         ParseFlags("0111 1100 0011 1100"), 3,   0, kBlankUnits, "Select how faults are reset by the hardware enable input"},  // 84
    { 61, "FoldBack",           ParseFlags("1101 1110 0011 1100"), 2,   0, kBlankUnits, "Indicates whether the drive is in fold back mode"},  // 85
    { 62, "FTFail",             ParseFlags("1011 1100 0011 0000"), 2,  24, kBlankUnits, "Reads back the number of times the drive has failed final test"},  // 86
    { 63, "FTPass",             ParseFlags("1011 1100 0011 0000"), 2,  24, kBlankUnits, "Reads back the number of times the drive has passed final test"},  // 87
    { 64, "GearIn",             ParseFlags("0110 1000 0011 1100"), 2, 242, kBlankUnits, "(empty)"},  // 88
    { 65, "GearOut",            ParseFlags("0110 1000 0011 1100"), 2,  34, kBlankUnits, "(empty)"},  // 89
    { 66, "HallInp",            ParseFlags("1101 1110 0011 1100"), 2, 241, kBlankUnits, "Reads back the state of the Hall input to the drive"},  // 90
    { 67, "HSInp1",             ParseFlags("1101 1110 0011 1100"), 2,   0, kBlankUnits, "Indicates the state of the IO input HSInp+ and HSInp-"},  // 91
    { 68, "HSInp1Pol",          ParseFlags("0111 1100 0011 1100"), 3,   0, kBlankUnits, "Select the input polarity of HSInp1"},  // 92
    { 69, "HSOT",               ParseFlags("1101 1100 0011 1000"), 2, 751, Units{" degrees C", " degrees C", " degrees C", " degrees C"}, "Indicates the heat sink trip point"},  // 93
    { 70, "HSTemp",             ParseFlags("1101 1110 0011 1100"), 2,  54, Units{" degrees C", " degrees C", " degrees C", " degrees C"}, "Heat sink temp"},  // 94
    { 71, "HstSet",             ParseFlags("0011 1100 0011 1100"), 2,  51, Units{" degrees C", " degrees C", " degrees C", " degrees C"}, "Set the heat sink trip point"},  // 95
    { 72, "I2TF0",              ParseFlags("0111 1101 0011 1100"), 2,  29, Units{" Hz", " Hz", " Hz", " Hz"}, "..."},  // 96
    { 73, "I2TTrip",            ParseFlags("0111 1101 0011 1100"), 2,  21, Units{" Arms", " Arms", " Arms", " Arms"}, "..."},  // 97
    { 74, "IdCmd",              ParseFlags("0011 1100 0011 1100"), 2,  13, Units{" Arms", " Arms", " Arms", " Arms"}, "Set the value of the current command for the non-torque current loop"},  // 98
    { 75, "IdFB",               ParseFlags("1101 1110 0011 1100"), 2,  22, Units{" Arms", " Arms", " Arms", " Arms"}, "..."},  // 99
    { 76, "IFB",                ParseFlags("1101 1110 0011 1100"), 2,  22, Units{" Arms", " Arms", " Arms", " Arms"}, "..."},  // 100
    { 77, "ILmtMinus",          ParseFlags("0111 1101 0011 1100"), 2,  43, Units{" %", " %", " %", " %"}, "Counter-clockwise current limit"},  // 101
    { 78, "ILmtPlus",           ParseFlags("0111 1101 0011 1100"), 2,  44, Units{" %", " %", " %", " %"}, "Clockwise current limit"},  // 102
    { 79, "InhibitCCW",         ParseFlags("1101 1110 0011 1100"), 2,   0, kBlankUnits, "Indicates the state of IO input DINP3"},  // 103
    { 80, "InhibitCW",          ParseFlags("1101 1110 0011 1100"), 2,   0, kBlankUnits, "Indicates the state of IO input DINP2"},  // 104
    { 81, "ISPConfig",          ParseFlags("1001 1110 0011 1100"), 3,   0, kBlankUnits, "The drive will perform a re-configuration of the drive FPGA"},  // 105
    { 82, "ISPEnable",          ParseFlags("1001 1110 0011 1100"), 3,   0, kBlankUnits, "Enables the drive to perform one of the ISP function"},  // 106
    { 83, "ISPErase",           ParseFlags("1001 1110 0011 1100"), 3,   0, kBlankUnits, "The drive will perform an erase of the Flash configuration memory"},  // 107
    { 84, "ISPProgram",         ParseFlags("1001 1110 0011 1100"), 3,   0, kBlankUnits, "The drive will enter the program mode"},  // 108
    { 85, "ISPVerify",          ParseFlags("1001 1110 0011 1100"), 3,   0, kBlankUnits, "The drive will enter the Verify mode"},  // 109
    { 86, "ITF0",               ParseFlags("0011 1100 0011 1100"), 2,  30, Units{" Hz", " Hz", " Hz", " Hz"}, "..."},  // 110
    { 87, "ITMode",             ParseFlags("0111 1100 0011 1100"), 2,   0, kBlankUnits, "..."},  // 111
    { 88, "IUOffset",           ParseFlags("0011 1100 0011 1100"), 2,  52, Units{" milliamp", " milliamp", " milliamp", " milliamp"}, "Set the U phase current offset"},  // 112
    { 89, "IVOffset",           ParseFlags("0011 1100 0011 1100"), 2,  52, Units{" milliamp", " milliamp", " milliamp", " milliamp"}, "Set the V phase current offset"},  // 113
    { 90, "KII",                ParseFlags("0001 1100 0011 1100"), 2,   0, kBlankUnits, "Enables and disables the current loop integrator"},  // 114
    { 91, "KIP",                ParseFlags("0111 1101 0011 1100"), 2,  25, Units{" V/A(Nom)", " V/A(Nom)", " V/A(Nom)", " V/A(Nom)"}, "Set the proportional gain of the current loop"},  // 115
    { 92, "KPP",                ParseFlags("0111 1100 0011 1100"), 2,  31, Units{" Hz", " Hz", " Hz", " Hz"}, "Set the proportional gain of the position loop"},  // 116
    { 93, "KVFF",               ParseFlags("0111 1100 0011 1100"), 2,  19, Units{" %", " %", " %", " %"}, "..."},  // 117
    { 94, "KVI",                ParseFlags("0111 1100 0011 1100"), 2,  26, Units{" Hz", " Hz", " Hz", " Hz"}, "Set the integral gain of the velocity loop"},  // 118
    { 95, "KVP",                ParseFlags("0111 1101 0011 1100"), 2,  27, Units{" Arms/rad/sec", " Arms/rad/sec", " Arms/rad/sec", " Arms/rad/sec"}, "Set the proportional gain of the velocity loop"},  // 119
    { 96, "LogicVer",           ParseFlags("1101 1100 0011 1100"), 2,  17, Units{" Version", " Version", " Version", " Version"}, "The version number of the drive logic"},  // 120
    { 97, "Model",              ParseFlags("1101 1100 0011 1100"), 2,   2, kBlankUnits, "Drive model number"},  // 121
    { 98, "MSInp1",             ParseFlags("1101 1110 0011 1100"), 2,   0, kBlankUnits, "Indicates the state of the IO input Dinp4"},  // 122
    { 99, "MTemp",              ParseFlags("1101 1110 0011 1100"), 2,  53, Units{" Ohm", " Ohm", " Ohm", " Ohm"}, "Motor temp"},  // 123
    {100, "MTempLimit",         ParseFlags("0011 1101 0011 1100"), 2,  53, Units{" Ohm", " Ohm", " Ohm", " Ohm"}, "Motor Temperature limit set"},  // 124
    {101, "MTempLimitPol",      ParseFlags("0011 1101 0011 1100"), 2,   0, kBlankUnits, "Motor Temperature limit Polarity"},  // 125
    {102, "MTRAddress",         ParseFlags("0001 1100 0011 1100"), 2,  24, kBlankUnits, "Set Motor Data Address"},  // 126
    {103, "MTRData",            ParseFlags("1001 1100 0011 1100"), 2,  24, kBlankUnits, "Read motor data"},  // 127
    {104, "OpMode",             ParseFlags("0111 1100 0011 1100"), 2,   1, kBlankUnits, "Select between Torque, Velocity, or Position control modes"},  // 128
    {105, "PosCmdSrc",          ParseFlags("0111 1100 0011 1100"), 2,   1, kBlankUnits, "..."},  // 129
    {106, "PosErrorMax",        ParseFlags("0111 1100 0011 1100"), 2, 248, Units{" Revs", " Revs", " Revs", " Revs"}, "Set the limit in revolutions for position following error when OpMode is set to Position"},  // 130
    {107, "PosFB",              ParseFlags("1101 1110 0011 1100"), 2,  20, kBlankUnits, "Position big bits"},  // 131
    {108, "PosFBMTrn",          ParseFlags("1101 1110 0011 1100"), 2,  24, Units{" Turns", " Turns", " Turns", " Turns"}, "Indicates the instantaneous shaft position in units of multi-turns from the TRX feedback"},  // 132
    {109, "PWMFreq",            ParseFlags("0011 1100 0111 1100"), 2,  15, Units{" KHz", " KHz", " KHz", " KHz"}, "Set the value of the PWM frequency"},  // 133
    {110, "PWMLo",              ParseFlags("1101 1110 0011 1100"), 2,   0, kBlankUnits, "Indicates whether the drive has switch to 5KHz"},  // 134
    {111, "PWMMinus",           ParseFlags("0111 1100 0011 0100"), 2, 603, Units{" RPM", "\tArms", " RPM", " Arms"}, "Set the levels corresponding to the PWM Cmd digital input"},  // 135
    {112, "PWMPlus",            ParseFlags("0111 1100 0011 0100"), 2, 604, Units{" RPM", " Arms", " RPM", " Arms"}, "Set the levels corresponding to the PWM Cmd digital input"},  // 136
    {113, "SelTRXParam",        ParseFlags("0111 1100 1011 1100"), 2,   0, kBlankUnits, "Determines whether the TRX motor parameters or drive parameters"},  // 137
    {114, "SerialNum",          ParseFlags("1101 1100 0011 1100"), 3,  33, kBlankUnits, "The electronic serial number of the drive"},  // 138
    {115, "SetupS1",            ParseFlags("1101 1110 0011 1100"), 2,  24, kBlankUnits, "Reads back the state of EMU switch"},  // 139
    {116, "SetupS2",            ParseFlags("1101 1110 0011 1100"), 2,  24, kBlankUnits, "Read back the state of setup switch on the drive"},  // 140
    {117, "SetupS2-1",          ParseFlags("1101 1110 0011 1100"), 2,   0, kBlankUnits, "Setup Switch"},  // 141
    {118, "SetupS2-2",          ParseFlags("1101 1110 0011 1100"), 2,   0, kBlankUnits, "Setup Switch"},  // 142
    {119, "TRXDiag",            ParseFlags("0011 1100 0011 1100"), 2,   0, kBlankUnits, "TRX Diagnostic enable"},  // 143
    {120, "TRXDiagEnb",         ParseFlags("1001 1110 0011 1100"), 2,   0, kBlankUnits, "Indicates whether TRX is in Diagnostic Mode"},  // 144
    {121, "TRXExtFaults",       ParseFlags("1101 1110 0011 1000"), 2,   1, kBlankUnits, "TRX Extend Fault Code"},  // 145
    {122, "TRXPosMT",           ParseFlags("1101 1110 0011 1100"), 3,  24, Units{" Turns", " Turns", " Turns", " Turns"}, "Indicates the instantaneous shaft position in units of multi-turns from the TRX feedback"},  // 146
    {123, "TRXRcv",             ParseFlags("1001 1110 0011 1100"), 2,   0, kBlankUnits, "Indicates TRX receiving data"},  // 147
    {124, "TRXRdy",             ParseFlags("1001 1110 0011 1100"), 2,   0, kBlankUnits, "Indicates TRX ready"},  // 148
    {125, "TRXSpan",            ParseFlags("0111 1100 0011 1100"), 2,   0, kBlankUnits, "Set whether the drive faults on any TRX error"},  // 149
    {126, "SixStep",            ParseFlags("1101 1110 0011 1100"), 2,   0, kBlankUnits, "Indicates that the drive is in six step mode"},  // 150
    {127, "SWClrFlt",           ParseFlags("0101 1100 0011 1100"), 3,   0, kBlankUnits, "This parameter will clear the fault logic"},  // 151
    {128, "SWEnable",           ParseFlags("0101 1100 0011 1100"), 2,   0, kBlankUnits, "Serial communications channel enable"},  // 152
    {129, "VBus",               ParseFlags("1101 1110 0011 1100"), 2,  42, Units{" Volts", " Volts", " Volts", " Volts"}, "Reads back Bus voltage"},  // 153
    {130, "VBusOV",             ParseFlags("0011 1100 0011 1100"), 2,  18, Units{" Volts", " Volts", " Volts", " Volts"}, "Set the value of the Bus overvoltage"},  // 154
    {131, "VBusRG",             ParseFlags("0011 1100 0011 1100"), 2,  18, Units{" Volts", " Volts", " Volts", " Volts"}, "Set the value of the Bus regen"},  // 155
    {132, "VBusUV",             ParseFlags("0011 1100 0011 1100"), 2,  18, Units{" Volts", " Volts", " Volts", " Volts"}, "Set the value of the Bus under voltage"},  // 156
    {133, "VelFB",              ParseFlags("1101 1110 0011 1100"), 2,  16, Units{" RPM", " RPM", " RPM", " RPM"}, "Filtered Hall Velocity"},  // 157
    {134, "Velocity",           ParseFlags("1101 1110 0011 1100"), 2,  16, Units{" RPM", " RPM", " RPM", " RPM"}, "Filtered Hall Velocity"},  // 158
    {135, "VerLW",              ParseFlags("1101 1100 0011 1100"), 3,  33, Units{" Version", " Version", " Version", " Version"}, "The version number of the drive firmware"},  // 159
    { -1, nullptr,                ParseFlags("1101 1000 0011 1100"), 2,   0, Units{}, "Table terminator"},  // 160
  }};
}
// clang-format on

}  // namespace svodb
