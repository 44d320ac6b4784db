// The flash engine and the whole-memory operations on a virtual
// generation-2 device.
#include <algorithm>
#include <functional>

#include "feedback_fixture.h"

namespace svodb::testing {
namespace {

using enum sim::Operation;
using Lines = std::vector<std::string>;

class Generation2Test : public FeedbackTest {
 protected:
  Generation2Test() : FeedbackTest(Generation(2)) {}

  Trx2Image DeviceRegion() const {
    Trx2Image region{};
    for (std::size_t i = 0; i < region.size(); ++i) region[i] = drive.Trx().Flash().Byte(kRegion + i);
    return region;
  }
  bool ExchangeClosed() const { return !DiagnosticsOn() && drive.BaudRate() == 19200; }
};

TEST_F(Generation2Test, TheAddressIsLoadedHighByteFirstAndReadBackInEveryByte) {
  ASSERT_EQ(EnableTrxDiag(ctx), 1);
  Restart();
  EXPECT_EQ(SetTrx2Address(ctx, 0x3BD00), 1);
  EXPECT_EQ(drive.Trx().EngineAddress(), 0x3BD00u);
  EXPECT_EQ(drive.Log().Lines(),
            (Lines{"PutVarToFPGA(23, 121) -> 1", "PutVarToFPGA(22, 3) -> 1", "PutVarToFPGA(23, 119) -> 1",
                   "PutVarToFPGA(22, 189) -> 1", "PutVarToFPGA(23, 117) -> 1", "PutVarToFPGA(22, 0) -> 1",
                   "PutVarToFPGA(23, 120) -> 1", "PutVarToFPGA(22, 0) -> 1", "GetVarFromFPGA(24) -> 1 [3]",
                   "PutVarToFPGA(23, 118) -> 1", "PutVarToFPGA(22, 0) -> 1", "GetVarFromFPGA(24) -> 1 [189]",
                   "PutVarToFPGA(23, 116) -> 1", "PutVarToFPGA(22, 0) -> 1", "GetVarFromFPGA(24) -> 1 [0]"}));
  // An address that reads back differently in any byte gives 2.
  for (int differing = 1; differing <= 3; ++differing) {
    drive.Faults().DistortCall(kGetVarFromFPGA, differing, 0x10);
    EXPECT_EQ(SetTrx2Address(ctx, 0x3BD00), 2) << "byte " << differing;
    drive.Faults().Clear();
  }
}

// The region read waits for data and fetches every byte in order; a blank
// image programs nothing; each status poll is bounded on the clock.
TEST_F(Generation2Test, TheRegionIsReadWholeAndEachStatusPollIsBounded) {
  ASSERT_EQ(EnableTrxDiag(ctx), 1);
  Restart();
  EXPECT_EQ(ReadTrx2Region(ctx, state.image).code, 1);
  EXPECT_EQ(state.image, DeviceRegion());
  // Address 15, READ 2, two status reads 6, first byte 3, then 2 per byte.
  EXPECT_EQ(drive.Log().TotalCount(), 15u + 2 + 6 + 3 + 2 * (kTrx2ImageSize - 1));
  Trx2Image blank;
  blank.fill(0xFF);
  Restart();
  EXPECT_EQ(ProgramTrx2Pages(ctx, blank).code, 255);
  EXPECT_EQ(drive.Log().TotalCount(), 0u);

  struct Case {
    uint8_t stuckInput;
    Result expected;
    uint32_t elapsed;
    EngineResult (*operation)(LibraryContext&, Trx2Image&);
  };
  const Case cases[] = {
      {0x00, 49, 1001, [](LibraryContext& c, Trx2Image& i) { return ReadTrx2Region(c, i); }},
      {0xFF, 52, 1000 + 10001, [](LibraryContext& c, Trx2Image&) { return EraseTrx2Sector(c); }},
      {0xFF, 52, 10 + 1001, [](LibraryContext& c, Trx2Image& i) { return ProgramTrx2Pages(c, i); }},
  };
  for (const Case& c : cases) {
    drive.Faults().KillTrxPort(c.stuckInput);
    drive.Log().SetRecording(false);
    Restart();
    const EngineResult result = c.operation(ctx, state.image);
    EXPECT_TRUE(result.stalled);
    EXPECT_EQ(result.code, c.expected);
    EXPECT_EQ(Elapsed(), c.elapsed);
  }
}

TEST(LogicVersion, OnlyPositions023CountAsSignedCharacters) {
  const std::pair<const char*, bool> cases[] = {
      {"3.2M", false}, {"3.2N", true},    {"3.2Z", true},  {"3.3A", true}, {"4.0A", true},    {"S1.0B", true},
      {"", false},     {"102.1A", false}, {"2.9Z", false}, {"3.2", false}, {"\xB3.2N", false}};
  for (const auto& [text, newEnough] : cases) EXPECT_EQ(LogicVersionNewEnough(text), newEnough) << text;
}

// The check reads the engine's address back at the fast speed: 3, 254, 0
// is generation 2, all zero generation 1, anything else unknown.
TEST_F(Generation2Test, TheGenerationCheckReadsTheAddressBackAtTheFastSpeed) {
  uint32_t generation = 0, speed = 0, supported = 0;
  ASSERT_EQ(CheckGenOfTrx(ctx, generation, speed, supported), 1);
  EXPECT_EQ(generation, 2u);
  EXPECT_EQ(speed, 115u);
  EXPECT_EQ(supported, 1u);
  EXPECT_EQ(BaudChanges(), (std::vector<int>{115200, 19200}));
  EXPECT_TRUE(ExchangeClosed());
  EXPECT_EQ(Elapsed(), 2 * 1001u + 2 * 200u);
  struct Case {
    int high, middle, low;
    uint32_t generation, supported;
  };
  const Case cases[] = {{0, 0, 0, 1, 1}, {3, 254, 1, 255, 0}, {1, 0, 0, 255, 0}, {3, 0, 0, 255, 0}};
  for (const Case& c : cases) {  // the address comes back in reads 19 (high), 20 and 21
    drive.Faults().DistortCall(kGetVarFromFPGA, 19, static_cast<uint8_t>(c.high ^ 3));
    drive.Faults().DistortCall(kGetVarFromFPGA, 20, static_cast<uint8_t>(c.middle ^ 254));
    drive.Faults().DistortCall(kGetVarFromFPGA, 21, static_cast<uint8_t>(c.low));
    EXPECT_EQ(CheckGenOfTrx(ctx, generation, speed, supported), 1);
    EXPECT_EQ(generation, c.generation);
    EXPECT_EQ(supported, c.supported);
  }
  // The slow link keeps the normal speed and says so.
  drive.SetFpgaByte(25, 0x08);
  Restart();
  ASSERT_EQ(CheckGenOfTrx(ctx, generation, speed, supported), 1);
  EXPECT_EQ(speed, 19u);
  EXPECT_TRUE(BaudChanges().empty());
  EXPECT_EQ(drive.Log().Count(kFlushPort), 2u);
  EXPECT_EQ(Elapsed(), 2 * 1001u + 2 * 200u);  // the flush steps all the same
  // A failed enable leaves generation and support unwritten.
  drive.Faults().RefuseTrxDiagnostics();
  Restart();
  generation = supported = 7;
  EXPECT_EQ(CheckGenOfTrx(ctx, generation, speed, supported), 50);
  EXPECT_EQ(generation + supported, 14u);
  EXPECT_TRUE(BaudChanges().empty());
}

// The write carries every other byte over, and the checksum byte it
// computes is the block's own; the drive's copy follows.
TEST_F(Generation2Test, AWriteCarriesEveryOtherByteOverAndFollowsInTheDrivesCopy) {
  const Block block = TestBlock();
  Trx2Image expected = DeviceRegion();
  std::copy(block.begin(), block.end(), expected.begin() + kMdbImageOffset);
  expected[16642] = 40;
  expected[16692] = 77;
  expected[kMdbImageOffset - 1] ^= 0x55;  // next to the block, not in its checksum
  drive.Trx().Flash().SetByte(kRegion + kMdbImageOffset - 1, expected[kMdbImageOffset - 1]);
  drive.Log().SetRecording(false);
  EXPECT_EQ(WriteVerifyTrx2Mdb(ctx, state.image, block, 77, 40), 1);
  EXPECT_EQ(DeviceRegion(), expected);
  EXPECT_EQ(BlockOfDrive(sim::BlockOf(drive.SaveState().motorData)), block);
  EXPECT_TRUE(ExchangeClosed());
  // Two settles, a flush step at each end, 2 s of erase pauses, 10 ms per
  // programmed page (5) and a clock tick per status poll (2+4+5*3+2).
  EXPECT_EQ(Elapsed(), 2 * 1001u + 2 * 200u + 2000u + 5 * 10u + 23u);
}

// A memory that fails the checksum is handed out but not built upon until
// corrected; whatever fails, the exchange ends (diagnostics off, normal
// speed) and the device's failure is reported first.
TEST_F(Generation2Test, WholeMemoryOperationsReportTheirFailureAndEndTheExchange) {
  drive.Log().SetRecording(false);
  drive.Trx().Flash().SetByte(kRegion + kMdbImageOffset + 5,
                              drive.Trx().Flash().Byte(kRegion + kMdbImageOffset + 5) ^ 0x40);
  const Trx2Image before = DeviceRegion();
  EXPECT_EQ(WriteVerifyTrx2Mdb(ctx, state.image, TestBlock(2), 1, 2), 41);
  EXPECT_EQ(Elapsed(), 2 * 1001u + 2 * 200u + 2u);  // the read's two status polls, no erase
  EXPECT_EQ(DeviceRegion(), before);
  EXPECT_TRUE(ExchangeClosed());
  std::vector<uint32_t> memory(kTrx2ImageSize, 1000);
  EXPECT_EQ(ReadTrx2Memory(ctx, state.image, std::span<uint32_t, kTrx2ImageSize>(memory)), 41);
  EXPECT_TRUE(std::equal(memory.begin(), memory.end(), before.begin()));
  EXPECT_EQ(CorrectTrx2Checksum(ctx, state.image), 1);
  Trx2Image corrected = before;
  corrected[kMdbChecksumImageOffset] = (before[kMdbChecksumImageOffset] - 0x40) & 0xFF;
  EXPECT_EQ(DeviceRegion(), corrected);

  const auto write = [&] { return WriteVerifyTrx2Mdb(ctx, state.image, TestBlock(), 0, 10); };
  const auto correct = [&] { return CorrectTrx2Checksum(ctx, state.image); };
  struct Case {
    std::function<void(sim::FaultPlan&)> fault;
    std::function<Result()> operation;
    Result expected;
  };
  const Case cases[] = {
      {[](sim::FaultPlan& f) { f.TrxPageProgramsWrong(0x3BD00); }, write, 13},  // the checksum stays right
      {[](sim::FaultPlan& f) { f.KillTrxPort(0x00); }, write, 49},
      {[](sim::FaultPlan& f) { f.KillTrxPort(0xFF); }, correct, 52},
      {[](sim::FaultPlan& f) { f.FailCall(kChangeBaudRate, 2, 3); }, correct, 3},
      {[](sim::FaultPlan& f) { f.RefuseTrxDiagnostics(); }, correct, 49},  // the engine does not answer
  };
  for (const Case& c : cases) {
    drive.Faults().Clear();
    c.fault(drive.Faults());
    EXPECT_EQ(c.operation(), c.expected);
    EXPECT_FALSE(DiagnosticsOn());
    EXPECT_EQ(drive.BaudRate(), c.expected == 3 ? 115200 : 19200);
    drive.ChangeBaudRate(19200);
  }
}

}  // namespace
}  // namespace svodb::testing
