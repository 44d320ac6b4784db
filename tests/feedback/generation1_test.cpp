// The link through the drive's FPGA (diagnostics mode, the repeat of every
// port access, a word in bit mode) and the writes to the generation-1
// device's EEPROM behind it.
#include <cmath>
#include <functional>
#include <limits>

#include "feedback_fixture.h"

namespace svodb::testing {
namespace {

using Lines = std::vector<std::string>;
using enum sim::Operation;
using sim::Persistence;
using LinkTest = FeedbackTest;

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
    sim::Operation operation;
    int32_t address;
    std::vector<int> failingCalls;
    Result enable;
    bool fast;
  };
  const Case cases[] = {
      {kGetVarFromFPGA, 58, {1}, 1, false},    {kGetVarFromFPGA, 58, {1, 2}, 6, false},
      {kPutVarToFPGA, 58, {1}, 1, false},      {kPutVarToFPGA, 58, {1, 2}, 6, false},
      {kGetVarFromFPGA, 58, {2, 3}, 6, false},  // the read after the settle time
      {kGetVarFromFPGA, 25, {1}, 1, false},    {kGetVarFromFPGA, 25, {1, 2}, 1, true},
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

// Enable and disable settle 1001 ms each; the speed steps and the flush
// step after write enable are 200 ms each.
constexpr uint32_t kUnchangedBlockMs = 2 * 1001 + 3 * 200;
constexpr uint32_t kWriteCycleMs = 101;
constexpr uint32_t kRetryMs = 4000;

class Generation1Test : public FeedbackTest {
 protected:
  Generation1Test() : FeedbackTest(Generation(1)) {}

  // The factory block with bytes i and j changed so the sum stays right.
  Block Changed(std::size_t i, std::size_t j) const {
    Block block = DeviceBlock();
    block[i] = (block[i] + 1) & 0xFF;
    block[j] = (block[j] + 255) & 0xFF;
    return block;
  }
  uint16_t Word(std::size_t address) const { return drive.Trx().Eeprom().Word(address); }
  // Back out of the diagnostics mode a failed write leaves the device in.
  void Recover() {
    drive.Faults().Clear();
    ASSERT_EQ(DisableTrxDiag(ctx), 1);
    drive.ChangeBaudRate(19200);
  }
};

// Only the words that differ from the drive's copy are written, each
// checked by a read-back; a word that does not hold is written once more
// after a pause, and one that never holds stops the block with 10 (13 when
// it reads back as zero), leaving the device in diagnostics.
TEST_F(Generation1Test, WordsWrittenAndRetriedByTheirReadBack) {
  struct Case {
    const char* what;
    std::size_t i, j;
    std::function<void(sim::VirtualDrive&)> fault;
    Result expected;
    uint32_t retries;
    uint32_t elapsed;  // 101 ms a word written
  };
  const auto none = [](sim::VirtualDrive&) {};
  const auto once = [](sim::VirtualDrive& d) { d.Faults().TrxWordDoesNotStick(67); };
  const auto refusedOnce = [](sim::VirtualDrive& d) { d.Faults().RefuseTrxDiagnostics(Persistence::kOnce); };
  // The read-back's port read fails twice and leaves chip select set; the
  // rewrite's select drops it first, so the rewritten frame arrives whole.
  const auto readBackFails = [](sim::VirtualDrive& d) {
    d.Faults().FailCall(kGetVarFromFPGA, 1, 0, 24);
    d.Faults().FailCall(kGetVarFromFPGA, 2, 0, 24);
  };
  const auto never = [](sim::VirtualDrive& d) { d.Faults().TrxWordDoesNotStick(123, Persistence::kAlways); };
  const auto staysZero = [](sim::VirtualDrive& d) {
    d.Faults().TrxWordDoesNotStick(67, Persistence::kAlways);
    d.Trx().Eeprom().SetWord(67, 0);  // the drive's copy still holds the old bytes
  };
  constexpr uint32_t kAbandoned = kUnchangedBlockMs - 1001 - 200;  // no disable settle, no step back
  // clang-format off
  const Case cases[] = {
      {"unchanged", 7, 7, none, 1, 0, kUnchangedBlockMs},
      {"diagnostics refused once", 7, 7, refusedOnce, 1, 0, kUnchangedBlockMs + 1001},
      {"one word", 7, 6, none, 1, 0, kUnchangedBlockMs + kWriteCycleMs},
      {"two words", 7, 200, none, 1, 0, kUnchangedBlockMs + 2 * kWriteCycleMs},
      {"first and last", 0, 383, none, 1, 0, kUnchangedBlockMs + 2 * kWriteCycleMs},
      {"sticks the second time", 7, 6, once, 1, 1, kUnchangedBlockMs + 2 * kWriteCycleMs + kRetryMs},
      {"read-back fails", 7, 6, readBackFails, 1, 1, kUnchangedBlockMs + 2 * kWriteCycleMs + kRetryMs},
      {"never sticks", 119, 118, never, 10, 1, kAbandoned + 2 * kWriteCycleMs + kRetryMs},
      {"stays zero", 7, 6, staysZero, 13, 2, kAbandoned + 2 * kWriteCycleMs + 2 * kRetryMs},
  };
  // clang-format on
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    drive.Faults().Clear();
    const uint32_t old = Word(64 + c.i / 2);
    const Block block = c.i == c.j ? DeviceBlock() : Changed(c.i, c.j);
    c.fault(drive);
    Restart();
    MdbMismatch mismatch;
    EXPECT_EQ(WriteVerifyTrxMdb(fc, block, mismatch), c.expected);
    EXPECT_EQ(Elapsed(), c.elapsed);
    EXPECT_EQ(mismatch.retries, c.retries);
    ExpectEnded(c.expected != 1);
    if (c.expected != 1) {
      EXPECT_EQ(mismatch.index, c.i / 2);
      EXPECT_EQ(mismatch.valueRead, c.expected == 13 ? 0u : old);
      EXPECT_EQ(mismatch.valueExpected, block[c.i] * 256 + block[c.i - 1]);
      Recover();
      continue;
    }
    EXPECT_EQ(BaudChanges(), (std::vector<int>{115200, 19200}));
    EXPECT_EQ(DeviceBlock(), block);
    EXPECT_EQ(BlockOfDrive(sim::BlockOf(drive.SaveState().motorData)), block);  // the drive's copy follows
  }
}

// A word whose frame cannot be sent gives ((step * 1000 + low byte) * 1000
// + word index), the step one higher on the rewrite after a mismatch.
TEST_F(Generation1Test, AWordThatCannotBeSentGivesTheCompositeCode) {
  const Block block = Changed(7, 6);
  // Writes to register 22 before word 67's first data bit: open 1, write
  // enable 35, select and header 34. The repeat first drops the chip select
  // the failed frame left set, so its first data bit comes 37 later.
  for (int n : {71, 72, 108, 109}) drive.Faults().FailCall(kPutVarToFPGA, n, 6, 22);
  MdbMismatch mismatch;
  EXPECT_EQ(WriteVerifyTrxMdb(fc, block, mismatch), (6 * 1000 + static_cast<int>(block[6])) * 1000 + 3);
  EXPECT_EQ(mismatch.index, 3u);
  EXPECT_EQ(mismatch.valueRead, kNotSet);
  ExpectEnded(true);

  // The rewrite's first data bit follows the first write (85 writes) and
  // its read-back (69).
  Recover();
  drive.Faults().TrxWordDoesNotStick(67);
  for (int n : {225, 226}) drive.Faults().FailCall(kPutVarToFPGA, n, 6, 22);
  EXPECT_EQ(WriteVerifyTrxMdb(fc, block, mismatch), (7 * 1000 + static_cast<int>(block[6])) * 1000 + 3);
  EXPECT_EQ(mismatch.retries, 1u);

  EXPECT_EQ(WordWriteFailure(2147, 0, 0), 2147000000);
  EXPECT_EQ(WordWriteFailure(2148, 0, 0), 99000000);  // no longer fits: the system error's code
  EXPECT_EQ(WordWriteFailure(-2148, 0, 0), 99000000);
}

TEST_F(Generation1Test, AWholeBlockWriteIsVerifiedThroughTheDrivesCopyAtThePresentSpeed) {
  const Block block = TestBlock();
  EXPECT_EQ(WriteTrxMdb(fc, block), 1);
  EXPECT_EQ(DeviceBlock(), block);
  EXPECT_TRUE(BaudChanges().empty());
  EXPECT_EQ(drive.Log().Count(kFlushPort), 0u);
  EXPECT_EQ(Elapsed(), 2 * 1001u + 192 * kWriteCycleMs);
  ExpectEnded();

  drive.Faults().TrxWordDoesNotStick(100);
  EXPECT_EQ(WriteTrxMdb(fc, TestBlock(3)), 42);
  drive.Faults().RefuseTrxDiagnostics();  // also the second time
  MdbMismatch mismatch;
  EXPECT_EQ(WriteVerifyTrxMdb(fc, TestBlock(3), mismatch), 50);
}

// A parameter is written as tagged words (tag * 512 + 256 + data), each
// read back; a value out of range (23) is found with the port open and
// leaves it so. Reading needs no speed change.
TEST_F(Generation1Test, ParametersAreWrittenAsTaggedWordsAndReadBack) {
  struct Case {
    const char* name;
    double value;
    Result expected;
    std::vector<std::pair<std::size_t, uint16_t>> words;
  };
  const double nan = std::numeric_limits<double>::quiet_NaN();
  // clang-format off
  const Case cases[] = {
      {"SINGain", 1023, 1, {{2, 0x9FF}, {1, 0x7C0}}}, {"singain", 2, 1, {{2, 0x900}, {1, 0x780}}},
      {"RDSINOffset", 200, 1, {{0, 0x5C8}}},          {"RDSinOffset", 255.9, 1, {{0, 0x5FF}}},
      {"RDSINOffset", -0.5, 1, {{0, 0x500}}},         {"RDSINOffset", -1.0, 23, {}},
      {"RDSINOffset", 256.0, 23, {}},                 {"SINGain", 1024.0, 23, {}},
      {"SINGain", 1e12, 23, {}},                      {"SINGain", nan, 23, {}}};
  // clang-format on
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.name) + " " + std::to_string(c.value));
    EXPECT_EQ(WriteTrx(fc, c.name, c.value), c.expected);
    for (auto [address, word] : c.words) EXPECT_EQ(Word(address), word);
    if (c.expected == 1) {
      ExpectEnded();
      Restart();
      double read = -1;
      EXPECT_EQ(ReadTrx(fc, c.name, read), 1);
      EXPECT_EQ(read, std::trunc(c.value) + 0.0);
      EXPECT_TRUE(BaudChanges().empty());
      EXPECT_EQ(Elapsed(), 2 * 1001u);
      continue;
    }
    EXPECT_EQ(drive.FpgaByte(22), 8);  // port enabled, every line low
    EXPECT_TRUE(drive.Trx().Eeprom().WriteEnabled());
    EXPECT_TRUE(DiagnosticsOn());
    ASSERT_EQ(DisableTrxDiag(ctx), 1);
  }
  drive.Faults().TrxWordDoesNotStick(1);
  EXPECT_EQ(WriteTrx(fc, "SINGain", 5), 10);
  EXPECT_EQ(Word(2), 0x901);
  ExpectEnded(true);
  Recover();
  Restart();
  double value = 1023;
  EXPECT_EQ(WriteTrx(fc, "SINGainX", 1), 8);
  EXPECT_EQ(ReadTrx(fc, "Nope", value), 8);
  EXPECT_EQ(drive.Log().TotalCount(), 0u);
  // A word that cannot be read ends the reading; the value stays.
  drive.Faults().FailCall(kGetVarFromFPGA, 5, 0, 24);
  drive.Faults().FailCall(kGetVarFromFPGA, 6, 0, 24);
  EXPECT_EQ(ReadTrx(fc, "SINGain", value), 10);
  EXPECT_EQ(value, 1023.0);
  EXPECT_EQ(drive.Log().Count(kGetVarFromFPGA), 2 + 6 + 2u);  // no second word read
  ExpectEnded();
}

