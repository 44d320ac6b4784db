#include "feedback/trx_link.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "feedback_fixture.h"

namespace svodb::testing {
namespace {

using sim::Operation;
using sim::Persistence;
using Lines = std::vector<std::string>;

class LinkTest : public FeedbackTest {};

TEST_F(LinkTest, DiagnosticsModeKeepsTheOtherBitsSettlesOnTheClockAndIsCheckedAfter) {
  drive.SetFpgaByte(58, 0x81);
  ASSERT_EQ(EnableTrxDiag(ctx), 1);
  EXPECT_EQ(Elapsed(), 1001u);  // 1000 ms from the write, plus the tick of the first clock read
  EXPECT_EQ(platform.SleptMs(), 0u);
  ASSERT_EQ(DisableTrxDiag(ctx), 1);
  EXPECT_EQ(Elapsed(), 2002u);
  EXPECT_EQ(drive.Log().Lines(), (Lines{"GetVarFromFPGA(58) -> 1 [129]", "PutVarToFPGA(58, 131) -> 1",
                                        "GetVarFromFPGA(58) -> 1 [195]", "GetVarFromFPGA(58) -> 1 [195]",
                                        "PutVarToFPGA(58, 193) -> 1", "GetVarFromFPGA(58) -> 1 [129]"}));

  // A drive that never reports diagnostics gives 50 after the wait; one
  // that stays in them gives 51 at once.
  Restart();
  drive.Faults().RefuseTrxDiagnostics();
  EXPECT_EQ(EnableTrxDiag(ctx), 50);
  EXPECT_EQ(Elapsed(), 1001u);
  EXPECT_FALSE(DiagnosticsOn());
  drive.Faults().Clear();
  ASSERT_EQ(EnableTrxDiag(ctx), 1);
  Restart();
  drive.Faults().DropFpgaWrite(58);
  EXPECT_EQ(DisableTrxDiag(ctx), 51);
  EXPECT_EQ(Elapsed(), 0u);
  EXPECT_TRUE(DiagnosticsOn());
}

TEST_F(LinkTest, EachAccessToTheControlRegisterIsMadeOnceMore) {
  struct Case {
    Operation operation;
    std::vector<int> failingCalls;
    Result expected;
  };
  const Case cases[] = {
      {Operation::kGetVarFromFPGA, {1}, 1},    {Operation::kGetVarFromFPGA, {1, 2}, 6},
      {Operation::kPutVarToFPGA, {1}, 1},      {Operation::kPutVarToFPGA, {1, 2}, 6},
      {Operation::kGetVarFromFPGA, {2, 3}, 6},  // the read after the settle time
  };
  for (const Case& c : cases) {
    drive.Faults().Clear();
    drive.SetFpgaByte(58, 0);
    for (int n : c.failingCalls) drive.Faults().FailCall(c.operation, n, 6, 58);
    EXPECT_EQ(EnableTrxDiag(ctx), c.expected);
  }
}

TEST_F(LinkTest, TheFastFlagFollowsSwitchBit3AndAnUnreadableRegisterIsFast) {
  EXPECT_TRUE(ReadFastLinkFlag(ctx));
  drive.SetFpgaByte(25, 0x08);
  EXPECT_FALSE(ReadFastLinkFlag(ctx));
  drive.SetFpgaByte(25, 0xF7);
  EXPECT_TRUE(ReadFastLinkFlag(ctx));
  drive.SetFpgaByte(25, 0x08);
  drive.Faults().FailCall(Operation::kGetVarFromFPGA, 1, 0, 25);
  EXPECT_FALSE(ReadFastLinkFlag(ctx));  // the repeat reads the switch
  drive.Faults().FailCall(Operation::kGetVarFromFPGA, 1, 0, 25);
  drive.Faults().FailCall(Operation::kGetVarFromFPGA, 2, 0, 25);
  EXPECT_TRUE(ReadFastLinkFlag(ctx));
}

TEST_F(LinkTest, SpeedStepsChangeTheRateOnlyWhenFastAndAlwaysFlush) {
  SpeedStepUp(ctx, true);
  EXPECT_EQ(drive.BaudRate(), 115200);
  SpeedStepBack(ctx, true);
  SpeedStepUp(ctx, false);
  SpeedStepBack(ctx, false);
  EXPECT_EQ(drive.BaudRate(), 19200);
  EXPECT_EQ(drive.Log().Lines(),
            (Lines{"ChangeBaudRate(115200) -> 1", "FlushPort() -> 1", "ChangeBaudRate(19200) -> 1",
                   "FlushPort() -> 1", "FlushPort() -> 1", "FlushPort() -> 1"}));
  EXPECT_EQ(platform.SleptMs(), 800u);
}

// The lines of a word read as the port carries them: select, the header bit
// by bit with a clock pulse each, 16 pulses each followed by a sample, one
// more pulse and the deselect.
Lines ExpectedReadTraffic(int address, int word) {
  const auto put = [](int v) { return "PutVarToFPGA(22, " + std::to_string(v) + ") -> 1"; };
  Lines lines{put(9)};
  const int header = 0x600 + address;
  int di = 0;
  for (int bit = 10; bit >= 0; --bit) {
    di = ((header >> bit) & 1) * 4;
    lines.insert(lines.end(), {put(9 | di), put(11 | di), put(9 | di)});
  }
  for (int bit = 15; bit >= 0; --bit) {
    lines.insert(lines.end(), {put(11 | di), put(9 | di),
                               "GetVarFromFPGA(24) -> 1 [" + std::to_string(((word >> bit) & 1) * 16) + "]"});
  }
  lines.insert(lines.end(), {put(11 | di), put(9 | di), put(8 | di)});
  return lines;
}

class BitModeTest : public LinkTest {
 protected:
  void SetUp() override {
    LinkTest::SetUp();
    ASSERT_EQ(EnableTrxDiag(ctx), 1);
    ASSERT_EQ(SelectTrxBitMode(ctx), 1);
    OpenTrxLink(ctx, state.link);
    Restart();
  }
};

TEST_F(BitModeTest, AWordReadIs85PortAccessesAndSamplesDataOutAfterEachPulse) {
  drive.Trx().Eeprom().SetWord(0x45, 0xA55A);
  EXPECT_EQ(ReadTrxWord(ctx, state.link, 0x45), 0xA55Au);
  EXPECT_EQ(drive.Log().Lines(), ExpectedReadTraffic(0x45, 0xA55A));
  EXPECT_EQ(drive.Log().TotalCount(), 85u);
  EXPECT_EQ(state.link.input, 0u);  // cleared by the deselect
  EXPECT_FALSE(drive.Trx().Eeprom().Selected());
}

TEST_F(BitModeTest, AReadWhosePortFailsTwiceGives66000WithChipSelectSet) {
  drive.Faults().FailCall(Operation::kGetVarFromFPGA, 3, 0, 24);
  drive.Faults().FailCall(Operation::kGetVarFromFPGA, 4, 0, 24);  // the repeat
  EXPECT_EQ(ReadTrxWord(ctx, state.link, 3), trx::kFailedWordRead);
  EXPECT_EQ(CountCalls(drive.Log(), Operation::kGetVarFromFPGA, 24), 4u);
  EXPECT_TRUE(drive.Trx().Eeprom().Selected());
  EXPECT_EQ(drive.FpgaByte(22) & 1, 1);
}

TEST_F(BitModeTest, AWordIsWrittenOnlyWhileWriteEnabledAndHoldsChipSelectForTheWriteCycle) {
  EnableTrxWrite(ctx, state.link);
  Restart();
  ASSERT_EQ(WriteTrxWord(ctx, state.link, 70, 0x1234), 1);
  EXPECT_EQ(Elapsed(), 101u);
  EXPECT_EQ(drive.Trx().Eeprom().Word(70), 0x1234);
  const auto frames = DecodeFrames(drive.Log());
  ASSERT_EQ(frames.size(), 2u);  // the word, then the write cycle
  EXPECT_EQ(frames[0].Header(), 0x500 + 70);
  EXPECT_EQ(frames[0].Data(), 0x1234);
  EXPECT_TRUE(frames[1].bits.empty());
  DisableTrxWrite(ctx, state.link);
  EXPECT_FALSE(drive.Trx().Eeprom().WriteEnabled());
  ASSERT_EQ(WriteTrxWord(ctx, state.link, 70, 0x4321), 1);
  EXPECT_EQ(drive.Trx().Eeprom().Word(70), 0x1234);
  const auto special = DecodeFrames(drive.Log());
  EXPECT_EQ(special[2].Header(), 0x400);
}

TEST_F(BitModeTest, ADataPhaseWriteThatFailsTwiceEndsTheWriteWithChipSelectSet) {
  EnableTrxWrite(ctx, state.link);
  Restart();
  // Select and 33 header writes go through; the first data bit fails twice.
  drive.Faults().FailCall(Operation::kPutVarToFPGA, 35, 6, 22);
  drive.Faults().FailCall(Operation::kPutVarToFPGA, 36, 6, 22);
  EXPECT_EQ(WriteTrxWord(ctx, state.link, 70, 0xFFFF), 6);
  EXPECT_EQ(CountCalls(drive.Log(), Operation::kPutVarToFPGA, 22), 36u);
  EXPECT_EQ(Elapsed(), 0u);
  EXPECT_TRUE(drive.Trx().Eeprom().Selected());
  CloseTrxLink(ctx, state.link);
  EXPECT_FALSE(drive.Trx().Eeprom().Selected());
  EXPECT_EQ(drive.FpgaByte(22), 0);
}

}  // namespace
}  // namespace svodb::testing
