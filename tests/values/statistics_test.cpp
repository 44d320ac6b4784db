// Fault history and sampling statistics through the exports, against the
// virtual drive on a virtual platform whose messages move the drive on.
#include "values/statistics.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <tuple>

#include "value_exports.h"
#include "virtual_platform.h"

namespace svodb::testing {
namespace {

using sim::Operation;

// The fault-log pointer: a six-bit register (FPGA 54) that converts exactly,
// so the drive's byte is the sample.
constexpr const char* kSampled = "FAULTHISPNTR";
constexpr uint8_t kSampledAddress = 54;

class StatisticsExports : public ValueExports {
 protected:
  void SetUp() override {
    ValueExports::SetUp();
    api::UsePlatformForTesting(&platform_);
  }
  void TearDown() override {
    api::UsePlatformForTesting(nullptr);
    ValueExports::TearDown();
  }
  // The sampled register holds values[0]; each pumped message moves it on to
  // the next value, as the drive would between two samples.
  void SampleSequence(const std::vector<uint8_t>& values) {
    platform_ = sim::VirtualPlatform{};
    drive_->SetFpgaByte(kSampledAddress, values.front());
    for (std::size_t i = 1; i < values.size(); ++i)
      platform_.QueueMessage([this, next = values[i]] { drive_->SetFpgaByte(kSampledAddress, next); });
  }