// Out of range (a byte above 255, 40) before the checksum (41), whichever
// way the block goes.
TEST_F(Generation1Test, BadBlocksAreRefusedBeforeAnyTraffic) {
  Block outOfRange = DeviceBlock();
  outOfRange[7] = 256;
  outOfRange[6] = (outOfRange[6] + 255) & 0xFF;  // the sum's low byte stays right
  Block badSum = DeviceBlock();
  badSum[7] ^= 1;
  for (const auto& [block, expected] : {std::pair{outOfRange, 40}, std::pair{badSum, 41}}) {
    MdbMismatch mismatch;
    mismatch.retries = 5;
    EXPECT_EQ(WriteVerifyTrxMdb(fc, block, mismatch), expected);
    EXPECT_EQ(mismatch.retries, 0u);
    EXPECT_EQ(mismatch.index, kNotSet);
    EXPECT_EQ(WriteTrxMdb(fc, block), expected);
    EXPECT_EQ(WriteVerifyTrxMdbV2(fc, block, 0, 128), expected);
    EXPECT_EQ(CheckTrxMdb(ctx, block, mismatch), expected);
    EXPECT_EQ(WriteVerifyTrx2Mdb(ctx, state.image, block, 0, 0), expected);
  }
  EXPECT_EQ(drive.Log().TotalCount(), 0u);
  // Only the sum's low byte counts: 0x1FF passes, 0x1FE does not.
  EXPECT_EQ(ValidateMdb(Block{255, 255, 1}), 1);
  EXPECT_EQ(ValidateMdb(Block{255, 255}), 41);
}

