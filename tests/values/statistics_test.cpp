#include "values/statistics.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "api/export_fixture.h"
#include "catalog/parameter_database.h"
#include "drive/register_map.h"
#include "svodb/svodb.h"
#include "virtual_drive.h"
#include "virtual_platform.h"

namespace svodb {
namespace {

using sim::Operation;

// The fault-log pointer: a six-bit register (FPGA 54) that converts exactly,
// so the drive's byte is the sample.
constexpr const char* kSampled = "FAULTHISPNTR";
constexpr uint8_t kSampledAddress = 54;

// The FPGA addresses read or written by the drive's calls of one operation.
std::vector<int32_t> AddressesOf(const sim::CallLog& log, Operation operation) {
  std::vector<int32_t> addresses;
  for (const sim::CallRecord& record : log.Records())
    if (record.operation == operation) addresses.push_back(record.arguments[0]);
  return addresses;
}

class Statistics : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(drive.InitComPort(1, 19200), 1);
    drive.Log().Clear();
  }
  // The sampled register holds values[0]; each pumped message moves it on to
  // the next value, as the drive would between two samples.
  void SampleSequence(const std::vector<uint8_t>& values) {
    drive.SetFpgaByte(kSampledAddress, values.front());
    for (std::size_t i = 1; i < values.size(); ++i) {
      const uint8_t next = values[i];
      platform.QueueMessage([this, next] { drive.SetFpgaByte(kSampledAddress, next); });
    }
  }

  ParameterDatabase db;
  RegisterMap registers;
  sim::VirtualDrive drive;
  sim::VirtualPlatform platform;
  LibraryContext ctx{db, registers, drive, platform};
};

// ----------------------------------------------------------- fault history

TEST_F(Statistics, FaultHistoryByteLiesAtEightTimesRecordPlusByte) {
  struct Case {
    int32_t record, byte;
    uint8_t low, high;  // the address as the drive's registers 42 and 43 get it
  };
  const Case cases[] = {{2, 3, 19, 0}, {0, 0, 0, 0},    {31, 7, 255, 0},
                        {32, 0, 0, 1}, {63, 7, 255, 1}, {1, 9, 17, 0}};
  for (const Case& c : cases) {
    SCOPED_TRACE(std::to_string(c.record) + "/" + std::to_string(c.byte));
    const std::size_t address = c.high * 256u + c.low;
    drive.SetFaultLogByte(address, static_cast<uint8_t>(0xA0 + c.record));
    drive.Log().Clear();
    EXPECT_EQ(ReadFaultHistoryByte(ctx, c.record, c.byte), 0xA0 + c.record);
    EXPECT_EQ(drive.FpgaByte(42), c.low);
    EXPECT_EQ(drive.FpgaByte(43) & 1, c.high);
    // The address goes out before the fault log is read, and the log is read
    // last.
    const std::vector<std::string> lines = drive.Log().Lines();
    const auto write =
        std::find(lines.begin(), lines.end(), "PutVarToFPGA(42, " + std::to_string(c.low) + ") -> 1");
    const auto read = std::find_if(lines.begin(), lines.end(), [](const std::string& line) {
      return line.starts_with("GetVarFromFPGA(62)");
    });
    EXPECT_LT(write, read);
    EXPECT_EQ(AddressesOf(drive.Log(), Operation::kGetVarFromFPGA).back(), 62);
  }
}

// ----------------------------------------------------------------- sampling