  sim::VirtualPlatform platform_;
};

TEST_F(StatisticsExports, FaultHistoryByteLiesAtEightTimesRecordPlusByte) {
  const std::tuple<int32_t, int32_t, uint8_t, uint8_t> cases[] = {
      {2, 3, 19, 0}, {0, 0, 0, 0}, {31, 7, 255, 0}, {32, 0, 0, 1}, {63, 7, 255, 1}, {1, 9, 17, 0}};
  for (const auto& [record, byte, low, high] : cases) {
    drive_->SetFaultLogByte(high * 256u + low, static_cast<uint8_t>(0xA0 + record));
    uint8_t value = 0;
    const Result result = GetFaultHistory_SVODB(record, byte, &value);
    // The log is read last, at the address just written.
    EXPECT_EQ(std::tuple(result, value, drive_->FpgaByte(42), drive_->FpgaByte(43) & 1,
                         Take().back().substr(0, 18)),
              std::tuple(1, 0xA0 + record, low, high, std::string("GetVarFromFPGA(62)")))
        << record << "/" << byte;
  }
  // Outside the log, and without a drive: 0 without traffic. 8 * 2^29
  // would wrap to 0 in 32 bits.
  drive_->SetFaultLogByte(0, 0x55);
  const std::pair<int32_t, int32_t> outside[] = {{64, 0}, {-1, 0}, {0, -1}, {INT32_MAX, 7}, {536870912, 0}};
  for (const auto& [record, byte] : outside) {
    uint8_t value = 0x77;
    EXPECT_EQ((std::pair{GetFaultHistory_SVODB(record, byte, &value), value}), std::pair(1, uint8_t{0}))
        << record << "/" << byte;
  }
  EXPECT_TRUE(Traffic().empty());
  EXPECT_EQ(GetFaultHistory_SVODB(2, 3, nullptr), 8);
  NoTransport none;
  Use(none);
  uint8_t value = 0x77;
  EXPECT_EQ((std::pair{GetFaultHistory_SVODB(2, 3, &value), value}), std::pair(1, uint8_t{0}));
}

TEST_F(StatisticsExports, MeanAndSpreadHandlingOneMessagePerSample) {
  // sqrt(2/3) = 0.81649658...; a constant signal has no spread, not a NaN.
  // clang-format off
  const std::tuple<std::vector<uint8_t>, int32_t, bool, double, double, int> cases[] = {
      {{1, 2, 3}, 3, false, 2.0, 0.816497, 3},       {{1, 2, 3}, 3, true, 2.0, 0.816, 3},
      {{7, 7, 7, 7, 7, 7}, 3, false, 7.0, 0.0, 3},  {{42}, 1, false, 42.0, 0.0, 1},
      {{42}, -1, true, 0.0, 0.0, 0},                 {{42}, INT32_MIN, true, 0.0, 0.0, 0},
  };
  // clang-format on
  for (const auto& [values, count, shortForm, expectedMean, expectedSpread, pumps] : cases) {
    SampleSequence(values);
    double mean = 5.0, spread = 5.0;
    char unit[SVODB_UNIT_SIZE];
    const Result result = shortForm ? GetParmMeanRMS_SVODBT(kSampled, count, &mean, &spread)
                                    : GetParmMeanRMS_SVODB(kSampled, count, &mean, &spread, unit);
    const auto waiting = static_cast<std::size_t>(std::max(static_cast<int>(values.size()) - 1 - pumps, 0));
    EXPECT_EQ(
        std::tuple(result, mean, spread, std::signbit(mean), platform_.Pumps(), platform_.QueuedMessages()),
        std::tuple(code::kOk, expectedMean, expectedSpread, false, pumps, waiting))
        << count << " samples of " << values.size();
  }
  Take();
  double mean = 5.0, spread = 5.0;
  EXPECT_EQ(GetParmMeanRMS_SVODBT(kSampled, 0, &mean, &spread), code::kOk);
  EXPECT_TRUE(std::isnan(mean) && std::isnan(spread) && Traffic().empty());
  // KVP's unit is the longest there is.
  char unit[SVODB_UNIT_SIZE + 1];
  std::memset(unit, '#', sizeof unit);
  EXPECT_EQ(GetParmMeanRMS_SVODB("KVP", 1, &mean, &spread, unit), 1);
  EXPECT_EQ(std::tuple(std::string(unit), unit[SVODB_UNIT_SIZE]),
            std::tuple(std::string(" Arms/rad/sec"), '#'));
}

TEST_F(StatisticsExports, FailuresLeaveTheOutputs) {
  double mean = 5, spread = 6;
  char unit[SVODB_UNIT_SIZE] = "kept";
  for (int32_t result :
       {GetParmMeanRMS_SVODB("NoSuchVariable", 3, &mean, &spread, unit),
        GetParmMeanRMS_SVODBT("NoSuchVariable", 3, &mean, &spread),
        GetParmMeanRMS_SVODB(nullptr, 1, &mean, &spread, unit),
        GetParmMeanRMS_SVODB("KVP", 1, nullptr, &spread, unit),
        GetParmMeanRMS_SVODB("KVP", 1, &mean, nullptr, unit),
        GetParmMeanRMS_SVODB("KVP", 1, &mean, &spread, nullptr),
        GetParmMeanRMS_SVODBT(nullptr, 1, &mean, &spread), GetParmMeanRMS_SVODBT("KVP", 1, nullptr, &spread),
        GetParmMeanRMS_SVODBT("KVP", 1, &mean, nullptr)})
    EXPECT_EQ(result, 8);
  EXPECT_EQ(std::tuple(platform_.Pumps(), Traffic().size()), std::tuple(0, 0u));

  // The drive stops answering after the first sample's message.
  SampleSequence({1});
  platform_.QueueMessage(
      [this] { drive_->Faults().FailEveryCall(Operation::kGetVarFromFPGA, 4, kSampledAddress); });
  EXPECT_EQ(GetParmMeanRMS_SVODBT(kSampled, 3, &mean, &spread), 4);
  EXPECT_EQ(std::tuple(platform_.Pumps(), mean, spread, std::string(unit)),
            std::tuple(1, 5.0, 6.0, std::string("kept")));

  // Without a drive: the first sample fails; with no sample to take only the
  // unit text needs the drive, and the numbers stand.
  NoTransport none;
  Use(none);
  EXPECT_EQ((std::pair{GetParmMeanRMS_SVODB("KVP", 2, &mean, &spread, unit), mean}), std::pair(0, 5.0));
  EXPECT_EQ(GetParmMeanRMS_SVODB("KVP", 0, &mean, &spread, unit), 99);
  EXPECT_TRUE(std::isnan(mean) && std::isnan(spread) && std::string(unit) == "kept");
}

}  // namespace
}  // namespace svodb::testing
