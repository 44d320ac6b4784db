// The value enumerations: the tables as the drive's tools list them, the
// table chosen per node, model and mode, the drive-dependent labels on node
// 0 against the virtual drive, and the exports as a C caller uses them.
#include "values/enumerations.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "api/export_fixture.h"
#include "api/global_state.h"
#include "catalog/parameter_database.h"
#include "drive/register_map.h"
#include "svodb/svodb.h"
#include "virtual_drive.h"
#include "virtual_platform.h"

namespace svodb::testing {
namespace {

using sim::DriveConfig;
using sim::Operation;
using sim::VirtualDrive;

// "value label|value label|..." in index order.
std::string Render(const EnumEntry* table) {
  std::string text;
  for (; !table->IsTerminator(); ++table) {
    if (!text.empty()) text += '|';
    text += std::to_string(table->value) + ' ' + table->displayLabel;
  }
  return text;
}

std::vector<const EnumEntry*> AllTables() {
  std::vector<const EnumEntry*> tables;
  for (const EnumBinding& binding : kPlainBindings) tables.push_back(binding.table.data());
  tables.push_back(kOpModeTable.data());
  for (std::size_t column = 0; column < kMonitorColumnCount; ++column) {
    for (uint32_t mode : {0u, 1u}) {
      tables.push_back(MonitorTable(Monitor::kDm1Map, column, mode));
      tables.push_back(MonitorTable(Monitor::kDm2Map, column, mode));
    }
  }
  return tables;
}

// An offline context: nothing here talks to a drive.
class EnumerationTables : public ::testing::Test {
 protected:
  LibraryContext Ctx() { return LibraryContext{db, registers, transport, platform}; }

