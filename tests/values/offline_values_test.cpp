// Offline values and properties through the exports, on offline images and
// on node 0 against the virtual drive.
#include "values/offline_values.h"

#include <gtest/gtest.h>

#include <cmath>
#include <tuple>

#include "value_exports.h"

namespace svodb::testing {
namespace {

struct Properties {
  int32_t result = -1;
  int32_t code = -1;
  double minimum = NAN, maximum = NAN, defaultValue = NAN;
  std::string unit;
};

Properties Prop(const char* name) {
  Properties p;
  char unit[SVODB_UNIT_SIZE + 8];
  std::fill(std::begin(unit), std::end(unit), 'X');
  p.result = GetProp_SVODB(name, &p.code, &p.minimum, &p.maximum, &p.defaultValue, unit);
  if (p.result == 1) p.unit = unit;
  return p;
}

std::pair<int32_t, double> Get(const char* name) {
  double value = NAN;
  const int32_t result = GetVariable_SVODB(name, &value);
  return {result, value};
}

int32_t RawOf(const char* name, int32_t node) {
  int32_t raw = 0;
  api::Context().registers.GetRawValue(name, node, raw);
  return raw;
}

// The drive is in place but its port closed until a test opens it.
class OfflineValues : public ValueExports {
 protected:
  void SetUp() override {
    ExportTest::SetUp();
    drive_ = std::make_unique<sim::VirtualDrive>();
    Use(*drive_);
  }
  void OnNode(int32_t node, int32_t logicVersion) {
    ASSERT_EQ(SetNode_SVODB(node), 1);
    Db().nodes[static_cast<std::size_t>(node)].logicVersion = logicVersion;
  }
};

TEST_F(OfflineValues, PlainValuesAreTruncatedAndRangeChecked) {
  OnNode(1, 3);
  EXPECT_EQ(PutVariable_SVODB("Model", 29.9), 1);
  EXPECT_EQ(Db().nodes[1].modelCode, 29u);
  EXPECT_EQ(PutVariable_SVODB("CmdSrc", 2.7), 1);
  for (double refused : {3.0, double{NAN}, 1e12}) EXPECT_EQ(PutVariable_SVODB("CmdSrc", refused), 23);
  EXPECT_EQ(std::pair(RawOf("CmdSrc", 1), RawOf("CmdSrc", 2)), std::pair(2, 0));  // other images untouched
  EXPECT_EQ((std::array{Get("NoSuchVariable").first, Get("ExtFaults").first, Get("HSOT").first,
                        PutVariable_SVODB("HSOT", 50)}),
            (std::array{8, 21, 21, 21}));
  EXPECT_EQ(PutVariable_SVODB("OpMode", 0), 1);  // exactly spelt: the mode is derived again
  EXPECT_EQ(Db().nodes[1].mode, 0u);
  EXPECT_EQ(PutVariable_SVODB("opmode", 1), 1);  // the generic path: stored, not derived
  EXPECT_EQ(RawOf("OpMode", 1), 1);
  EXPECT_EQ(Db().nodes[1].mode, 0u);
  double value = 0;
  int32_t code = 0;
  char unit[SVODB_UNIT_SIZE];
  for (int32_t result :
       {GetVariable_SVODB(nullptr, &value), GetVariable_SVODB("KVP", nullptr), PutVariable_SVODB(nullptr, 1),
        GetProp_SVODB("KVP", &code, &value, &value, nullptr, unit)})
    EXPECT_EQ(result, 8);
}

// Mitutoyo feedback (AuxFBType 6) reads back only where the drive's version
// text offers it; elsewhere its AFBMitEn bit counts as set.
TEST_F(OfflineValues, AuxFbTypeMitutoyoNeedsALogicThatHasIt) {
  OnNode(1, 3);
  EXPECT_EQ(PutVariable_SVODB("AuxFBType", 6), 1);
  for (const auto& [version, type] :
       {std::pair{"3.2J", 6}, std::pair{"3.2A", 0}, std::pair{"32", 0}, std::pair{"4.0", 0}}) {
    Db().driveVersion = version;
    EXPECT_EQ(Get("AuxFBType"), std::pair(1, static_cast<double>(type))) << version;
  }
  EXPECT_EQ(PutVariable_SVODB("AuxFBType", 7), 22);
}

// One conversion-code dispatch for images and the drive: a current limit is
// read in the format of the node's logic version, whatever code the
// catalogue held before, and the reading changes neither the catalogue nor
// the register layout.
TEST_F(OfflineValues, CurrentLimitReadsInTheNodesFormatAndChangeNoState) {
  const std::tuple<int32_t, int32_t, bool, int32_t, int32_t, double> cases[] = {
      {1, 3, false, 1, 151, 100},                               // 151 steps are 100 %
      {2, 2, false, 44, 2, 2},                                  // a two-bit step
      {3, 3, false, 44, 0, 0},    {0, 0, false, 44, 151, 151},  // no drive: the oldest logic
      {0, 0, true, 1, 151, 100},                                // a drive of logic 4
  };
  LibraryContext ctx = api::Context();
  RegisterState& limit = *ctx.registers.FindRegister("ILmtPlus");
  VariableRecord& record = *ctx.db.catalogue.Find("ILmtPlus");
  for (const auto& [node, imageLogic, driveConnected, catalogueCode, raw, value] : cases) {
    SCOPED_TRACE(std::to_string(node) + " " + std::to_string(raw));
    if (driveConnected) {
      ASSERT_EQ(UsePort(1, 19200, 1, 0, 0, 0), 1);
    }
    OnNode(node, imageLogic);  // the node's layout is set here, not by the read
    const int32_t codec = limit.descriptor.codec;
    limit.raw[static_cast<std::size_t>(node)] = raw;
    record.conversionCode = catalogueCode;
    EXPECT_EQ(Get("ILmtPlus"), (std::pair<int32_t, double>(SVODB_OK, value)));
    EXPECT_EQ(std::pair(record.conversionCode, limit.descriptor.codec), std::pair(catalogueCode, codec));
  }
}

TEST_F(OfflineValues, PropertiesByConversionClassAndLogic) {
  // clang-format off
  const std::tuple<const char*, int32_t, int32_t, double, double, double, const char*> cases[] = {
      {"AuxFBType", 3, 3, 0, 6, 1, "  "},     {"CmdSrc", 3, 1, 0, 2, 0, "  "},
      {"DPoles", 3, 1, 0, 31, 3, " Poles"},   {"ILmtPlus", 2, 1, 0, 3, 3, nullptr},
      {"ILmtPlus", 3, 44, 0, 100, 100, " %"},
  };
  // clang-format on
  for (const auto& [name, logic, code, minimum, maximum, defaultValue, unit] : cases) {
    SCOPED_TRACE(std::string(name) + " " + std::to_string(logic));
    OnNode(3, logic);
    const Properties p = Prop(name);
    EXPECT_EQ(std::tuple(p.result, p.code, p.minimum, p.maximum, p.defaultValue),
              std::tuple(1, code, minimum, maximum, defaultValue));
    EXPECT_EQ(p.unit, unit != nullptr ? unit : p.unit);
  }
  // HSOT reports the limits of the heat-sink setting it is read from.
  const Properties hsot = Prop("HSOT"), hstSet = Prop("HstSet");
  EXPECT_EQ(std::tuple(hsot.result, hsot.code, hsot.unit), std::tuple(1, 51, std::string(" degrees C")));
  EXPECT_EQ(std::tuple(hsot.minimum, hsot.maximum, hsot.defaultValue),
            std::tuple(hstSet.minimum, hstSet.maximum, hstSet.defaultValue));
  EXPECT_EQ(Prop("NoSuchVariable").result, 8);
  const Properties gain = Prop("CmdGain");
  EXPECT_TRUE(gain.code == 601 && gain.minimum == -gain.maximum && gain.maximum > 0);
}

TEST_F(OfflineValues, NodeZeroPropertiesNeedTheDrive) {
  EXPECT_EQ(Prop("KVP").result, 99);       // no CmdSrc for the unit column
  EXPECT_EQ(Prop("CmdGain").result, 0);    // the drive's command state cannot be read
  EXPECT_EQ(Prop("ILmtPlus").result, 99);  // LogicVer counts as 0: two-bit steps, then no unit
  ASSERT_EQ(UsePort(1, 19200, 1, 0, 0, 0), 1);
  const Properties kvp = Prop("KVP"), limit = Prop("ILmtPlus");
  EXPECT_EQ(std::tuple(kvp.result, kvp.code, kvp.unit), std::tuple(1, 27, std::string(" Arms/rad/sec")));
  EXPECT_EQ(std::tuple(limit.code, limit.maximum), std::tuple(44, 100.0));
  // A command source of 3 on the drive is repaired to 2 by the query.
  drive_->SetFpgaByte(1, static_cast<uint8_t>(drive_->FpgaByte(1) | 0x30));  // CmdSrc bits 5-4 = 3
  EXPECT_EQ(Prop("CmdSrc").result, 1);
  EXPECT_EQ((drive_->FpgaByte(1) >> 4) & 3, 2);
}

}  // namespace
}  // namespace svodb::testing
