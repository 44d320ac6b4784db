// The value enumerations: the shape of every table, the table chosen per
// node, model and mode, the drive-dependent labels on node 0 against the
// virtual drive, and the exports as a C caller uses them.
#include "values/enumerations.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <functional>
#include <set>

#include "value_exports.h"
#include "virtual_platform.h"

namespace svodb::testing {
namespace {

using sim::DriveConfig;
using sim::Operation;

// "value label|value label|..." in index order.
std::string Render(const EnumEntry* table) {
  std::string text;
  for (; !table->IsTerminator(); ++table) {
    if (!text.empty()) text += '|';
    text += std::to_string(table->value) + ' ' + table->displayLabel;
  }
  return text;
}

std::string ValStr(const char* name, int32_t value) {
  char label[SVODB_COMPOSED_LABEL_SIZE] = "untouched";
  return GetValStr_SVODB(name, value, label) ? label : "false:" + std::string(label);
}

std::string IdxStr(const char* name, int32_t index) {
  char label[SVODB_COMPOSED_LABEL_SIZE] = "untouched";
  return GetIdxStr_SVODB(name, index, label) ? label : "false:" + std::string(label);
}

TEST(EnumerationTables, EveryTableIsIndexedFromZeroWithUniqueValuesAndOneTerminator) {
  std::vector<const EnumEntry*> tables{kOpModeTable.data()};
  for (const EnumBinding& binding : kPlainBindings) tables.push_back(binding.table.data());
  for (std::size_t column = 0; column < kMonitorColumnCount; ++column)
    for (uint32_t mode : {0u, 1u})
      for (Monitor monitor : {Monitor::kDm1Map, Monitor::kDm2Map})
        tables.push_back(MonitorTable(monitor, column, mode));
  ASSERT_EQ(tables.size(), 71u + 1u + 32u);
  for (const EnumEntry* table : tables) {
    ASSERT_NE(table, nullptr);
    std::set<int32_t> values;
    int32_t count = 0;
    for (const EnumEntry* entry = table; !entry->IsTerminator(); ++entry, ++count) {
      ASSERT_LT(count, 40) << "no terminator after " << table->displayLabel;
      EXPECT_EQ(entry->index, count) << entry->displayLabel;
      EXPECT_TRUE(values.insert(entry->value).second && entry->value >= 0) << entry->displayLabel;
      EXPECT_TRUE(*entry->displayLabel != '\0' && std::strlen(entry->displayLabel) < kLabelSize);
      EXPECT_TRUE(*entry->fileLabel != '\0' && std::strlen(entry->fileLabel) < kLabelSize);
    }
  }
  EXPECT_EQ(MonitorTable(Monitor::kDm1Map, kMonitorColumnCount, 0), nullptr);
}

class EnumerationExports : public ValueExports {
 protected:
  void ReadVersionText() {
    char text[SVODB_ONLINE_TEXT_SIZE];
    ASSERT_EQ(GetStringOnline_SVODB("VerLW", 0, text), 1);
  }
  void FailLogicVersionReads() { drive_->Faults().FailEveryCall(Operation::kGetVarFromFPGA, 0, 30); }
};

// Tables are found by their exact name and shared among aliases. A model
// outside the monitor columns takes column one in torque mode and column
// seven's torque labels in velocity mode; node 0, and any node beyond the
// images, takes the connected drive's.
TEST_F(EnumerationExports, TablesByNameNodeModelAndMode) {
  LibraryContext ctx = api::Context();
  ParameterDatabase& db = Db();
  // FbType lists its values from the highest down: index order is not value order.
  EXPECT_EQ(Render(FindEnumTable(ctx, "FbType", 1)).substr(0, 13), "15 TRX|14 BiS");
  EXPECT_EQ(FindEnumTable(ctx, "OpMode", 1), kOpModeTable.data());
  EXPECT_EQ(FindEnumTable(ctx, "DInp1 (EnbHWInp)", 1), FindEnumTable(ctx, "EnbHWInp", 1));
  EXPECT_EQ(FindEnumTable(ctx, "KII", 1), FindEnumTable(ctx, "Enabled", 1));
  for (const char* name : {"opmode", "cmdsrc", "Dm2Map", "DInp1(EnbHWInp)", "EncOut ", "", "KVP"})
    EXPECT_EQ(FindEnumTable(ctx, name, 1), nullptr) << name;
  EXPECT_EQ(ValueToFileLabel(ctx, "cmdsrc", 1, 1), std::nullopt);
  EXPECT_EQ(FileLabelToValue(ctx, "Filtertype", "BIQuad", 1), kNoEnumTable);

  db.nodes[3].modelCode = 99;
  EXPECT_NE(Render(FindEnumTable(ctx, "DM1Map", 3)).find("2 IdFB 25.42 Arms/V"), std::string::npos);
  db.nodes[3].mode = 1;
  EXPECT_NE(Render(FindEnumTable(ctx, "DM2Map", 3)).find("1 CmdIn 40.656 Arms/V"), std::string::npos);
  db.connectedModelCode = 26;
  db.connectedMode = 1;
  for (uint32_t node : {0u, 9u})
    EXPECT_NE(Render(FindEnumTable(ctx, "DM1Map", node)).find("2 IdFB 81.35"), std::string::npos) << node;
}

TEST_F(EnumerationExports, LookupsOnAnOfflineImage) {
  ASSERT_EQ(SetNode_SVODB(1), 1);
  // Name, key, then index and its output for the value, value and its output for the index.
  // clang-format off
  const std::tuple<const char*, int32_t, int32_t, int32_t, int32_t, int32_t> cases[] = {
      {"EncOut", 10,  0,  0, 7,  7},     {"EncOut", 15,  8,  8, 14, 14},  {"EncOut", 16, -2, 77, 2,  77},
      {"CmdSrc", 2,   2,  2, 2,  2},     {"CmdSrc", -1, -2, 77, 2,  77},  {"KVP",    0,  -1, 77, -1, 77},
      {"cmdsrc", 1,  -1, 77, -1, 77},    {"FbType", 11,  4,  4, 2,  77},  {"FbType", 0,  -2, 77, 15, 15},
      {"OpMode", 3,   3,  3, 3,  3},     {"DM2Map", 7,   7,  7, 7,  7},   {"AuxFBMitFlt", 64, 7, 7, 2, 77},
  };
  // clang-format on
  for (const auto& [name, key, index, indexOut, value, valueOut] : cases) {
    SCOPED_TRACE(std::string(name) + " " + std::to_string(key));
    std::pair<int32_t, int32_t> out{77, 77};
    EXPECT_EQ(GetValIdx_SVODB(name, key, &out.first), index);
    EXPECT_EQ(GetIdxVal_SVODB(name, key, &out.second), value);
    EXPECT_EQ(out, std::pair(indexOut, valueOut));
  }
  // clang-format off
  const std::pair<std::string, std::string> labels[] = {
      {ValStr("EncOut", 15), "2500"},           {ValStr("opmode", 3), "false:untouched"},
      {ValStr("OpMode", 3), "Position"},        {ValStr("CmdSrc", 5), "false:untouched"},
      {ValStr("KVP", 0), "false:untouched"},    {ValStr("DInp4 (MSInp1)", 1), "Inactive"},
      {IdxStr("FbType", 0), "TRX"},             {IdxStr("FbType", 15), "false:untouched"},
      {IdxStr("Model", 6), "X7105 240Vac  24/48Arms"},
  };
  // clang-format on
  for (const auto& [actual, expected] : labels) EXPECT_EQ(actual, expected);
  EXPECT_EQ(Traffic(), Lines{}) << "an image needs no drive";

  char label[SVODB_LABEL_SIZE];
  int32_t out = 0;
  EXPECT_FALSE(GetValStr_SVODB(nullptr, 0, label) || GetValStr_SVODB("CmdSrc", 0, nullptr));
  EXPECT_FALSE(GetIdxStr_SVODB(nullptr, 0, label) || GetIdxStr_SVODB("CmdSrc", 0, nullptr));
  for (int32_t result : {GetValIdx_SVODB(nullptr, 0, &out), GetValIdx_SVODB("CmdSrc", 0, nullptr),
                         GetIdxVal_SVODB(nullptr, 0, &out), GetIdxVal_SVODB("CmdSrc", 0, nullptr)})
    EXPECT_EQ(result, -1);
}

TEST_F(EnumerationExports, ProgrammableEncoderOutputFollowsTheImageFlagOrTheDrive) {
  LibraryContext ctx = api::Context();
  ASSERT_EQ(SetNode_SVODB(4), 1);
  EXPECT_EQ(ValStr("EncOut", 14), "32768");
  Db().nodes[4].encoderOutputFlag = 1;
  EXPECT_EQ(IdxStr("EncOut", 15), "Programmable (32768)");
  EXPECT_EQ(ValueToFileLabel(ctx, "EncOut", 14, 4), "Programmable_(32768)");
  EXPECT_EQ(ValueToFileLabel(ctx, "EncOut", 14, 5), "32768") << "the flag is the image's own";
  EXPECT_EQ(Traffic(), Lines{});

  ASSERT_EQ(SetNode_SVODB(0), 1);
  Take();
  EXPECT_EQ(ValStr("EncOut", 14), "32768") << "no version text read yet";
  EXPECT_EQ(Take(), (Lines{"GetVarFromFPGA(30) -> 1 [4]", "GetVarFromFPGA(30) -> 1 [4]"}));
  ReadVersionText();  // "4.0A", logic 4: has EncOutPPR
  EXPECT_EQ(ValStr("EncOut", 14), "Programmable (32768)");
  EXPECT_EQ(FileLabelToValue(ctx, "EncOut", "32768", 2), kNoEnumEntry) << "this drive has the entry";
  EXPECT_EQ(FileLabelToValue(ctx, "EncOut", "Programmable_(32768)", 2), 14);
  Take();
  EXPECT_EQ(ValStr("EncOut", 10), "125");
  EXPECT_EQ(Traffic(), Lines{}) << "only the programmable entry asks";
  FailLogicVersionReads();
  EXPECT_EQ(ValStr("EncOut", 14), "32768");
  EXPECT_EQ(FileLabelToValue(ctx, "EncOut", "32768", 3), 14) << "the connected drive decides for any node";
}

TEST_F(EnumerationExports, MotorShortFaultFromLogicFourOnNodeZeroOnly) {
  LibraryContext ctx = api::Context();
  EXPECT_EQ(ValStr("FaultCode", 8), "Motor or Regen Short or HW OT");
  EXPECT_EQ(IdxStr("FaultCode", 8), "Motor l-l or l-n Short") << "by index: the table's";
  EXPECT_EQ(ValueToFileLabel(ctx, "FaultCode", 8, 0), "Motor_l-l_or_l-n_Short");
  ASSERT_EQ(SetNode_SVODB(1), 1);
  EXPECT_EQ(ValStr("FaultCode", 8), "Motor l-l or l-n Short") << "an image";
  ASSERT_EQ(SetNode_SVODB(0), 1);
  FailLogicVersionReads();
  EXPECT_EQ(ValStr("FaultCode", 8), "Motor l-l or l-n Short");

  // A drive of logic 3 has neither the new label nor the programmable
  // encoder output.
  Connect(DriveConfig{.logicVersion = 3, .versionText = "3.0A"});
  ReadVersionText();
  LibraryContext older = api::Context();
  EXPECT_EQ(ValStr("FaultCode", 8), "Motor l-l or l-n Short");
  EXPECT_EQ(ValStr("EncOut", 14), "32768");
  EXPECT_EQ(FileLabelToValue(older, "EncOut", "32768", 1), 14);
}

TEST_F(EnumerationExports, MitutoyoFaultBitsAreComposedOnNodeZeroOnly) {
  const std::string crc = "Detected a CRC error on last data transfer";
  const std::string all = crc +
                          ";Data transfer started but did not complete;UART frame error;UART over run error;"
                          "Data transfer did not start;Mitutoyo encoder reported a system error;"
                          "Mitutoyo reported a request error";
  // clang-format off
  const std::pair<int32_t, std::string> cases[] = {
      {0x41, crc + ";Mitutoyo reported a request error"}, {0, "No Faults"},
      {-1, all}, {127, all}, {128, ""}, {INT_MIN, ""},
  };
  // clang-format on
  for (const auto& [value, label] : cases) EXPECT_EQ(ValStr("AuxFBMitFlt", value), label) << value;
  ASSERT_EQ(SetNode_SVODB(1), 1);
  EXPECT_EQ(ValStr("AuxFBMitFlt", 1), crc);
  EXPECT_EQ(ValStr("AuxFBMitFlt", 3), "false:untouched") << "an image composes nothing";
  ASSERT_EQ(SetNode_SVODB(0), 1);
  EXPECT_EQ(IdxStr("AuxFBMitFlt", 8), "false:untouched") << "by index nothing is composed";
  LibraryContext ctx = api::Context();
  EXPECT_EQ(ValueToFileLabel(ctx, "AuxFBMitFlt", 3, 0), std::nullopt) << "nor in files";

  // Mitutoyo feedback itself is offered by the drive's version text.
  for (const auto& [text, offered] : {std::pair{"3.2J", true}, std::pair{"3.2I", false},
                                      std::pair{"3.1K", false}, std::pair{"102.1K", true}}) {
    Db().driveVersion = text;
    EXPECT_EQ(IdxStr("AuxFBType", 6), offered ? "Mitutoyo" : "false:untouched") << text;
    EXPECT_EQ(ValStr("AuxFBType", 6), "Mitutoyo") << text << ": by value always";
  }
  ASSERT_EQ(SetNode_SVODB(6), 1);
  EXPECT_EQ(IdxStr("AuxFBType", 6), "Mitutoyo") << "an image may describe any drive";
}

// Labels through the C interface stay inside the documented buffer: the
// composed fault labels on node 0 in theirs, every other label (the tables'
// own lengths are measured above) in the plain one.
TEST_F(EnumerationExports, EveryLabelFitsItsBuffer) {
  constexpr std::size_t kGuard = 32;
  const auto fits = [&](const std::function<int32_t(char*)>& call, std::size_t size,
                        const std::string& what) {
    char buffer[SVODB_COMPOSED_LABEL_SIZE + kGuard];
    std::memset(buffer, 0x5A, sizeof buffer);
    EXPECT_TRUE(call(buffer)) << what;
    for (std::size_t i = size; i < size + kGuard; ++i) ASSERT_EQ(buffer[i], 0x5A) << what;
    EXPECT_LT(std::strlen(buffer), size) << what;
  };
  for (int32_t value : {-1, INT_MAX, INT_MIN, 127, 128})
    fits([&](char* b) { return GetValStr_SVODB("AuxFBMitFlt", value, b); }, SVODB_COMPOSED_LABEL_SIZE,
         "composed");
  fits([](char* b) { return GetIdxStr_SVODB("Model", 6, b); }, SVODB_LABEL_SIZE, "Model");
  Db().nodes[1].encoderOutputFlag = 1;
  ASSERT_EQ(SetNode_SVODB(1), 1);
  fits([](char* b) { return GetValStr_SVODB("AuxFBMitFlt", 64, b); }, SVODB_LABEL_SIZE, "an image's");
  fits([](char* b) { return GetValStr_SVODB("EncOut", 14, b); }, SVODB_LABEL_SIZE, "programmable");
}

}  // namespace
}  // namespace svodb::testing
