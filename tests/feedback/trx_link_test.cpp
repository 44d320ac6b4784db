#include "feedback/trx_link.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "feedback_fixture.h"

namespace svodb::testing {
namespace {

using sim::Operation;
using Lines = std::vector<std::string>;

class LinkTest : public FeedbackTest {};

TEST_F(LinkTest, DiagnosticsModeKeepsTheOtherBitsSettlesOnTheClockAndIsCheckedAfter) {
  drive.SetFpgaByte(58, 0x81);
  ASSERT_EQ(EnableTrxDiag(ctx), 1);
  EXPECT_EQ(Elapsed(), 1001u);  // 1000 ms from the write, plus the tick of the first clock read
  ASSERT_EQ(DisableTrxDiag(ctx), 1);
  EXPECT_EQ(Elapsed(), 2002u);
  EXPECT_EQ(platform.SleptMs(), 0u);
  EXPECT_EQ(drive.Log().Lines(), (Lines{"GetVarFromFPGA(58) -> 1 [129]", "PutVarToFPGA(58, 131) -> 1",
                                        "GetVarFromFPGA(58) -> 1 [195]", "GetVarFromFPGA(58) -> 1 [195]",
                                        "PutVarToFPGA(58, 193) -> 1", "GetVarFromFPGA(58) -> 1 [129]"}));

  // One that stays in diagnostics mode gives 51 at once.
  ASSERT_EQ(EnableTrxDiag(ctx), 1);
  Restart();
  drive.Faults().DropFpgaWrite(58);
  EXPECT_EQ(DisableTrxDiag(ctx), 51);
  EXPECT_EQ(Elapsed(), 0u);
  EXPECT_TRUE(DiagnosticsOn());
}

// Every port access is made once more when it fails; the switch register
// read that fails twice counts as the fast link.
TEST_F(LinkTest, EachPortAccessIsMadeOnceMore) {
  struct Case {
    Operation operation;
    int32_t address;
    std::vector<int> failingCalls;
    Result enable;
    bool fast;
  };
  const Case cases[] = {
      {Operation::kGetVarFromFPGA, 58, {1}, 1, false},    {Operation::kGetVarFromFPGA, 58, {1, 2}, 6, false},
      {Operation::kPutVarToFPGA, 58, {1}, 1, false},      {Operation::kPutVarToFPGA, 58, {1, 2}, 6, false},
      {Operation::kGetVarFromFPGA, 58, {2, 3}, 6, false},  // the read after the settle time
      {Operation::kGetVarFromFPGA, 25, {1}, 1, false},    {Operation::kGetVarFromFPGA, 25, {1, 2}, 1, true},
  };
  for (const Case& c : cases) {
    drive.Faults().Clear();
    drive.SetFpgaByte(58, 0);
    drive.SetFpgaByte(25, 0x08);  // the switch of the slow link
    for (int n : c.failingCalls) drive.Faults().FailCall(c.operation, n, 6, c.address);
    EXPECT_EQ(EnableTrxDiag(ctx), c.enable);
    EXPECT_EQ(ReadFastLinkFlag(ctx), c.fast);
  }
  drive.SetFpgaByte(25, 0xF7);
  EXPECT_TRUE(ReadFastLinkFlag(ctx));
}

TEST_F(LinkTest, SpeedStepsChangeTheRateOnlyWhenFastAndAlwaysFlush) {
  SpeedStepUp(ctx, true);
  EXPECT_EQ(drive.BaudRate(), 115200);
  SpeedStepBack(ctx, true);
  SpeedStepUp(ctx, false);
  SpeedStepBack(ctx, false);
  EXPECT_EQ(drive.Log().Lines(),
            (Lines{"ChangeBaudRate(115200) -> 1", "FlushPort() -> 1", "ChangeBaudRate(19200) -> 1",
                   "FlushPort() -> 1", "FlushPort() -> 1", "FlushPort() -> 1"}));
  EXPECT_EQ(platform.SleptMs(), 800u);
}

// A word read as the port carries it: select, the header bit by bit with a
// clock pulse each, 16 pulses each followed by a sample of data out, one
// more pulse and the deselect.
TEST_F(LinkTest, AWordReadIs85PortAccessesAndSamplesDataOutAfterEachPulse) {
  ASSERT_EQ(EnableTrxDiag(ctx), 1);
  ASSERT_EQ(SelectTrxBitMode(ctx), 1);
  OpenTrxLink(ctx, state.link);
  drive.Trx().Eeprom().SetWord(0x45, 0xA55A);
  Restart();
  EXPECT_EQ(ReadTrxWord(ctx, state.link, 0x45), 0xA55Au);

  const auto put = [](int v) { return "PutVarToFPGA(22, " + std::to_string(v) + ") -> 1"; };
  Lines expected{put(9)};
  int di = 0;
  for (int bit = 10; bit >= 0; --bit) {
    di = ((0x645 >> bit) & 1) * 4;
    expected.insert(expected.end(), {put(9 | di), put(11 | di), put(9 | di)});
  }
  for (int bit = 15; bit >= 0; --bit) {
    const std::string sample = std::to_string(((0xA55A >> bit) & 1) * 16);
    expected.insert(expected.end(), {put(11 | di), put(9 | di), "GetVarFromFPGA(24) -> 1 [" + sample + "]"});
  }
  expected.insert(expected.end(), {put(11 | di), put(9 | di), put(8 | di)});
  EXPECT_EQ(drive.Log().Lines(), expected);
  EXPECT_EQ(expected.size(), 85u);
  EXPECT_EQ(state.link.input, 0u);  // cleared by the deselect
}

}  // namespace
}  // namespace svodb::testing
