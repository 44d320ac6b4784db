// The connection, node and raw exports, and the catalogue queries that
// consult the drive, against the virtual drive.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "api/export_fixture.h"
#include "catalog/parameter_database.h"
#include "drive/register_map.h"
#include "svodb/svodb.h"
#include "virtual_drive.h"

namespace svodb::testing {
namespace {

using sim::DriveConfig;
using sim::Operation;
using sim::VirtualDrive;

class DriveExports : public ExportTest {
 protected:
  explicit DriveExports(DriveConfig config = {}) : drive_(std::move(config)) {}
  void SetUp() override {
    ExportTest::SetUp();
    Use(drive_);
  }
  void OpenSerial() {
    ASSERT_EQ(UsePort(1, 19200, 1, 0, 0, 0), 1);
    drive_.Log().Clear();
  }
  void OpenNetwork() {
    ASSERT_EQ(UsePort(1, 19200, 2, 0, 0, 0), 1);
    drive_.Log().Clear();
  }
  std::vector<std::string> Traffic() const { return drive_.Log().Lines(); }
  uint32_t DriveTypeOfNode0() { return api::Context().db.nodes[0].driveType; }
  uint32_t CurrentLimitWidth() { return api::Context().registers.FindRegister("ILmtPlus")->descriptor.bitWidth; }