TEST_F(Statistics, MeanAndSpreadHandlingOneMessagePerSample) {
  struct Case {
    std::vector<uint8_t> values;  // the sampled byte, then after each pumped message
    int32_t count, digits;
    double mean, spread;
    int pumps;
  };
  // sqrt(2/3) = 0.81649658...; a constant signal has no spread, not a NaN.
  const Case cases[] = {
      {{1, 2, 3}, 3, kFullStatisticsDigits, 2.0, 0.816497, 3},
      {{1, 2, 3}, 3, kShortStatisticsDigits, 2.0, 0.816, 3},
      {{7, 7, 7, 7, 7, 7}, 3, kFullStatisticsDigits, 7.0, 0.0, 3},
      {{42}, 1, kFullStatisticsDigits, 42.0, 0.0, 1},
      {{42}, -1, kShortStatisticsDigits, 0.0, 0.0, 0},
      {{42}, std::numeric_limits<int32_t>::min(), kFullStatisticsDigits, 0.0, 0.0, 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::to_string(c.count) + " samples of " + std::to_string(c.values.size()));
    platform = sim::VirtualPlatform{};
    SampleSequence(c.values);
    SampleStatistics out{5.0, 5.0};
    EXPECT_EQ(SampleVariable(ctx, kSampled, c.count, c.digits, out), code::kOk);
    EXPECT_EQ(out.mean, c.mean);
    EXPECT_EQ(out.spread, c.spread);
    EXPECT_FALSE(std::signbit(out.mean));
    EXPECT_EQ(platform.Pumps(), c.pumps);
    const int waiting = static_cast<int>(c.values.size()) - 1 - c.pumps;
    EXPECT_EQ(platform.QueuedMessages(), static_cast<std::size_t>(std::max(waiting, 0)));
  }
  platform = sim::VirtualPlatform{};
  drive.Log().Clear();
  SampleStatistics out{5.0, 5.0};
  EXPECT_EQ(SampleVariable(ctx, kSampled, 0, kFullStatisticsDigits, out), code::kOk);
  EXPECT_TRUE(std::isnan(out.mean) && std::isnan(out.spread));
  EXPECT_EQ(drive.Log().TotalCount(), 0u);
}

TEST_F(Statistics, FailedSampleEndsTheRunWithItsCode) {
  SampleStatistics out{5.0, 6.0};
  EXPECT_EQ(SampleVariable(ctx, "NoSuchVariable", 3, kFullStatisticsDigits, out), code::kInvalidParameter);
  EXPECT_EQ(platform.Pumps(), 0);

  // The drive stops answering after the first sample's message.
  SampleSequence({1});
  platform.QueueMessage(
      [this] { drive.Faults().FailEveryCall(Operation::kGetVarFromFPGA, 4, kSampledAddress); });
  EXPECT_EQ(SampleVariable(ctx, kSampled, 3, kFullStatisticsDigits, out), 4);
  EXPECT_EQ(platform.Pumps(), 1);
  EXPECT_EQ(out.mean, 5.0);
  EXPECT_EQ(out.spread, 6.0);
}

}  // namespace

// --------------------------------------------------------------- exports