// The version-aware writer writes the offset byte as RDSINOffset on a
// generation-1 device and less 10 into the memory of a generation-2 one; a
// device whose logic is too old is left alone.
TEST_F(FeedbackTest, TheVersionAwareWriterPicksTheGenerationsWriter) {
  for (const auto& [generation, version] : {std::pair{1, "4.0A"}, {2, "4.0A"}, {1, "3.2M"}, {2, "3.2M"}}) {
    SCOPED_TRACE(std::to_string(generation) + " " + version);
    const bool supported = version[0] == '4', second = generation == 2;
    drive = sim::VirtualDrive(Generation(generation, version));
    ASSERT_EQ(drive.InitComPort(1, 19200), 1);
    Restart();
    const Block before = DeviceBlock();
    drive.Log().SetRecording(false);
    EXPECT_EQ(WriteVerifyTrxMdbV2(fc, TestBlock(), 0, 300), 23);
    EXPECT_EQ(WriteVerifyTrxMdbV2(fc, TestBlock(), 256, 0), 23);
    EXPECT_EQ(drive.Log().TotalCount(), 0u);
    EXPECT_EQ(WriteVerifyTrxMdbV2(fc, TestBlock(), 7, 9), second && supported ? 23 : 1);
    EXPECT_EQ(WriteVerifyTrxMdbV2(fc, TestBlock(), 7, 130), 1);
    EXPECT_EQ(DeviceBlock(), supported ? TestBlock() : before);
    EXPECT_EQ(drive.Trx().Eeprom().Word(0), second ? 0 : supported ? 0x582 : 0x580);
    if (!second) continue;
    EXPECT_EQ(drive.Trx().Flash().Byte(kRegion + 16642), supported ? 120 : 118);
    EXPECT_EQ(drive.Trx().Flash().Byte(kRegion + 16692), supported ? 7 : 5);
  }
}

}  // namespace
}  // namespace svodb::testing