  VirtualDrive drive_;
};

TEST_F(DriveExports, UsePortOpensTheConnectionOfItsType) {
  EXPECT_EQ(UsePort(1, 19200, 0, 0, 0, 0), 3);
  EXPECT_EQ(UsePort(1, 19200, 3, 0, 0, 0), 3);
  EXPECT_TRUE(Traffic().empty());
  EXPECT_EQ(DriveTypeOfNode0(), 1u);

  EXPECT_EQ(UsePort(2, 9600, 1, 0, 0, 0), 2);  // no drive on port 2: the transport's code
  EXPECT_EQ(UsePort(1, 115200, 1, 0, 0, 0), 1);
  EXPECT_EQ(UsePort(0, 0, 2, 5, 6, 7), 1);
  EXPECT_EQ(DriveTypeOfNode0(), 2u);
  EXPECT_EQ(Traffic(), (std::vector<std::string>{"InitComPort(2, 9600) -> 2", "InitComPort(1, 115200) -> 1",
                                                 "InitMotoBus(5, 6, 0, 0, 0, 7, 0, 0) -> 1"}));
}

TEST_F(DriveExports, NetworkArgumentsOfTheThreeVariants) {
  struct Case {
    int32_t (*open)();
    const char* call;
  };
  const Case cases[] = {
      {[] { return UsePort2(0, 0, 2, 1, 2, 0, 3, 4); }, "InitMotoBus(1, 2, 0, 0, 0, 0, 0, 0) -> 1"},
      {[] { return UsePort2(0, 0, 2, 1, 2, 9, 3, 4); }, "InitMotoBus(1, 2, 1, 3, 4, 0, 0, 0) -> 1"},
      {[] { return UsePort3(0, 0, 2, 1, 2, 1, 3, 4, 5, 6, 7); }, "InitMotoBus(1, 2, 1, 3, 4, 5, 6, 7) -> 1"},
      {[] { return UsePort3(0, 0, 2, 1, 2, 0, 3, 4, 5, 6, 7); }, "InitMotoBus(1, 2, 0, 0, 0, 5, 6, 7) -> 1"},
  };
  for (const Case& c : cases) {
    drive_.Log().Clear();
    EXPECT_EQ(c.open(), 1);
    EXPECT_EQ(Traffic(), std::vector<std::string>{c.call});
  }
}

TEST_F(DriveExports, ClosePortClosesWhatIsOpen) {
  EXPECT_EQ(ClosePort(), 1);
  EXPECT_EQ(Traffic(), std::vector<std::string>{"GetCommType() -> 0"});
  OpenSerial();
  EXPECT_EQ(ClosePort(), 1);
  EXPECT_EQ(Traffic(), (std::vector<std::string>{"GetCommType() -> 1", "InitComPort(0, 19200) -> 1"}));
  OpenNetwork();
  EXPECT_EQ(ClosePort(), 1);
  EXPECT_EQ(Traffic(), (std::vector<std::string>{"GetCommType() -> 2", "KillMotoBus() -> 1"}));
}

TEST_F(DriveExports, SetNodeChoosesTheCurrentLimitLayoutOfTheNode) {
  OpenSerial();
  EXPECT_EQ(SetNode_SVODB(7), 23);
  EXPECT_EQ(SetNode_SVODB(-1), 23);
  EXPECT_EQ(api::CurrentNode(), 0u);
  EXPECT_TRUE(Traffic().empty());

  EXPECT_EQ(SetNode_SVODB(2), 1);  // a new image has logic version 0
  EXPECT_EQ(api::CurrentNode(), 2u);
  EXPECT_EQ(CurrentLimitWidth(), 2u);
  EXPECT_EQ(SetupOfflineNode_SVODB(2), 1);
  EXPECT_EQ(SetupOfflineNode_SVODB(7), 23);
  EXPECT_EQ(SetNode_SVODB(2), 1);
  EXPECT_EQ(CurrentLimitWidth(), 8u);
  EXPECT_TRUE(Traffic().empty());

  EXPECT_EQ(SetNode_SVODB(0), 1);  // the drive's LogicVer, read as a setting: twice
  EXPECT_EQ(Traffic(), (std::vector<std::string>{"GetVarFromFPGA(30) -> 1 [4]", "GetVarFromFPGA(30) -> 1 [4]"}));
  EXPECT_EQ(CurrentLimitWidth(), 8u);

  ClosePort();
  EXPECT_EQ(SetNode_SVODB(0), 1);  // LogicVer cannot be read: version 0
  EXPECT_EQ(CurrentLimitWidth(), 2u);
  sim::VirtualDrive logicTwo(DriveConfig{.logicVersion = 2, .versionText = "2.0A"});
  Use(logicTwo);
  ASSERT_EQ(UsePort(1, 19200, 1, 0, 0, 0), 1);
  ASSERT_EQ(SetNode_SVODB(2), 1);
  EXPECT_EQ(SetNode_SVODB(0), 1);
  EXPECT_EQ(CurrentLimitWidth(), 2u);
}

TEST_F(DriveExports, RawAccessPassesStraightThrough) {
  int32_t data = -1, fpgaRegister = -1;
  EXPECT_EQ(ReadUnitFPGA_SVODB(30, &data), 0);  // nothing open
  OpenSerial();
  EXPECT_EQ(WriteUnitFPGA_SVODB(16, 0x5A), 1);
  EXPECT_EQ(ReadUnitFPGA_SVODB(16, &data), 1);
  EXPECT_EQ(data, 0x5A);
  EXPECT_EQ(ReadUnitFPGA_SVODB(256, &data), 4);
  EXPECT_EQ(WriteUnitEEPROM_SVODB(200, 16, 0x33), 1);
  EXPECT_EQ(ReadUnitEEPROM_SVODB(200, &fpgaRegister, &data), 1);
  EXPECT_EQ(fpgaRegister, 16);
  EXPECT_EQ(data, 0x33);
  EXPECT_EQ(ReadUnitFPGA_SVODB(16, nullptr), 8);
  EXPECT_EQ(ReadUnitEEPROM_SVODB(200, nullptr, &data), 8);
  EXPECT_EQ(Traffic(), (std::vector<std::string>{"PutVarToFPGA(16, 90) -> 1", "GetVarFromFPGA(16) -> 1 [90]",
                                                 "GetVarFromFPGA(256) -> 4", "PutVarToEEPROM(200, 16, 51) -> 1",
                                                 "GetVarFromEEPROM(200) -> 1 [16, 51]"}));
  drive_.Faults().FailCall(Operation::kGetVarFromFPGA, 1, 6);
  EXPECT_EQ(ReadUnitFPGA_SVODB(16, &data), 6);
}

TEST_F(DriveExports, PassThroughsResetAndVersionTexts) {
  int32_t axes = 0;
  OpenNetwork();
  EXPECT_EQ(GetMaxNumMotoBusAxes_SVODB(&axes), 1);
  EXPECT_GT(axes, 0);
  EXPECT_EQ(GetMaxNumMotoBusAxes_SVODB(nullptr), 8);
  EXPECT_EQ(ChangeGetSleepTime_SVODB(25), drive_.ChangeGetSleepTime(25));
  EXPECT_EQ(Reset_Drive(), 1);
  char text[SVODB_VERSION_SIZE];
  DLLVersion_SVODB(text);
  EXPECT_STREQ(text, "SVODB virtual drive 1.0 and 1.60.0000");
  NCLVersion_SVODB(text);
  EXPECT_STREQ(text, "SVODB virtual MotoBus 1.0");
}

// A transport whose version texts fill their whole buffer.
class VerboseTransport : public NoTransport {
  void CommSVODBVersion(char* text) override { Fill(text); }
  void CommNCLVersion(char* text) override { Fill(text); }
  static void Fill(char* text) {
    std::memset(text, 'v', kTransportVersionCapacity - 1);
    text[kTransportVersionCapacity - 1] = '\0';
  }
};

TEST_F(ExportTest, OverLongTransportVersionsAreCutToTheirRoom) {
  VerboseTransport verbose;
  Use(verbose);
  char text[SVODB_VERSION_SIZE + 8];
  std::memset(text, 'X', sizeof text);
  DLLVersion_SVODB(text);
  EXPECT_EQ(std::string(text), std::string(45, 'v') + " and 1.60.0000");
  NCLVersion_SVODB(text);
  EXPECT_EQ(std::string(text), std::string(59, 'v'));
  EXPECT_EQ(text[SVODB_VERSION_SIZE], 'X');
}

TEST_F(DriveExports, ReadOnlyOfCommandAndForUserFollowTheConnection) {
  uint8_t value = 7;
  OpenNetwork();
  EXPECT_TRUE(ReadOnly_SVODB("command", &value));  // not the exact spelling: no rule
  EXPECT_EQ(value, 0);
  EXPECT_TRUE(ReadOnly_SVODB("Command", &value));
  EXPECT_EQ(value, 1);
  EXPECT_TRUE(ReadOnly_SVODB("command", &value));  // the record keeps the change
  EXPECT_EQ(value, 1);
  OpenSerial();
  EXPECT_TRUE(ReadOnly_SVODB("Command", &value));
  EXPECT_EQ(value, 0);
  struct Case {
    const char* name;
    uint8_t serial;
    uint8_t network;
  };
  for (const Case& c : {Case{"GearIn", 1, 0}, Case{"AFBSrc", 0, 0}, Case{"KVP", 1, 1}}) {
    OpenSerial();
    EXPECT_TRUE(ForUser_SVODB(c.name, &value));
    EXPECT_EQ(value, c.serial) << c.name;
    OpenNetwork();
    EXPECT_TRUE(ForUser_SVODB(c.name, &value));
    EXPECT_EQ(value, c.network) << c.name;
  }
}

TEST_F(DriveExports, NvParameterQueriesAskTheDrivesLogicVersion) {
  struct Case {
    bool (*query)(const char*, uint8_t*);
    const char* name;
    uint8_t value;
  };
  const Case cases[] = {
      {UserNVPara_SVODB, "KVP", 1},       {UserNVPara_SVODB, "FbType", 1},   {UserNVPara_SVODB, "VBus", 0},
      {UserNVPara_SVODB, "DeadBand", 0},  {MfgNVPara_SVODB, "DeadBand", 1},  {MfgNVPara_SVODB, "KVP", 0},
      {MfgNVPara_SVODB, "FTPass", 0},
  };
  OpenSerial();
  for (const Case& c : cases) {
    uint8_t value = 7;
    drive_.Log().Clear();
    EXPECT_TRUE(c.query(c.name, &value)) << c.name;
    EXPECT_EQ(value, c.value) << c.name;
    EXPECT_EQ(drive_.Log().Count(Operation::kGetVarFromFPGA), 2) << c.name;  // LogicVer, twice
  }
}

class LogicThreeExports : public DriveExports {
 protected:
  LogicThreeExports() : DriveExports(DriveConfig{.logicVersion = 3, .versionText = "3.2A"}) {}
};

TEST_F(LogicThreeExports, VariablesOfANewerLogicAreNotNvParameters) {
  OpenSerial();
  uint8_t value = 7;
  EXPECT_TRUE(UserNVPara_SVODB("FbType", &value));  // FbType needs logic 4
  EXPECT_EQ(value, 0);
  EXPECT_TRUE(UserNVPara_SVODB("FBSrc", &value));
  EXPECT_EQ(value, 1);
  drive_.Faults().FailEveryCall(Operation::kGetVarFromFPGA, 0);
  EXPECT_FALSE(MfgNVPara_SVODB("DeadBand", &value));
  EXPECT_TRUE(UserNVPara_SVODB("FBSrc", &value));
  EXPECT_EQ(value, 0);
}

}  // namespace
}  // namespace svodb::testing
