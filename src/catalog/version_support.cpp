#include "catalog/version_support.h"

#include <algorithm>
#include <cstdlib>
#include <string>

#include "catalog/catalogue_rows.h"

namespace svodb {

// The catalogue's order, except that each BiQuad section lists K1, K2, B1,
// B2 and the two logic-4 variables come last (checked below).
// clang-format off
constexpr std::array<VersionSupportRow, kVersionSupportRowCount> kVersionSupportTable{{
    {  1, "AFBDivisorSrc",      ParseSupportFlags("0001 1111 1111")},
    {  2, "AFBEnDatEnb",        ParseSupportFlags("0001 1111 1111")},
    {  3, "AFBHallsDis",        ParseSupportFlags("0001 1111 1111")},
    {  0, "AFBMitEn",           ParseSupportFlags("0000 0001 1111")},
    {  4, "AFBSrc",             ParseSupportFlags("0001 1111 1111")},
    {  5, "ARF0",               ParseSupportFlags("1111 1111 1111")},
    {  6, "ARF1",               ParseSupportFlags("1111 1111 1111")},
    {  7, "AuxFBComAng",        ParseSupportFlags("0001 1111 1111")},
    {  8, "AuxFBDivisor",       ParseSupportFlags("0001 1111 1111")},
    {  9, "AuxFBEnDatFlt",      ParseSupportFlags("0001 1111 1111")},
    { 10, "AuxFBHallFlt",       ParseSupportFlags("0001 1111 1111")},
    {  0, "AuxFBMitAlrm",       ParseSupportFlags("0000 0001 1111")},
    {  0, "AuxFBMitFlt",        ParseSupportFlags("0000 0001 1111")},
    { 11, "AuxFBPTCFlt",        ParseSupportFlags("0001 1111 1111")},
    { 12, "AuxFBSCDFlt",        ParseSupportFlags("0001 1111 1111")},
    { 13, "AuxFBType",          ParseSupportFlags("0001 1111 1111")},
    { 14, "BatFDis",            ParseSupportFlags("1111 1111 1111")},
    {  0, "BQ0K1",              ParseSupportFlags("0000 0000 0011")},
    {  0, "BQ0K2",              ParseSupportFlags("0000 0000 0011")},
    {  0, "BQ0B1",              ParseSupportFlags("0000 0000 0011")},
    {  0, "BQ0B2",              ParseSupportFlags("0000 0000 0011")},
    {  0, "BQ1K1",              ParseSupportFlags("0000 0000 0011")},
    {  0, "BQ1K2",              ParseSupportFlags("0000 0000 0011")},
    {  0, "BQ1B1",              ParseSupportFlags("0000 0000 0011")},
    {  0, "BQ1B2",              ParseSupportFlags("0000 0000 0011")},
    {  0, "BQ2K1",              ParseSupportFlags("0000 0000 0011")},
    {  0, "BQ2K2",              ParseSupportFlags("0000 0000 0011")},
    {  0, "BQ2B1",              ParseSupportFlags("0000 0000 0011")},
    {  0, "BQ2B2",              ParseSupportFlags("0000 0000 0011")},
    {  0, "BQ3K1",              ParseSupportFlags("0000 0000 0011")},
    {  0, "BQ3K2",              ParseSupportFlags("0000 0000 0011")},
    {  0, "BQ3B1",              ParseSupportFlags("0000 0000 0011")},
    {  0, "BQ3B2",              ParseSupportFlags("0000 0000 0011")},
    { 15, "CmdF0",              ParseSupportFlags("1111 1111 1111")},
    { 16, "CmdGain",            ParseSupportFlags("1111 1111 1111")},
    { 17, "CmdIn",              ParseSupportFlags("1111 1111 1111")},
    { 18, "CmdInNullEnb",       ParseSupportFlags("0000 0111 1111")},
    { 19, "CmdOffset",          ParseSupportFlags("1111 1111 1111")},
    { 20, "CmdSrc",             ParseSupportFlags("1111 1111 1111")},
    { 21, "Command",            ParseSupportFlags("1111 1111 1111")},
    { 22, "CommMode",           ParseSupportFlags("1111 1111 1111")},
    { 23, "CommOff",            ParseSupportFlags("1111 1111 1111")},
    { 24, "DeadBand",           ParseSupportFlags("1111 1111 1111")},
    { 25, "DInp1",              ParseSupportFlags("1111 1111 1111")},
    { 26, "DInp1 (EnbHWInp)",   ParseSupportFlags("1111 1111 1111")},
    { 27, "DInp1Pol",           ParseSupportFlags("0111 1111 1111")},
    { 28, "DInp2",              ParseSupportFlags("1111 1111 1111")},
    { 29, "DInp2 (InhibitCW)",  ParseSupportFlags("1111 1111 1111")},
    { 30, "DInp2Pol",           ParseSupportFlags("0111 1111 1111")},
    { 31, "DInp3",              ParseSupportFlags("1111 1111 1111")},
    { 32, "DInp3 (InhibitCCW)", ParseSupportFlags("1111 1111 1111")},
    { 33, "DInp3Pol",           ParseSupportFlags("0111 1111 1111")},
    { 34, "DInp4",              ParseSupportFlags("1111 1111 1111")},
    { 35, "DInp4 (MSInp1)",     ParseSupportFlags("1111 1111 1111")},
    { 36, "DInp4Pol",           ParseSupportFlags("0111 1111 1111")},
    { 37, "DM1Map",             ParseSupportFlags("1111 1111 1111")},
    { 38, "DM2Map",             ParseSupportFlags("1111 1111 1111")},
    { 39, "DPoles",             ParseSupportFlags("1111 1111 1111")},
    { 40, "DriveOK",            ParseSupportFlags("1111 1111 1111")},
    { 41, "EEData",             ParseSupportFlags("1111 1111 1111")},
    { 42, "EEFuncDone",         ParseSupportFlags("1111 1111 1111")},
    { 43, "EMUAI",              ParseSupportFlags("1111 1111 1111")},
    { 44, "EMUBI",              ParseSupportFlags("1111 1111 1111")},
    { 45, "EMUFunc",            ParseSupportFlags("1111 1111 1111")},
    { 46, "Enabled",            ParseSupportFlags("1111 1111 1111")},
    { 47, "EnbHWInp",           ParseSupportFlags("1111 1111 1111")},
    { 48, "EncOut",             ParseSupportFlags("1111 1111 1111")},
    { 49, "EncOutPPR",          ParseSupportFlags("0000 0011 1111")},
    { 50, "EncOutZOffset",      ParseSupportFlags("0000 0001 1111")},
    { 51, "EnDatDistMT",        ParseSupportFlags("0001 1111 1111")},
    { 52, "EnDatNumClks",       ParseSupportFlags("0001 1111 1111")},
    { 53, "EnDatPPR",           ParseSupportFlags("0001 1111 1111")},
    { 54, "EnInhibitCCW",       ParseSupportFlags("1111 1111 1111")},
    { 55, "EnInhibitCW",        ParseSupportFlags("1111 1111 1111")},
    { 56, "ExtFaults",          ParseSupportFlags("1111 1111 1111")},
    { 57, "FaultCode",          ParseSupportFlags("1111 1111 1111")},
    {  0, "FAULTHISPNTR",       ParseSupportFlags("0000 0001 1111")},
    {  0, "FaultHistory",       ParseSupportFlags("0000 0001 1111")},
    {  0, "FBDivisor",          ParseSupportFlags("0000 0000 0100")},
    { 58, "FBSrc",              ParseSupportFlags("0111 1111 1111")},
    { 59, "FltDiag",            ParseSupportFlags("1111 1111 1111")},
    { 60, "FltRstMode",         ParseSupportFlags("0000 0111 1111")},
    { 61, "FoldBack",           ParseSupportFlags("1111 1111 1111")},
    { 62, "FTFail",             ParseSupportFlags("1111 1111 1111")},
    { 63, "FTPass",             ParseSupportFlags("1111 1111 1111")},
    { 64, "GearIn",             ParseSupportFlags("1110 0111 1111")},
    { 65, "GearOut",            ParseSupportFlags("1110 0111 1111")},
    { 66, "HallInp",            ParseSupportFlags("1111 1111 1111")},
    { 67, "HSInp1",             ParseSupportFlags("1111 1111 1111")},
    { 68, "HSInp1Pol",          ParseSupportFlags("0111 1111 1111")},
    { 69, "HSOT",               ParseSupportFlags("1111 1111 1111")},
    { 70, "HSTemp",             ParseSupportFlags("1111 1111 1111")},
    { 71, "HstSet",             ParseSupportFlags("1111 1111 1111")},
    { 72, "I2TF0",              ParseSupportFlags("1111 1111 1111")},
    { 73, "I2TTrip",            ParseSupportFlags("1111 1111 1111")},
    { 74, "IdCmd",              ParseSupportFlags("1111 1111 1111")},
    { 75, "IdFB",               ParseSupportFlags("1111 1111 1111")},
    { 76, "IFB",                ParseSupportFlags("1111 1111 1111")},
    { 77, "ILmtMinus",          ParseSupportFlags("1111 1111 1111")},
    { 78, "ILmtPlus",           ParseSupportFlags("1111 1111 1111")},
    { 79, "InhibitCCW",         ParseSupportFlags("1111 1111 1111")},
    { 80, "InhibitCW",          ParseSupportFlags("1111 1111 1111")},
    { 81, "ISPConfig",          ParseSupportFlags("0000 0111 1111")},
    { 82, "ISPEnable",          ParseSupportFlags("0000 0111 1111")},
    { 83, "ISPErase",           ParseSupportFlags("0000 0111 1111")},
    { 84, "ISPProgram",         ParseSupportFlags("0000 0111 1111")},
    { 85, "ISPVerify",          ParseSupportFlags("0000 0111 1111")},
    { 86, "ITF0",               ParseSupportFlags("1111 1111 1111")},
    { 87, "ITMode",             ParseSupportFlags("1111 1111 1111")},
    { 88, "IUOffset",           ParseSupportFlags("1111 1111 1111")},
    { 89, "IVOffset",           ParseSupportFlags("1111 1111 1111")},
    { 90, "KII",                ParseSupportFlags("1111 1111 1111")},
    { 91, "KIP",                ParseSupportFlags("1111 1111 1111")},
    { 92, "KPP",                ParseSupportFlags("1111 1111 1111")},
    { 93, "KVFF",               ParseSupportFlags("1111 1111 1111")},
    { 94, "KVI",                ParseSupportFlags("1111 1111 1111")},
    { 95, "KVP",                ParseSupportFlags("1111 1111 1111")},
    { 96, "LogicVer",           ParseSupportFlags("1111 1111 1111")},
    { 97, "Model",              ParseSupportFlags("1111 1111 1111")},
    { 98, "MSInp1",             ParseSupportFlags("1111 1111 1111")},
    { 99, "MTemp",              ParseSupportFlags("1111 1111 1111")},
    {100, "MTempLimit",         ParseSupportFlags("1111 1111 1111")},
    {101, "MTempLimitPol",      ParseSupportFlags("1111 1111 1111")},
    {102, "MTRAddress",         ParseSupportFlags("1111 1111 1111")},
    {103, "MTRData",            ParseSupportFlags("1111 1111 1111")},
    {104, "OpMode",             ParseSupportFlags("1111 1111 1111")},
    {105, "PosCmdSrc",          ParseSupportFlags("1111 1111 1111")},
    {106, "PosErrorMax",        ParseSupportFlags("0010 0111 1111")},
    {107, "PosFB",              ParseSupportFlags("1111 1111 1111")},
    {108, "PosFBMTrn",          ParseSupportFlags("1111 1111 1111")},
    {109, "PWMFreq",            ParseSupportFlags("1111 1111 1111")},
    {110, "PWMLo",              ParseSupportFlags("1111 1111 1111")},
    {111, "PWMMinus",           ParseSupportFlags("1111 1111 1111")},
    {112, "PWMPlus",            ParseSupportFlags("1111 1111 1111")},
    {113, "SelTRXParam",        ParseSupportFlags("1111 1111 1111")},
    {114, "SerialNum",          ParseSupportFlags("0111 1111 1111")},
    {115, "SetupS1",            ParseSupportFlags("1111 1111 1111")},
    {116, "SetupS2",            ParseSupportFlags("1111 1111 1111")},
    {117, "SetupS2-1",          ParseSupportFlags("1111 1111 1111")},
    {118, "SetupS2-2",          ParseSupportFlags("1111 1111 1111")},
    {119, "TRXDiag",            ParseSupportFlags("1111 1111 1111")},
    {120, "TRXDiagEnb",         ParseSupportFlags("1111 1111 1111")},
    {121, "TRXExtFaults",       ParseSupportFlags("1111 1111 1111")},
    {122, "TRXPosMT",           ParseSupportFlags("0111 1111 1111")},
    {123, "TRXRcv",             ParseSupportFlags("1111 1111 1111")},
    {124, "TRXRdy",             ParseSupportFlags("1111 1111 1111")},
    {125, "TRXSpan",            ParseSupportFlags("1111 1111 1111")},
    {126, "SixStep",            ParseSupportFlags("1111 1111 1111")},
    {127, "SWClrFlt",           ParseSupportFlags("0111 1111 1111")},
    {128, "SWEnable",           ParseSupportFlags("1111 1111 1111")},
    {129, "VBus",               ParseSupportFlags("1111 1111 1111")},
    {130, "VBusOV",             ParseSupportFlags("1111 1111 1111")},
    {131, "VBusRG",             ParseSupportFlags("1111 1111 1111")},
    {132, "VBusUV",             ParseSupportFlags("1111 1111 1111")},
    {133, "VelFB",              ParseSupportFlags("1111 1111 1111")},
    {134, "Velocity",           ParseSupportFlags("1111 1111 1111")},
    {135, "VerLW",              ParseSupportFlags("0111 1111 1111")},
    {136, "FbType",             ParseSupportFlags("0000 0000 1000")},
    {137, "FilterType",         ParseSupportFlags("0000 0000 1000")},
    { -1, nullptr,                ParseSupportFlags("0000 0000 0000")},
}};
// clang-format on

namespace {

constexpr bool IsBiquadSectionStart(std::string_view name) {
  return name.size() == 5 && name.substr(0, 2) == "BQ" && name.substr(3) == "B2";
}

// The catalogue rows in the order the support table lists them: a BiQuad
// section B2, K1, B1, K2 as K1, K2, B1, B2, the logic-4 variables moved last.
consteval std::array<std::size_t, kCatalogueVariableCount> SupportOrder() {
  constexpr auto catalogue = CatalogueRows();
  constexpr int32_t kLatestLogic = 4;
  std::array<std::size_t, kCatalogueVariableCount> order{};
  std::size_t next = 0;
  for (std::size_t row = 0; row < kCatalogueVariableCount; ++row) {
    if (catalogue[row].minLogicVersion == kLatestLogic) continue;
    if (IsBiquadSectionStart(catalogue[row].name)) {
      for (std::size_t offset : {1, 3, 2, 0}) order[next++] = row + offset;
      row += 3;
      continue;
    }
    order[next++] = row;
  }
  for (std::size_t row = 0; row < kCatalogueVariableCount; ++row) {
    if (catalogue[row].minLogicVersion == kLatestLogic) order[next++] = row;
  }
  if (next != order.size()) throw "a BiQuad section is cut short";
  return order;
}

// A missing, extra or moved name in the support table fails the build.
consteval bool KeyedToCatalogue() {
  constexpr auto catalogue = CatalogueRows();
  constexpr auto order = SupportOrder();
  for (std::size_t i = 0; i < order.size(); ++i) {
    if (kVersionSupportTable[i].name == nullptr) return false;
    if (std::string_view(kVersionSupportTable[i].name) != catalogue[order[i]].name) return false;
  }
  return kVersionSupportTable.back().name == nullptr;
}
static_assert(KeyedToCatalogue(), "the support table names the catalogue's variables in its order");

// clang-format off
constexpr std::string_view kExactVersions[] = {"2.0", "2.1", "S1.0", "S2.0", "3.0", "3.1", "3.2", "4.0"};  // flags 1-8
constexpr std::string_view kVersionFamilies[] = {"102.", "105.", "106."};                                // flags 9-11
// clang-format on

// The drive tools keep a version text in 12 bytes: 11 characters at most.
constexpr std::size_t kVersionTextRoom = 11;

}  // namespace

bool IsSupportedByVersion(std::string_view name, std::string_view versionText, int32_t logicVersion) {
  const auto row = std::find_if(kVersionSupportTable.begin(), kVersionSupportTable.end() - 1,
                                [&](const VersionSupportRow& r) { return name == r.name; });
  if (row == kVersionSupportTable.end() - 1) return false;
  if (logicVersion <= 2) return row->flags[0] != 0;
  const std::string text(versionText.substr(0, kVersionTextRoom));
  if (text.size() < 4) return false;
  // The last character is the build letter: "3.2K" is version 3.2.
  const std::string_view version(text.data(), text.size() - 1);
  for (std::size_t i = 0; i < std::size(kExactVersions); ++i) {
    if (version == kExactVersions[i]) return row->flags[1 + i] != 0;
  }
  for (std::size_t i = 0; i < std::size(kVersionFamilies); ++i) {
    if (version.substr(0, 4) == kVersionFamilies[i]) return row->flags[9 + i] != 0;
  }
  return true;
}

bool SupportsMitutoyoFeedback(std::string_view versionText) {
  const std::string text(versionText.substr(0, kVersionTextRoom));
  const std::size_t dot = text.find('.');
  if (dot == std::string::npos || std::atof(text.c_str()) < 3.2) return false;
  return dot + 2 < text.size() && text[dot + 2] >= 'J';
}

}  // namespace svodb