namespace testing {
namespace {

class StatisticsExports : public ExportTest {
 protected:
  void SetUp() override {
    ExportTest::SetUp();
    ASSERT_EQ(drive_.InitComPort(1, 19200), 1);
    drive_.Log().Clear();
    Use(drive_);
    api::UsePlatformForTesting(&platform_);
  }
  void TearDown() override {
    api::UsePlatformForTesting(nullptr);
    ExportTest::TearDown();
  }
  sim::VirtualDrive drive_;
  sim::VirtualPlatform platform_;
};

TEST_F(StatisticsExports, FaultHistoryOutsideTheLogIsZeroWithoutTraffic) {
  drive_.SetFaultLogByte(19, 0xC3);
  uint8_t inside = 0;
  EXPECT_EQ(GetFaultHistory_SVODB(2, 3, &inside), 1);
  EXPECT_EQ(inside, 0xC3);
  drive_.SetFaultLogByte(0, 0x55);
  drive_.Log().Clear();
  // 8 * 2^29 would wrap to 0 in 32 bits.
  const std::pair<int32_t, int32_t> outside[] = {{64, 0}, {-1, 0}, {0, -1}, {INT32_MAX, 7}, {536870912, 0}};
  for (const auto& [record, byte] : outside) {
    uint8_t value = 0x77;
    EXPECT_EQ(GetFaultHistory_SVODB(record, byte, &value), 1);
    EXPECT_EQ(value, 0) << record << "/" << byte;
  }
  EXPECT_EQ(drive_.Log().TotalCount(), 0u);
  EXPECT_EQ(GetFaultHistory_SVODB(2, 3, nullptr), 8);
  NoTransport none;
  Use(none);
  uint8_t value = 0x77;
  EXPECT_EQ(GetFaultHistory_SVODB(2, 3, &value), 1);
  EXPECT_EQ(value, 0);
}

TEST_F(StatisticsExports, ShortFormRoundsToThreeDigitsAndTheUnitFillsItsBuffer) {
  drive_.SetFpgaByte(54, 1);
  platform_.QueueMessage([this] { drive_.SetFpgaByte(54, 2); });
  platform_.QueueMessage([this] { drive_.SetFpgaByte(54, 3); });
  double mean = 0, spread = 0;
  EXPECT_EQ(GetParmMeanRMS_SVODBT("faulthispntr", 3, &mean, &spread), 1);
  EXPECT_EQ(mean, 2.0);
  EXPECT_EQ(spread, 0.816);
  EXPECT_EQ(platform_.Pumps(), 3);

  // KVP's unit is the longest there is.
  char unit[SVODB_UNIT_SIZE + 1];
  std::memset(unit, '#', sizeof unit);
  EXPECT_EQ(GetParmMeanRMS_SVODB("KVP", 1, &mean, &spread, unit), 1);
  EXPECT_STREQ(unit, " Arms/rad/sec");
  EXPECT_EQ(unit[SVODB_UNIT_SIZE], '#');
}

TEST_F(StatisticsExports, FailuresLeaveTheOutputs) {
  double mean = 5, spread = 6;
  char unit[SVODB_UNIT_SIZE] = "kept";
  EXPECT_EQ(GetParmMeanRMS_SVODB("NoSuchVariable", 3, &mean, &spread, unit), 8);
  EXPECT_EQ(GetParmMeanRMS_SVODBT("NoSuchVariable", 3, &mean, &spread), 8);
  EXPECT_EQ(mean, 5);
  EXPECT_EQ(spread, 6);
  EXPECT_STREQ(unit, "kept");
  for (int32_t result :
       {GetParmMeanRMS_SVODB(nullptr, 1, &mean, &spread, unit),
        GetParmMeanRMS_SVODB("KVP", 1, nullptr, &spread, unit),
        GetParmMeanRMS_SVODB("KVP", 1, &mean, nullptr, unit),
        GetParmMeanRMS_SVODB("KVP", 1, &mean, &spread, nullptr),
        GetParmMeanRMS_SVODBT(nullptr, 1, &mean, &spread), GetParmMeanRMS_SVODBT("KVP", 1, nullptr, &spread),
        GetParmMeanRMS_SVODBT("KVP", 1, &mean, nullptr)})
    EXPECT_EQ(result, 8);
  EXPECT_EQ(drive_.Log().TotalCount(), 0u);

  // Without a drive: the first sample fails; with no sample to take only the
  // unit text needs the drive, and the numbers stand.
  NoTransport none;
  Use(none);
  EXPECT_EQ(GetParmMeanRMS_SVODB("KVP", 2, &mean, &spread, unit), 0);
  EXPECT_EQ(mean, 5);
  EXPECT_EQ(GetParmMeanRMS_SVODB("KVP", 0, &mean, &spread, unit), 99);
  EXPECT_TRUE(std::isnan(mean));
  EXPECT_TRUE(std::isnan(spread));
  EXPECT_STREQ(unit, "kept");
  EXPECT_EQ(GetParmMeanRMS_SVODBT("KVP", -4, &mean, &spread), 1);
  EXPECT_EQ(mean, 0.0);
  EXPECT_EQ(spread, 0.0);
}

}  // namespace
}  // namespace testing
}  // namespace svodb
