// The feedback-device exports as a C caller uses them, against virtual
// drives with either generation of device. The block's round trips
// through these exports are the tool's mdb tests.
#include <gtest/gtest.h>

#include <array>
#include <vector>

#include "api/export_fixture.h"
#include "feedback/feedback_fixture.h"
#include "svodb/svodb.h"
#include "virtual_drive.h"
#include "virtual_platform.h"

namespace svodb::testing {
namespace {

class FeedbackExports : public ExportTest, public ::testing::WithParamInterface<int> {
 protected:
  FeedbackExports() : drive_(Generation(GetParam())) {}
  void SetUp() override {
    ExportTest::SetUp();
    platform_.SetTickPerRead(1);
    api::UsePlatformForTesting(&platform_);
    Use(drive_);
    ASSERT_EQ(UsePort(1, 19200, 1, 0, 0, 0), 1);
    drive_.Log().SetRecording(false);
  }
  void TearDown() override {
    api::UsePlatformForTesting(nullptr);
    ExportTest::TearDown();
  }

  sim::VirtualDrive drive_;
  sim::VirtualPlatform platform_;
};

TEST_P(FeedbackExports, FieldsShowTheLoadedBlock) {
  char text[SVODB_TRX_FIELD_TEXT_SIZE] = "untouched";
  EXPECT_EQ(GetMotorData_TRXMDB("RLim", text), 99);  // nothing loaded yet
  EXPECT_STREQ(text, "untouched");
  ASSERT_EQ(LoadShowData_TRXMDB(), 1);
  EXPECT_EQ(GetMotorData_TRXMDB("mnum", text), 1);
  EXPECT_STREQ(text, "VM2201-A04N0000 ");
  char unit[SVODB_UNIT_SIZE];
  EXPECT_EQ(GetDataUnit_TRXMDB("DPOLES", unit), 1);
  EXPECT_STREQ(unit, "Pole Pairs");
  EXPECT_EQ(GetDataUnit_TRXMDB("Poles", unit), 8);
  uint32_t version[3] = {};
  EXPECT_EQ(Read_TRXFPGA(version), 1);
  EXPECT_EQ(version[2], 4u);
}

TEST_P(FeedbackExports, TheChecksumExportsWorkOnTheLastRegionRead) {
  // A zeroed image fails its check until its sum is computed.
  EXPECT_EQ((std::array{check_check_sum_all(), compute_check_sum_all(), check_check_sum_all()}),
            (std::array{0, 1, 1}));
  if (GetParam() != 2) return;
  std::vector<uint32_t> memory(SVODB_TRX_MEMORY_SIZE);
  ASSERT_EQ(Read_TRX_2_Memory(memory.data()), 1);
  EXPECT_EQ(memory[16642], 118u);
  EXPECT_EQ(check_check_sum_all(), 1);
  EXPECT_EQ(Correct_chs(0), 1);
  const uint8_t a = 9, b = 10;
  EXPECT_EQ(Write_Verify_TRX_2_MDB(TestBlock().data(), &a, &b), 1);
  EXPECT_EQ(drive_.Trx().Flash().Byte(0x3BD00 + 16642), 10);
}

TEST_P(FeedbackExports, NullPointersGive8AndNoTraffic) {
  const Block block = TestBlock();
  uint32_t u = 0;
  uint8_t byte = 0;
  double d = 0;
  char text[SVODB_TRX_FIELD_TEXT_SIZE];
  drive_.Log().SetRecording(true);
  drive_.Log().Clear();
  const int32_t results[] = {Check_gen_of_TRX(nullptr, &u, &u),
                             Check_gen_of_TRX(&u, nullptr, &u),
                             Check_gen_of_TRX(&u, &u, nullptr),
                             Read_TRX_2_Memory(nullptr),
                             Write_Verify_TRX_2_MDB(nullptr, &byte, &byte),
                             Write_Verify_TRX_2_MDB(block.data(), nullptr, &byte),
                             Write_Verify_TRX_2_MDB(block.data(), &byte, nullptr),
                             GetMotorData_TRXMDB(nullptr, text),
                             GetMotorData_TRXMDB("Kt", nullptr),
                             GetDataUnit_TRXMDB(nullptr, text),
                             GetDataUnit_TRXMDB("Kt", nullptr),
                             Read_TRXMDB(nullptr),
                             Check_TRXMDB(nullptr, &u, &u, &u, &u),
                             Check_TRXMDB(block.data(), &u, &u, &u, nullptr),
                             Read_TRXFPGA(nullptr),
                             Write_Verify_TRXMDB(nullptr, &u, &u, &u, &u),
                             Write_Verify_TRXMDB(block.data(), nullptr, &u, &u, &u),
                             Write_TRXMDB(nullptr),
                             Write_TRX(nullptr, 1.0),
                             Read_TRX(nullptr, &d),
                             Read_TRX("SINGain", nullptr),
                             Write_Verify_TRXMDB_v2(nullptr, &u, &u),
                             Write_Verify_TRXMDB_v2(block.data(), &u, nullptr)};
  for (int32_t result : results) EXPECT_EQ(result, 8);
  EXPECT_EQ(drive_.Log().TotalCount(), 0u);
}

INSTANTIATE_TEST_SUITE_P(BothGenerations, FeedbackExports, ::testing::Values(1, 2));

}  // namespace
}  // namespace svodb::testing
