// Offline values and properties through the exports, on offline images and
// on node 0 against the virtual drive.
#include "values/offline_values.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <utility>

#include "api/export_fixture.h"
#include "catalog/parameter_database.h"
#include "drive/register_map.h"
#include "svodb/svodb.h"
#include "virtual_drive.h"

namespace svodb::testing {
namespace {

using sim::DriveConfig;
using sim::VirtualDrive;

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

double Get(const char* name, int32_t* result = nullptr) {
  double value = NAN;
  const int32_t code = GetVariable_SVODB(name, &value);
  if (result != nullptr) *result = code;
  return value;
}

int32_t RawOf(const char* name, int32_t node) {
  int32_t raw = 0;
  api::Context().registers.GetRawValue(name, node, raw);
  return raw;
}

class OfflineValues : public ExportTest {
 protected:
  void SetUp() override {
    ExportTest::SetUp();
    Use(drive_);
  }
  void OnNode(int32_t node, int32_t logicVersion) {
    ASSERT_EQ(SetNode_SVODB(node), 1);
    api::Context().db.nodes[static_cast<std::size_t>(node)].logicVersion = logicVersion;
  }
  VirtualDrive drive_;
};

TEST_F(OfflineValues, PlainValuesAreTruncatedAndRangeChecked) {
  OnNode(1, 3);
  EXPECT_EQ(PutVariable_SVODB("Model", 29.9), 1);
  EXPECT_EQ(api::Context().db.nodes[1].modelCode, 29u);
  EXPECT_EQ(PutVariable_SVODB("CmdSrc", 2.7), 1);
  for (double refused : {3.0, double{NAN}, 1e12}) EXPECT_EQ(PutVariable_SVODB("CmdSrc", refused), 23);
  EXPECT_EQ(RawOf("CmdSrc", 1), 2);
  EXPECT_EQ(RawOf("CmdSrc", 2), 0);  // other images untouched
  for (const auto& [name, expected] :
       {std::pair{"NoSuchVariable", 8}, std::pair{"ExtFaults", 21}, std::pair{"HSOT", 21}}) {
    int32_t result = 0;
    Get(name, &result);
    EXPECT_EQ(result, expected) << name;
  }
  EXPECT_EQ(PutVariable_SVODB("HSOT", 50), 21);
  EXPECT_EQ(PutVariable_SVODB("OpMode", 0), 1);  // exactly spelt: the mode is derived again
  EXPECT_EQ(api::Context().db.nodes[1].mode, 0u);
  EXPECT_EQ(PutVariable_SVODB("opmode", 1), 1);  // the generic path: stored, not derived
  EXPECT_EQ(RawOf("OpMode", 1), 1);
  EXPECT_EQ(api::Context().db.nodes[1].mode, 0u);
}

TEST_F(OfflineValues, AuxFbTypeMitutoyoNeedsALogicThatHasIt) {
  OnNode(1, 3);
  EXPECT_EQ(PutVariable_SVODB("AuxFBType", 6), 1);
  EXPECT_EQ(RawOf("AFBMitEn", 1), 0);
  EXPECT_EQ(RawOf("AFBHallsDis", 1), 1);
  EXPECT_EQ(RawOf("AFBDivisorSrc", 1) + RawOf("AFBEnDatEnb", 1) + RawOf("AFBSrc", 1), 0);
  api::Context().db.driveVersion = "3.2J";
  EXPECT_EQ(Get("AuxFBType"), 6);
  for (const char* version : {"3.2A", "3.1Z", "32", "", "4.0"}) {
    api::Context().db.driveVersion = version;
    EXPECT_EQ(Get("AuxFBType"), 0) << version;  // the AFBMitEn bit counts as set
  }
  EXPECT_EQ(PutVariable_SVODB("AuxFBType", 7), 22);
}

TEST_F(OfflineValues, CommandGainKeepsTheOffset) {
  OnNode(1, 3);
  const double offset = Get("CmdOffset");
  const int32_t plus = RawOf("PWMPlus", 1), minus = RawOf("PWMMinus", 1);
  EXPECT_EQ(PutVariable_SVODB("CmdGain", 2 * Get("CmdGain")), 1);
  EXPECT_NE(RawOf("PWMPlus", 1), plus);
  EXPECT_NE(RawOf("PWMMinus", 1), minus);
  EXPECT_NEAR(Get("CmdOffset"), offset, 0.01);  // the counts round
}

TEST_F(OfflineValues, CurrentLimitPropertiesFollowTheNodesLogic) {
  OnNode(3, 2);
  Properties p = Prop("ILmtPlus");
  EXPECT_EQ(p.result, 1);
  EXPECT_EQ(p.code, 1);
  EXPECT_EQ(p.minimum, 0);
  EXPECT_EQ(p.maximum, 3);
  EXPECT_EQ(p.defaultValue, 3);
  OnNode(3, 3);
  p = Prop("ILmtPlus");
  EXPECT_EQ(p.code, 44);
  EXPECT_EQ(p.maximum, 100);
  EXPECT_EQ(p.defaultValue, 100);
  EXPECT_EQ(p.unit, " %");
}

// Reads on images of different logic each take their own form of a current
// limit; the catalogue and the register layout stay as they were.
TEST_F(OfflineValues, CurrentLimitReadsChangeNoState) {
  LibraryContext ctx = api::Context();
  const RegisterDescriptor layout = ctx.registers.FindRegister("ILmtPlus")->descriptor;
  const struct {
    uint32_t node;
    int32_t logic, raw;
    double value;
  } cases[] = {{2, 2, 2, 2}, {3, 3, 151, 100}, {2, 2, 2, 2}, {3, 3, 0, 0}};
  for (const auto& c : cases) {
    ctx.db.nodes[c.node].logicVersion = c.logic;
    ctx.registers.FindRegister("ILmtPlus")->raw[c.node] = c.raw;
    double value = NAN;
    EXPECT_EQ(GetOfflineValue(ctx, "ILmtPlus", c.node, value), 1);
    EXPECT_EQ(value, c.value) << c.node;
    EXPECT_EQ(ctx.db.catalogue.Find("ILmtPlus")->conversionCode, 44);
    EXPECT_EQ(ctx.registers.FindRegister("ILmtPlus")->descriptor.codec, layout.codec);
  }
}

TEST_F(OfflineValues, PropertiesByConversionClass) {
  OnNode(1, 3);
  struct Case {
    const char* name;
    int32_t code;
    double minimum, maximum, defaultValue;
    const char* unit;
  };
  const Case cases[] = {
      {"AuxFBType", 3, 0, 6, 1, "  "},
      {"CmdSrc", 1, 0, 2, 0, "  "},
      {"DPoles", 1, 0, 31, 3, " Poles"},
  };
  for (const Case& c : cases) {
    const Properties p = Prop(c.name);
    EXPECT_EQ(p.result, 1) << c.name;
    EXPECT_EQ(p.code, c.code) << c.name;
    EXPECT_EQ(p.minimum, c.minimum) << c.name;
    EXPECT_EQ(p.maximum, c.maximum) << c.name;
    EXPECT_EQ(p.defaultValue, c.defaultValue) << c.name;
    EXPECT_EQ(p.unit, c.unit) << c.name;
  }
  // HSOT reports the limits of the heat-sink setting it is read from.
  const Properties hsot = Prop("HSOT"), hstSet = Prop("HstSet");
  EXPECT_EQ(hsot.code, 51);
  EXPECT_EQ(hsot.unit, " degrees C");
  EXPECT_EQ(hsot.minimum, hstSet.minimum);
  EXPECT_EQ(hsot.maximum, hstSet.maximum);
  EXPECT_EQ(hsot.defaultValue, hstSet.defaultValue);
  EXPECT_EQ(Prop("NoSuchVariable").result, 8);
  const Properties gain = Prop("CmdGain");
  EXPECT_EQ(gain.code, 601);
  EXPECT_EQ(gain.minimum, -gain.maximum);
  EXPECT_GT(gain.maximum, 0);
}

TEST_F(OfflineValues, NodeZeroPropertiesNeedTheDrive) {
  EXPECT_EQ(Prop("KVP").result, 99);       // no CmdSrc for the unit column
  EXPECT_EQ(Prop("CmdGain").result, 0);    // the drive's command state cannot be read
  EXPECT_EQ(Prop("ILmtPlus").result, 99);  // LogicVer counts as 0: two-bit steps, then no unit
  ASSERT_EQ(UsePort(1, 19200, 1, 0, 0, 0), 1);
  const Properties kvp = Prop("KVP");
  EXPECT_EQ(kvp.result, 1);
  EXPECT_EQ(kvp.code, 27);
  EXPECT_EQ(kvp.unit, " Arms/rad/sec");
  const Properties limit = Prop("ILmtPlus");
  EXPECT_EQ(limit.code, 44);
  EXPECT_EQ(limit.maximum, 100);
}

TEST_F(OfflineValues, NodeZeroRepairsACommandSourceOfThree) {
  ASSERT_EQ(UsePort(1, 19200, 1, 0, 0, 0), 1);
  drive_.SetFpgaByte(1, static_cast<uint8_t>((drive_.FpgaByte(1) & ~0x30) | 0x30));  // CmdSrc bits 5-4 = 3
  EXPECT_EQ(Prop("CmdSrc").result, 1);
  EXPECT_EQ((drive_.FpgaByte(1) >> 4) & 3, 2);
}

TEST_F(OfflineValues, NullPointersAreRefused) {
  double value = 0;
  int32_t code = 0;
  char unit[SVODB_UNIT_SIZE];
  for (int32_t result :
       {GetVariable_SVODB(nullptr, &value), GetVariable_SVODB("KVP", nullptr), PutVariable_SVODB(nullptr, 1),
        GetProp_SVODB("KVP", &code, &value, &value, nullptr, unit)})
    EXPECT_EQ(result, 8);
}

}  // namespace
}  // namespace svodb::testing
