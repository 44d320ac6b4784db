// The drive's logic version as every part of the library asks for it: read
// now outside an operation, the operation's own answer inside one, and 0
// with the read's code when it cannot be read.
#include "drive/drive_facts.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "catalog/parameter_database.h"
#include "drive/register_map.h"
#include "virtual_drive.h"
#include "virtual_platform.h"

namespace svodb {
namespace {

using sim::Operation;

class DriveLogicVersion : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(drive.InitComPort(1, 19200), 1);
    drive.Log().Clear();
  }

  ParameterDatabase db;
  RegisterMap registers;
  sim::VirtualDrive drive{sim::DriveConfig{.logicVersion = 3, .versionText = "3.2J"}};
  sim::VirtualPlatform platform;
  LibraryContext ctx{db, registers, drive, platform};
};

TEST_F(DriveLogicVersion, OneAnswerAndOneFailurePolicyForEveryCaller) {
  struct Case {
    const char* what;
    bool insideOperation;  // the operation read LogicVer before the fault
    int32_t failure;       // what the FPGA reads answer after that; 1 none
    Result expected;
    int32_t logicVersion;
    std::vector<std::string> traffic;
  };
  const std::string read = "GetVarFromFPGA(30) -> 1 [3]";
  const std::string noResponse = "GetVarFromFPGA(30) -> 0";
  const std::string wrongAddress = "GetVarFromFPGA(30) -> 4";
  // Each case asks twice, ReadLogicVersion then LogicVersionOrOldest; a
  // setting is read twice, and a failed first read ends the question.
  const Case cases[] = {
      {"read now", false, 1, 1, 3, {read, read, read, read}},
      {"no response", false, 0, 0, 0, {noResponse, noResponse}},
      {"wrong address", false, 4, 4, 0, {wrongAddress, wrongAddress}},
      {"the operation's answer", true, 0, 1, 3, {read, read}},  // its own read only
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    drive.Faults().Clear();
    drive.Log().Clear();
    OperationFacts facts(ctx);
    if (c.insideOperation) {
      ASSERT_EQ(facts.Read(FactNeeds{.logicVersion = true}, Context::kNone), 1);
    }
    if (c.failure != 1) drive.Faults().FailEveryCall(Operation::kGetVarFromFPGA, c.failure);
    int32_t logicVersion = -1;
    EXPECT_EQ(ReadLogicVersion(ctx, logicVersion), c.expected);
    EXPECT_EQ(logicVersion, c.logicVersion);
    EXPECT_EQ(LogicVersionOrOldest(ctx), c.logicVersion);
    EXPECT_EQ(drive.Log().Lines(), c.traffic);
  }
}

}  // namespace
}  // namespace svodb