  ParameterDatabase db;
  RegisterMap registers;
  NoTransport transport;
  sim::VirtualPlatform platform;
};

TEST_F(EnumerationTables, PlainTablesAsListedInTheirOrder) {
  struct Row {
    std::vector<const char*> names;
    std::string labels;
  };
  std::string dPoles;
  for (int i = 0; i < 32; ++i) dPoles += (i ? "|" : "") + std::to_string(i) + ' ' + std::to_string(2 * i);
  // clang-format off
  const Row rows[] = {
      {{"BatFDis", "AFBHallsDis", "AFBMitEn", "CmdInNullEnb"}, "0 Enable|1 Disable"},
      {{"CmdSrc"}, "0 Analog Input|1 PWM Input|2 Command Variable"},
      {{"CommMode"}, "0 SetupS2-2|1 TRX|2 6-Step|3 Brush"},
      {{"DInp1Pol", "DInp2Pol", "DInp3Pol", "DInp4Pol", "HSInp1Pol"}, "0 Normal|1 Invert"},
      {{"EncOut"}, "10 125|11 128|0 500|1 512|2 1000|3 1024|4 2000|5 2048|15 2500|6 4096|7 5000|8 8192|"
                   "9 10000|12 16384|13 20000|14 Programmable (32768)"},
      {{"EnInhibitCW", "EnInhibitCCW", "Enabled", "KII"}, "0 Off|1 On"},
      {{"FltDiag"}, "0 Off|1 Diagnostic blink code"},
      {{"ILmtMinus", "ILmtPlus"}, "0 0|1 33|2 67|3 100"},
      {{"ITMode"}, "0 IT trip faults drive|1 IT trip clamps current limits to IFIdBack"},
      {{"DPoles"}, dPoles},
      {{"SelTRXParam"}, "0 Drive|1 TRX"},
      {{"TRXSpan"}, "0 No Span|1 Span"},
      {{"PosCmdSrc"}, "0 AQuadB|1 Step-Dir"},
      {{"FltRstMode"}, "0 Edge|1 Level"},
      {{"FbType"}, "15 TRX|14 BiSS B|13 BiSS C|12 EnDat 2.2|11 Tamagawa"},
      {{"FilterType"}, "3 ARfx|2 BiQuad"},
      {{"DriveOK"}, "0 Fault|1 No Fault"},
      {{"DInp1", "DInp1 (EnbHWInp)", "EnbHWInp"}, "0 On|1 Off"},
      {{"EMUAI"}, "0 CH_A_Out- More Positive|1 CH_A_Out+ More Positive"},
      {{"EMUBI"}, "0 CH_B_Out- More Positive|1 CH_B_Out+ More Positive"},
      {{"ExtFaults"}, "0 No Extended Fault|1 TRX UART Parity Error|2 TRX UART Overrun Error|"
                      "3 TRX UART Framing Error|4 TRX Frame Timeout|5 TRX Transfer Incomplete|6 TRX CRC Error|"
                      "7 TRX Motor Data Timeout|8 Drive Over Temperature|9 Drive Under Temperature|"
                      "10 Drive Peak Current Overload|11 Drive Output Over Current|12 Option Card Present Timeout|"
                      "13 Option Card Watch Dog Timeout|14 Position Step Size Overflow|15 PosErr Overflow|"
                      "16 AuxFB Fault|17 TRX UART Overrun Error, More|18 TRX UART Framing Error, More|"
                      "19 TRX Frame Timeout, More|20 TRX Transfer Incomplete, More|21 TRX CRC Error, More|"
                      "22 TRX Motor Data Timeout, More|23 Drive Over Temp, More|24 Drive Under Temp, More|"
                      "25 Drive Short Circuit, More|26 Drive Output Over Current, More|"
                      "27 Option Card Read Timeout, More|28 Watch Dog Timeout, More|29 StepSize Overflow, More|"
                      "30 PosErr Overflow, More"},
      {{"FaultCode"}, "0 No Fault|1 Motor Over Temp|2 Drive Over/Under Temp|3 Drive I*t Too High|"
                      "4 Motor I*I*t Too High|5 Optional Battery Low|6 Bus Over Voltage|7 Bus Under Voltage|"
                      "8 Motor l-l or l-n Short|9 Output Over Current|10 Hall Fault|11 TRX Configuration Error|"
                      "12 J3 FB +5V Short Circuit*|13 TRX Motor Data Error|14 TRX Sensor Failure|15 TRX UART Error|"
                      "16 TRX Comm Error|17 Option Card Watch Dog Timeout|18 PosErr Too Large|19 Option Card Fault"},
      {{"FoldBack"}, "0 Not In Fold Back|1 Fold Back"},
      {{"HSInp1", "DInp2", "DInp2 (InhibitCW)", "InhibitCW", "DInp3", "DInp3 (InhibitCCW)", "InhibitCCW", "DInp4",
        "DInp4 (MSInp1)", "MSInp1"}, "0 Active|1 Inactive"},
      {{"Model"}, "30 X7101 240Vac 1.5/4.5Arms|31 X7102 240Vac 3/9Arms|28 X7103 240Vac 6/18Arms|"
                  "15 X7202 90Vdc  6/18Arms|14 X7201 90Vdc  3/9Arms|29 X7104 240Vac 12/30Arms|"
                  "27 X7105 240Vac  24/48Arms|26 X7106 240Vac  48/96Arms"},
      {{"PWMLo"}, "0 Base PWM Frequency|1 Half Base PWM Frequency"},
      {{"TRXExtFaults"}, "0 No Fault|1 TRX Sensor Error|2 No Fault|3 TRX Multi-turn Fault|4 No Fault|5 No Fault|"
                         "6 No Fault|7 No Fault"},
      {{"SetupS2-1"}, "0 Velocity|1 Torque/Current"},
      {{"SetupS2-2"}, "0 6-Step|1 TRX"},
      {{"SixStep"}, "0 Drive in TRX Mode|1 Drive in 6-Step Mode"},
      {{"SWClrFlt"}, "0 Not Clear|1 Clear"},
      {{"SWEnable", "AFBEnDatEnb"}, "0 Disable|1 Enable"},
      {{"AuxFBType"}, "0 Incremental A Quad B|1 Incremental A Quad B + Halls|2 1 Vpp Sin Cos Incremental|"
                      "3 1 Vpp Sin Cos Incremental + Halls|4 EnDat 2.1|5 EnDat 2.1 Linear|6 Mitutoyo"},
      {{"AuxFBMitFlt"}, "0 No Faults|1 Detected a CRC error on last data transfer|"
                        "2 Data transfer started but did not complete|4 UART frame error|8 UART over run error|"
                        "16 Data transfer did not start|32 Mitutoyo encoder reported a system error|"
                        "64 Mitutoyo reported a request error"},
      {{"AFBDivisorSrc"}, "0 AuxFBDivisor|1 AuxPPR"},
      {{"AFBSrc"}, "0 AQB|1 SCD"},
      {{"AuxFBEnDatFlt", "AuxFBPTCFlt", "AuxFBHallFlt", "AuxFBSCDFlt"}, "0 No Fault|1 Fault"},
      {{"EMUFunc"}, "0 DirAInDirBIn|1 DirAOutDirBIn|2 DirAInDirBOut|3 DirAOutDirBOut"},
      {{"MTempLimitPol"}, "0 Plus|1 Minus"},
      {{"FBSrc"}, "0 Base Unit Feedback|1 Option Card Feedback"},
      {{"TRXDiag", "TRXDiagEnb"}, "0 Normal|1 Diagnostic"},
      {{"EEFuncDone"}, "0 Incompleted|1 Done"},
      {{"TRXRcv"}, "0 No Received|1 Received"},
      {{"TRXRdy"}, "0 Not Ready|1 Ready"},
  };
  // clang-format on
  std::vector<std::string> listed;
  std::set<const EnumEntry*> distinctTables;
  const LibraryContext ctx = Ctx();
  for (const Row& row : rows) {
    for (const char* name : row.names) {
      listed.emplace_back(name);
      const EnumEntry* table = FindEnumTable(ctx, name, 1);
      ASSERT_NE(table, nullptr) << name;
      EXPECT_EQ(Render(table), row.labels) << name;
      EXPECT_EQ(table, FindEnumTable(ctx, row.names.front(), 1)) << name << " shares its row's table";
      distinctTables.insert(table);
    }
  }
  EXPECT_EQ(distinctTables.size(), std::size(rows));
  std::vector<std::string> bound;
  for (const EnumBinding& binding : kPlainBindings) bound.emplace_back(binding.name);
  EXPECT_EQ(bound, listed);
  EXPECT_EQ(Render(FindEnumTable(ctx, "OpMode", 1)), "0 Torque/Current|1 Velocity|2 SetupS2-1|3 Position");
}

TEST_F(EnumerationTables, EveryTableIsIndexedFromZeroWithUniqueValuesAndOneTerminator) {
  const std::vector<const EnumEntry*> tables = AllTables();
  ASSERT_EQ(tables.size(), 71u + 1u + 32u);
  for (std::size_t t = 0; t < tables.size(); ++t) {
    ASSERT_NE(tables[t], nullptr);
    std::set<int32_t> values;
    int32_t count = 0;
    for (const EnumEntry* entry = tables[t]; !entry->IsTerminator(); ++entry, ++count) {
      ASSERT_LT(count, 40) << "no terminator after " << tables[t]->displayLabel;
      EXPECT_EQ(entry->index, count) << entry->displayLabel;
      EXPECT_TRUE(values.insert(entry->value).second && entry->value >= 0) << entry->displayLabel;
      ASSERT_TRUE(entry->fileLabel != nullptr && entry->displayLabel != nullptr);
      EXPECT_TRUE(*entry->displayLabel != '\0' && std::strlen(entry->displayLabel) < kLabelSize);
      EXPECT_TRUE(*entry->fileLabel != '\0' && std::strlen(entry->fileLabel) < kLabelSize)
          << entry->fileLabel;
    }
    // The scan and the table's own extent agree: the terminator is last.
    if (t < kPlainBindingCount) {
      EXPECT_EQ(kPlainBindings[t].table.size(), static_cast<std::size_t>(count) + 1)
          << kPlainBindings[t].name;
    }
  }
  EXPECT_EQ(MonitorTable(Monitor::kDm1Map, kMonitorColumnCount, 0), nullptr);
}

TEST_F(EnumerationTables, FileLabelsTurnSpacesIntoUnderscoresExceptWhereListed) {
  // clang-format off
  const std::map<std::pair<std::string, int32_t>, std::string> exceptions = {
      {{"FilterType", 2}, "BIQuad"},
      {{"ExtFaults", 17}, "TRX_UART_Overrun_Error"},    {{"ExtFaults", 18}, "TRX_UART_Framing_Error"},
      {{"ExtFaults", 19}, "TRX_Frame_Timeout"},         {{"ExtFaults", 20}, "TRX_Transfer_Incomplete"},
      {{"ExtFaults", 21}, "CRC_Error"},                 {{"ExtFaults", 22}, "TRX_Motor_Data_Timeout"},
      {{"ExtFaults", 23}, "Drive_Over_Temp"},           {{"ExtFaults", 24}, "Drive_Under_Temp"},
      {{"ExtFaults", 25}, "Drive_Short_Circuit"},       {{"ExtFaults", 26}, "Drive_Output_Over_Current"},
      {{"ExtFaults", 27}, "Option_Card_Read_Timeout"},  {{"ExtFaults", 28}, "Watch_Dog_Timeout"},
      {{"ExtFaults", 29}, "StepSize_Overflow"},         {{"ExtFaults", 30}, "PosErr_Overflow"},
      {{"FaultCode", 19}, "Option Card Fault"},
      {{"Model", 15}, "X7202_90Vdc_6/18Arms"},          {{"Model", 14}, "X7201_90Vdc_3/9Arms"},
      {{"Model", 27}, "X7105_240Vac_24/48Arms"},        {{"Model", 26}, "X7106_240Vac_48/96Arms"},
      {{"SWClrFlt", 0}, "Not Clear"},
      {{"AuxFBType", 5}, "EnDat_2.1 Linear"},
      {{"AuxFBMitFlt", 0}, "NoFaults"},   {{"AuxFBMitFlt", 1}, "MitCRC"},      {{"AuxFBMitFlt", 2}, "MitTransIncomp"},
      {{"AuxFBMitFlt", 4}, "MitFE"},      {{"AuxFBMitFlt", 8}, "MitOR"},       {{"AuxFBMitFlt", 16}, "MitTimeout"},
      {{"AuxFBMitFlt", 32}, "MitSysErr"}, {{"AuxFBMitFlt", 64}, "MitRegErr"},
  };
  // clang-format on
  std::size_t used = 0;
  auto check = [&](const std::string& name, const EnumEntry* table) {
    for (; !table->IsTerminator(); ++table) {
      std::string rule = table->displayLabel;
      std::replace(rule.begin(), rule.end(), ' ', '_');
      const auto exception = exceptions.find({name, table->value});
      if (exception != exceptions.end()) ++used;
      EXPECT_EQ(table->fileLabel, exception == exceptions.end() ? rule : exception->second)
          << name << " " << table->value;
    }
  };
  for (const EnumBinding& binding : kPlainBindings) check(binding.name, binding.table.data());
  EXPECT_EQ(used, exceptions.size());
  const std::vector<const EnumEntry*> tables = AllTables();
  for (std::size_t i = kPlainBindingCount; i < tables.size(); ++i) check("", tables[i]);  // OpMode, monitors
}

// The model-dependent texts of the monitors; the rest is the same for all.
struct MonitorScaleRow {
  uint32_t model;
  std::string current, command, i2t, bus, phase, voltage;
};
// clang-format off
const MonitorScaleRow kScaleRows[] = {
    {29, "25.42", "20.33",  "643.68",    "380", "812", "134.5"},
    {28, "15.25", "15.25",  "231.7",     "380", "812", "134.5"},
    {31, "7.627", "7.627",  "57.93",     "380", "812", "134.5"},
    {30, "3.813", "3.813",  "14.48",     "380", "812", "134.5"},
    {15, "15.25", "15.25",  "231.7",     "95",  "203", "33.63"},
    {14, "7.627", "7.627",  "57.93",     "95",  "203", "33.63"},
    {27, "40.68", "40.656", "1647.82",   "380", "812", "134.5"},
    {26, "81.35", "81.312", "6591.2832", "380", "812", "134.5"},
};
// clang-format on

std::string Dm1(const MonitorScaleRow& r) {
  return "0 VelErr 286 RPM/V|1 PosFB 0.25 Rev/V|2 IdFB " + r.current + " Arms/V|3 VelFB 2288 RPM/V|" +
         "4 VelFB 9155 RPM/V|5 PosErr 0.0625 Rev/V|6 VdCmd " + r.voltage + " V/V|7 PosFB 244e-6 Rev/V";
}

std::string Dm2(const MonitorScaleRow& r, bool velocity) {
  return "0 VBus " + r.bus + " V/V|1 CmdIn " + (velocity ? "9155 RPM/V" : r.command + " Arms/V") + "|2 IFB " +
         r.current + " Arms/V|3 VelFB 1144 RPM/V|4 I2TFilt " + r.i2t + " A^2/V|5 VU " + r.phase + " V/V|" +
         "6 VqCmd " + r.voltage + " Vrms/V|7 ICmd " + r.current + " Arms/V";
}

TEST_F(EnumerationTables, MonitorLabelsFollowTheImagesModelAndMode) {
  for (const MonitorScaleRow& row : kScaleRows) {
    db.nodes[3].modelCode = row.model;
    for (uint32_t mode : {0u, 1u, 7u}) {
      db.nodes[3].mode = mode;
      EXPECT_EQ(Render(FindEnumTable(Ctx(), "DM1Map", 3)), Dm1(row)) << row.model << "/" << mode;
      EXPECT_EQ(Render(FindEnumTable(Ctx(), "DM2Map", 3)), Dm2(row, mode != 0)) << row.model << "/" << mode;
    }
  }
  EXPECT_EQ(kMonitorColumnModels, (std::array<uint32_t, 8>{29, 28, 31, 30, 15, 14, 27, 26}));
}

TEST_F(EnumerationTables, AnUnknownModelUsesColumnOneOrTheTorqueLabelsOfColumnSeven) {
  db.nodes[2].modelCode = 99;
  db.nodes[2].mode = 0;
  EXPECT_EQ(Render(FindEnumTable(Ctx(), "DM1Map", 2)), Dm1(kScaleRows[0]));
  EXPECT_EQ(Render(FindEnumTable(Ctx(), "DM2Map", 2)), Dm2(kScaleRows[0], false));
  db.nodes[2].mode = 1;
  EXPECT_EQ(Render(FindEnumTable(Ctx(), "DM1Map", 2)), Dm1(kScaleRows[6]));
  EXPECT_EQ(Render(FindEnumTable(Ctx(), "DM2Map", 2)), Dm2(kScaleRows[6], false));
}

TEST_F(EnumerationTables, NodeZeroTakesTheConnectedDrivesModelAndMode) {
  db.nodes[0].modelCode = 15;
  db.nodes[0].mode = 1;
  db.connectedModelCode = 26;
  db.connectedMode = 0;
  EXPECT_EQ(Render(FindEnumTable(Ctx(), "DM2Map", 0)), Dm2(kScaleRows[7], false));
  EXPECT_EQ(Render(FindEnumTable(Ctx(), "DM2Map", 9)), Dm2(kScaleRows[7], false)) << "beyond 6 is node 0";
  db.connectedMode = 1;
  EXPECT_EQ(Render(FindEnumTable(Ctx(), "DM2Map", 0)), Dm2(kScaleRows[7], true));
}

TEST_F(EnumerationTables, NamesAreMatchedWithCase) {
  for (const char* name : {"opmode", "OPMODE", "cmdsrc", "dm1map", "Dm2Map", "DInp1 (enbhwinp)",
                           "DInp1(EnbHWInp)", "EncOut ", "", "KVP"}) {
    EXPECT_EQ(FindEnumTable(Ctx(), name, 1), nullptr) << name;
  }
}

TEST_F(EnumerationTables, FileLabelsReadBackAsTheFirstEntryCarryingThem) {
  db.nodes[1].encoderOutputFlag = 1;
  LibraryContext ctx = Ctx();
  const std::map<std::pair<std::string, int32_t>, int32_t> sharedLabels = {
      {{"TRXExtFaults", 2}, 0}, {{"TRXExtFaults", 4}, 0}, {{"TRXExtFaults", 5}, 0}, {{"TRXExtFaults", 6}, 0},
      {{"TRXExtFaults", 7}, 0}, {{"ExtFaults", 17}, 2},   {{"ExtFaults", 18}, 3},   {{"ExtFaults", 19}, 4},
      {{"ExtFaults", 20}, 5},   {{"ExtFaults", 22}, 7},   {{"ExtFaults", 26}, 11},  {{"ExtFaults", 30}, 15},
  };
  for (const EnumBinding& binding : kPlainBindings) {
    for (const EnumEntry* entry = binding.table.data(); !entry->IsTerminator(); ++entry) {
      const auto label = ValueToFileLabel(ctx, binding.name, entry->value, 1);
      ASSERT_TRUE(label.has_value()) << binding.name << " " << entry->value;
      const auto shared = sharedLabels.find({binding.name, entry->value});
      EXPECT_EQ(FileLabelToValue(ctx, binding.name, *label, 1),
                shared == sharedLabels.end() ? entry->value : shared->second)
          << binding.name << " " << *label;
    }
  }
  EXPECT_EQ(FileLabelToValue(ctx, "FilterType", "BiQuad", 1), kNoEnumEntry);
  EXPECT_EQ(FileLabelToValue(ctx, "FilterType", "biquad", 1), kNoEnumEntry);
  EXPECT_EQ(FileLabelToValue(ctx, "Filtertype", "BIQuad", 1), kNoEnumTable);
  EXPECT_EQ(FileLabelToValue(ctx, "OpMode", "Torque/Current", 1), 0);
  EXPECT_EQ(ValueToFileLabel(ctx, "CmdSrc", 3, 1), std::nullopt);
  EXPECT_EQ(ValueToFileLabel(ctx, "cmdsrc", 1, 1), std::nullopt);
}

// ---------------------------------------------------------------- exports

std::string ValStr(const char* name, int32_t value) {
  char label[SVODB_COMPOSED_LABEL_SIZE] = "untouched";
  return GetValStr_SVODB(name, value, label) ? label : "false:" + std::string(label);
}

std::string IdxStr(const char* name, int32_t index) {
  char label[SVODB_COMPOSED_LABEL_SIZE] = "untouched";
  return GetIdxStr_SVODB(name, index, label) ? label : "false:" + std::string(label);
}

class EnumerationExports : public ExportTest {
 protected:
  explicit EnumerationExports(DriveConfig config = {}) : drive_(std::move(config)) {}
  void SetUp() override {
    ExportTest::SetUp();
    Use(drive_);
    ASSERT_EQ(UsePort(1, 19200, 1, 0, 0, 0), 1);
    drive_.Log().Clear();
  }
  void ReadVersionText() {
    char text[SVODB_ONLINE_TEXT_SIZE];
    ASSERT_EQ(GetStringOnline_SVODB("VerLW", 0, text), 1);
    drive_.Log().Clear();
  }
  void FailLogicVersionReads() { drive_.Faults().FailEveryCall(Operation::kGetVarFromFPGA, 0, 30); }
  std::vector<std::string> Traffic() const { return drive_.Log().Lines(); }
  static ParameterDatabase& Db() { return api::Context().db; }

