// One conversion-code dispatch for images and the drive: a current limit is
// read in the format of the node's logic version, whatever code the
// catalogue held before.
#include <gtest/gtest.h>

#include "api/export_fixture.h"
#include "catalog/parameter_database.h"
#include "drive/register_map.h"
#include "svodb/svodb.h"
#include "virtual_drive.h"

namespace svodb::testing {
namespace {

class ValueReads : public ExportTest {
 protected:
  sim::VirtualDrive drive_;
};

TEST_F(ValueReads, CurrentLimitReadsInTheNodesFormat) {
  struct Case {
    const char* what;
    int32_t node;
    int32_t imageLogic;  // nodes 1-6; node 0 follows the drive
    bool driveConnected;
    int32_t catalogueCode;  // deliberately not the node's
    int32_t raw;
    double value;
  };
  const Case cases[] = {
      {"image, logic 3: percent", 1, 3, false, 1, 151, 100},  // 151 steps are 100 %
      {"image, logic 2: two-bit step", 2, 2, false, 44, 2, 2},
      {"node 0, no drive: oldest logic", 0, 0, false, 44, 151, 151},
      {"node 0, drive of logic 4", 0, 0, true, 1, 151, 100},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    if (c.driveConnected) {
      Use(drive_);
      ASSERT_EQ(UsePort(1, 19200, 1, 0, 0, 0), 1);
    }
    ASSERT_EQ(SetNode_SVODB(c.node), 1);
    LibraryContext ctx = api::Context();
    ctx.db.nodes[static_cast<std::size_t>(c.node)].logicVersion = c.imageLogic;
    ctx.registers.FindRegister("ILmtPlus")->raw[static_cast<std::size_t>(c.node)] = c.raw;
    ctx.db.catalogue.Find("ILmtPlus")->conversionCode = c.catalogueCode;
    double value = -1;
    EXPECT_EQ(GetVariable_SVODB("ILmtPlus", &value), SVODB_OK);
    EXPECT_EQ(value, c.value);
  }
}

}  // namespace
}  // namespace svodb::testing