  VirtualDrive drive_;
};

TEST_F(EnumerationExports, LookupsOnAnOfflineImage) {
  ASSERT_EQ(SetNode_SVODB(1), 1);
  // 77: the output is left as it was.
  struct Case {
    const char* name;
    int32_t key;
    int32_t index;  // GetValIdx_SVODB(name, key): result, output
    int32_t indexOut;
    int32_t value;  // GetIdxVal_SVODB(name, key): result, output
    int32_t valueOut;
  };
  // clang-format off
  const Case cases[] = {
      {"EncOut",      10,  0,  0, 7,  7},    {"EncOut",      8,  11, 11, 15, 15},
      {"EncOut",      15,  8,  8, 14, 14},   {"EncOut",      16, -2, 77, 2,  77},
      {"CmdSrc",      7,  -2, 77, 2,  77},   {"CmdSrc",      2,   2,  2, 2,  2},
      {"CmdSrc",      5,  -2, 77, 2,  77},   {"CmdSrc",      -1, -2, 77, 2,  77},
      {"KVP",         0,  -1, 77, -1, 77},   {"cmdsrc",      1,  -1, 77, -1, 77},
      {"FbType",      11,  4,  4, 2,  77},   {"FbType",      0,  -2, 77, 15, 15},
      {"OpMode",      3,   3,  3, 3,  3},    {"DM2Map",      7,   7,  7, 7,  7},
      {"AuxFBMitFlt", 64,  7,  7, 2,  77},   {"AuxFBMitFlt", 4,   3,  3, 8,  8},
  };
  // clang-format on
  for (const Case& c : cases) {
    int32_t out = 77;
    EXPECT_EQ(GetValIdx_SVODB(c.name, c.key, &out), c.index) << c.name << " " << c.key;
    EXPECT_EQ(out, c.indexOut) << c.name << " " << c.key;
    out = 77;
    EXPECT_EQ(GetIdxVal_SVODB(c.name, c.key, &out), c.value) << c.name << " " << c.key;
    EXPECT_EQ(out, c.valueOut) << c.name << " " << c.key;
  }

  EXPECT_EQ(ValStr("EncOut", 15), "2500");
  EXPECT_EQ(ValStr("opmode", 3), "false:untouched");
  EXPECT_EQ(ValStr("OpMode", 3), "Position");
  EXPECT_EQ(ValStr("FilterType", 2), "BiQuad");
  EXPECT_EQ(ValStr("TRXExtFaults", 2), "No Fault");
  EXPECT_EQ(ValStr("CmdSrc", 5), "false:untouched");
  EXPECT_EQ(ValStr("KVP", 0), "false:untouched");
  EXPECT_EQ(ValStr("DInp4 (MSInp1)", 1), "Inactive");
  EXPECT_EQ(IdxStr("FbType", 0), "TRX");
  EXPECT_EQ(IdxStr("FbType", 15), "false:untouched");
  EXPECT_EQ(IdxStr("Model", 6), "X7105 240Vac  24/48Arms");
  EXPECT_EQ(Traffic(), std::vector<std::string>{}) << "an image needs no drive";
}

TEST_F(EnumerationExports, NullPointersAreRefused) {
  char label[SVODB_LABEL_SIZE];
  int32_t out = 0;
  EXPECT_FALSE(GetValStr_SVODB(nullptr, 0, label));
  EXPECT_FALSE(GetValStr_SVODB("CmdSrc", 0, nullptr));
  EXPECT_FALSE(GetIdxStr_SVODB(nullptr, 0, label));
  EXPECT_FALSE(GetIdxStr_SVODB("CmdSrc", 0, nullptr));
  EXPECT_EQ(GetValIdx_SVODB(nullptr, 0, &out), -1);
  EXPECT_EQ(GetValIdx_SVODB("CmdSrc", 0, nullptr), -1);
  EXPECT_EQ(GetIdxVal_SVODB(nullptr, 0, &out), -1);
  EXPECT_EQ(GetIdxVal_SVODB("CmdSrc", 0, nullptr), -1);
}

TEST_F(EnumerationExports, ProgrammableEncoderOutputOfAnImageFollowsItsFlag) {
  ASSERT_EQ(SetNode_SVODB(4), 1);
  LibraryContext ctx = api::Context();
  EXPECT_EQ(ValStr("EncOut", 14), "32768");
  EXPECT_EQ(IdxStr("EncOut", 15), "32768");
  EXPECT_EQ(ValueToFileLabel(ctx, "EncOut", 14, 4), "32768");
  EXPECT_EQ(ValStr("EncOut", 13), "20000");
  Db().nodes[4].encoderOutputFlag = 1;
  EXPECT_EQ(ValStr("EncOut", 14), "Programmable (32768)");
  EXPECT_EQ(IdxStr("EncOut", 15), "Programmable (32768)");
  EXPECT_EQ(ValueToFileLabel(ctx, "EncOut", 14, 4), "Programmable_(32768)");
  EXPECT_EQ(ValueToFileLabel(ctx, "EncOut", 14, 5), "32768") << "the flag is the image's own";
  EXPECT_EQ(Traffic(), std::vector<std::string>{});
}

TEST_F(EnumerationExports, ProgrammableEncoderOutputOnNodeZeroAsksTheDrive) {
  LibraryContext ctx = api::Context();
  EXPECT_EQ(ValStr("EncOut", 14), "32768") << "no version text read yet";
  EXPECT_EQ(Traffic(),
            (std::vector<std::string>{"GetVarFromFPGA(30) -> 1 [4]", "GetVarFromFPGA(30) -> 1 [4]"}));
  ReadVersionText();  // "4.0A", logic 4: has EncOutPPR
  EXPECT_EQ(ValStr("EncOut", 14), "Programmable (32768)");
  EXPECT_EQ(IdxStr("EncOut", 15), "Programmable (32768)");
  EXPECT_EQ(ValueToFileLabel(ctx, "EncOut", 14, 0), "Programmable_(32768)");
  EXPECT_EQ(FileLabelToValue(ctx, "EncOut", "32768", 2), kNoEnumEntry) << "this drive has the entry";
  EXPECT_EQ(FileLabelToValue(ctx, "EncOut", "Programmable_(32768)", 2), 14);
  drive_.Log().Clear();
  EXPECT_EQ(ValStr("EncOut", 10), "125");
  EXPECT_EQ(FileLabelToValue(ctx, "EncOut", "125", 0), 10);
  EXPECT_EQ(Traffic(), std::vector<std::string>{}) << "only the programmable entry asks";

  FailLogicVersionReads();
  EXPECT_EQ(ValStr("EncOut", 14), "32768");
  EXPECT_EQ(IdxStr("EncOut", 15), "32768");
  EXPECT_EQ(ValueToFileLabel(ctx, "EncOut", 14, 0), "32768");
  EXPECT_EQ(FileLabelToValue(ctx, "EncOut", "32768", 3), 14) << "the connected drive decides for any node";
  Db().nodes[0].encoderOutputFlag = 1;
  EXPECT_EQ(ValStr("EncOut", 14), "32768") << "node 0 ignores the image flag";
}

class OlderDriveEnumerations : public EnumerationExports {
 protected:
  OlderDriveEnumerations() : EnumerationExports(DriveConfig{.logicVersion = 3, .versionText = "3.0A"}) {}
};

TEST_F(OlderDriveEnumerations, NoProgrammableEncoderOutputAndTheOldMotorShortLabel) {
  ReadVersionText();
  LibraryContext ctx = api::Context();
  EXPECT_EQ(ValStr("EncOut", 14), "32768");
  EXPECT_EQ(FileLabelToValue(ctx, "EncOut", "32768", 1), 14);
  EXPECT_EQ(FileLabelToValue(ctx, "EncOut", "32768 ", 1), kNoEnumEntry);
  EXPECT_EQ(ValStr("FaultCode", 8), "Motor l-l or l-n Short");
}

TEST_F(EnumerationExports, MotorShortFaultFromLogicFourOn) {
  EXPECT_EQ(ValStr("FaultCode", 8), "Motor or Regen Short or HW OT");
  EXPECT_FALSE(Traffic().empty()) << "read from the drive";
  EXPECT_EQ(IdxStr("FaultCode", 8), "Motor l-l or l-n Short") << "by index: the table's";
  LibraryContext ctx = api::Context();
  EXPECT_EQ(ValueToFileLabel(ctx, "FaultCode", 8, 0), "Motor_l-l_or_l-n_Short");
  EXPECT_EQ(ValStr("FaultCode", 9), "Output Over Current");
  ASSERT_EQ(SetNode_SVODB(1), 1);
  drive_.Log().Clear();
  EXPECT_EQ(ValStr("FaultCode", 8), "Motor l-l or l-n Short") << "an image";
  EXPECT_EQ(Traffic(), std::vector<std::string>{});
  ASSERT_EQ(SetNode_SVODB(0), 1);
  FailLogicVersionReads();
  EXPECT_EQ(ValStr("FaultCode", 8), "Motor l-l or l-n Short");
}

TEST_F(EnumerationExports, MitutoyoFaultBitsAreComposedOnNodeZeroOnly) {
  const std::string crc = "Detected a CRC error on last data transfer";
  const std::string incomplete = "Data transfer started but did not complete";
  const std::string all = crc + ";" + incomplete +
                          ";UART frame error;UART over run error;Data transfer did not start;"
                          "Mitutoyo encoder reported a system error;Mitutoyo reported a request error";
  EXPECT_EQ(all.size(), 225u);
  struct Case {
    int32_t value;
    std::string node0;
    std::string node1;
  };
  const Case cases[] = {
      {96, "Mitutoyo encoder reported a system error;Mitutoyo reported a request error", "false:untouched"},
      {3, crc + ";" + incomplete, "false:untouched"},
      {1, crc, crc},
      {0, "No Faults", "No Faults"},
      {-1, all, "false:untouched"},
      {127, all, "false:untouched"},
      {128, "", "false:untouched"},
      {INT_MIN, "", "false:untouched"},
      {0x41, crc + ";Mitutoyo reported a request error", "false:untouched"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(ValStr("AuxFBMitFlt", c.value), c.node0) << c.value;
    ASSERT_EQ(SetNode_SVODB(1), 1);
    EXPECT_EQ(ValStr("AuxFBMitFlt", c.value), c.node1) << c.value;
    ASSERT_EQ(SetNode_SVODB(0), 1);
  }
  EXPECT_EQ(IdxStr("AuxFBMitFlt", 8), "false:untouched") << "by index nothing is composed";
  LibraryContext ctx = api::Context();
  EXPECT_EQ(ValueToFileLabel(ctx, "AuxFBMitFlt", 3, 0), std::nullopt) << "nor in files";
}

TEST_F(EnumerationExports, MitutoyoFeedbackIsOfferedByTheDrivesVersionText) {
  const std::pair<const char*, bool> cases[] = {
      {"3.2J", true}, {"3.2I", false}, {"3.1K", false}, {"4.0A", false}, {"102.1K", true}, {"", false},
  };
  for (const auto& [text, offered] : cases) {
    Db().driveVersion = text;
    EXPECT_EQ(IdxStr("AuxFBType", 6), offered ? "Mitutoyo" : "false:untouched") << text;
    EXPECT_EQ(ValStr("AuxFBType", 6), "Mitutoyo") << text << ": by value always";
    EXPECT_EQ(IdxStr("AuxFBType", 5), "EnDat 2.1 Linear") << text;
  }
  ASSERT_EQ(SetNode_SVODB(6), 1);
  EXPECT_EQ(IdxStr("AuxFBType", 6), "Mitutoyo") << "an image may describe any drive";
}

class X7106Enumerations : public EnumerationExports {
 protected:
  X7106Enumerations() : EnumerationExports(DriveConfig{.modelCode = 26}) {}
};

TEST_F(X7106Enumerations, CommandMonitorFollowsTheConnectedDrivesMode) {
  int32_t model = 0;
  ASSERT_EQ(GetModelOnline_SVODB(&model), 1);
  ASSERT_EQ(model, 26);
  ASSERT_EQ(SetOpModeOnline_SVODB(0), 1);
  EXPECT_EQ(ValStr("DM2Map", 1), "CmdIn 81.312 Arms/V");
  EXPECT_EQ(IdxStr("DM2Map", 4), "I2TFilt 6591.2832 A^2/V");
  EXPECT_EQ(ValStr("DM1Map", 2), "IdFB 81.35 Arms/V");
  ASSERT_EQ(SetOpModeOnline_SVODB(1), 1);
  EXPECT_EQ(ValStr("DM2Map", 1), "CmdIn 9155 RPM/V");
  EXPECT_EQ(ValStr("DM2Map", 8), "false:untouched");
  ASSERT_EQ(SetNode_SVODB(1), 1);  // an image of the initial model 31 in torque mode
  EXPECT_EQ(ValStr("DM2Map", 1), "CmdIn 7.627 Arms/V");
}

// Every label through the C interface stays inside the documented buffer:
// every table, every model and mode, node 0 and an image.
TEST_F(EnumerationExports, EveryLabelFitsItsBuffer) {
  constexpr std::size_t kGuard = 32;
  constexpr char kGuardByte = 0x5A;
  FailLogicVersionReads();
  std::vector<std::string> names;
  for (const EnumBinding& binding : kPlainBindings) names.emplace_back(binding.name);
  names.insert(names.end(), {"OpMode", "DM1Map", "DM2Map"});
  auto fits = [&](bool found, const char* buffer, std::size_t size, const std::string& what) {
    EXPECT_TRUE(found) << what;
    for (std::size_t i = size; i < size + kGuard; ++i) ASSERT_EQ(buffer[i], kGuardByte) << what;
    EXPECT_LT(std::strlen(buffer), size) << what;
  };
  std::size_t checked = 0;
  for (uint32_t node : {0u, 1u}) {
    ASSERT_EQ(SetNode_SVODB(static_cast<int32_t>(node)), 1);
    for (uint32_t model : {30u, 31u, 28u, 15u, 14u, 29u, 27u, 26u, 99u}) {
      for (uint32_t mode : {0u, 1u}) {
        Db().connectedModelCode = Db().nodes[1].modelCode = model;
        Db().connectedMode = Db().nodes[1].mode = mode;
        for (const std::string& name : names) {
          const EnumEntry* table = FindEnumTable(api::Context(), name, node);
          for (const EnumEntry* entry = table; !entry->IsTerminator(); ++entry) {
            if (name == "AuxFBType" && entry->index == 6 && node == 0) continue;  // refused on this drive
            char buffer[SVODB_LABEL_SIZE + kGuard];
            std::memset(buffer, kGuardByte, sizeof buffer);
            fits(GetValStr_SVODB(name.c_str(), entry->value, buffer), buffer, SVODB_LABEL_SIZE,
                 name + " value");
            std::memset(buffer, kGuardByte, sizeof buffer);
            fits(GetIdxStr_SVODB(name.c_str(), entry->index, buffer), buffer, SVODB_LABEL_SIZE,
                 name + " index");
            ++checked;
          }
        }
      }
    }
  }
  EXPECT_EQ(checked, 2u * 9u * 2u * 288u - 9u * 2u);  // 288 entries in all, one refused on node 0
  ASSERT_EQ(SetNode_SVODB(0), 1);
  for (int32_t value : {-1, INT_MAX, INT_MIN, 3, 126, 127, 128, 255}) {
    char buffer[SVODB_COMPOSED_LABEL_SIZE + kGuard];
    std::memset(buffer, kGuardByte, sizeof buffer);
    fits(GetValStr_SVODB("AuxFBMitFlt", value, buffer), buffer, SVODB_COMPOSED_LABEL_SIZE,
         "AuxFBMitFlt " + std::to_string(value));
  }
}

}  // namespace
}  // namespace svodb::testing
